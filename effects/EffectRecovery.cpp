// What each effect looks at and forgets when its state is no number; see ZRDSPEffect.

#include "effects/EffectMemory.h"
#include "effects/HeldSettings.h"
#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZREcoVerb.h"
#include "effects/ZRSpringVerb.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVADelay.h"
#include "render/FiniteCheck.h"
#include "render/SafeCast.h"

namespace morv {
namespace {

float fractionOf(const ZRDSPParameter& parameter) noexcept {
  return heldSetting(parameter.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
}

float held(float control) noexcept { return heldSetting(control, -kHeldMagnitude, kHeldMagnitude); }

// Puts 0 in the place of those that are no numbers.
template <typename... Values>
void mendToZero(Values&... values) noexcept {
  (mendNumber(values, Values(0)), ...);
}

template <typename... Filters>
bool holdFilters(const Filters&... filters) noexcept {
  return (areNumbers(filters.z1, filters.z2, filters.G) && ...);
}

// Silences a filter; its coefficient stays unless that is no number.
void forgetFilter(tpt& filter, float sampleRateHz) noexcept {
  filter.z1 = 0;
  filter.z2 = 0;
  if (areNumbers(filter.G)) return;
  if (!areNumbers(filter.cutoff)) initTPT(&filter);
  tptUpdateCoefficients(&filter, sampleRateHz);
}

template <typename... Filters>
void forgetFilters(float sampleRateHz, Filters&... filters) noexcept {
  (forgetFilter(filters, sampleRateHz), ...);
}

}  // namespace

const char* ZRBasicChorus::_diagnosticName() const noexcept { return "chorus"; }

bool ZRBasicChorus::_holdsNumbers() const noexcept {
  return areNumbers(phase1, phase2, smoothed.spread, smoothed.amount, smoothed.mix, noiseTargetL,
                    noiseTargetR, noiseL, noiseR) &&
         holdFilters(crossL, crossR);
}

void ZRBasicChorus::_forget(EffectMemory* memory) noexcept {
  mendNumber(smoothing, firstSmoothing_);
  memory->forget(delayL, delayR);
  forgetFilters(sampleRate, crossL, crossR);
  mendNumber(smoothed.spread, fractionOf(chorusSpread));
  mendNumber(smoothed.amount, fractionOf(chorusModAmount));
  mendNumber(smoothed.mix, fractionOf(mix));
  mendToZero(phase1, phase2, noiseTargetL, noiseTargetR, noiseL, noiseR);
}

float ZRBasicChorus::_dryGain() const noexcept { return routing == 1 ? 1.0F : 1.0F - fractionOf(mix); }

const char* ZRBasicDelay::_diagnosticName() const noexcept { return "echo"; }

bool ZRBasicDelay::_holdsNumbers() const noexcept {
  return areNumbers(timeL, timeR) && holdFilters(highpassL, highpassR);
}

void ZRBasicDelay::_forget(EffectMemory* memory) noexcept {
  mendNumber(smoothing, firstSmoothing_);
  memory->forget(delayL, delayR);
  forgetFilters(sampleRate, highpassL, highpassR);
  mendNumber(timeL, targetL_);
  mendNumber(timeR, targetR_);
}

float ZRBasicDelay::_dryGain() const noexcept { return routing != 0 ? 1.0F : 1.0F - fractionOf(mix); }

const char* ZREcoVerb::_diagnosticName() const noexcept { return "plate reverb"; }

bool ZREcoVerb::_holdsNumbers() const noexcept {
  return areNumbers(phase) && holdFilters(lowpassA, lowpassB) && variableHighpass.holdsNumbers() &&
         fixedHighpass.holdsNumbers() && fixedLowpass.holdsNumbers();
}

void ZREcoVerb::_forget(EffectMemory* memory) noexcept {
  memory->forgetEach(diffusers);
  memory->forget(loopAP1, loopAP2, loopAP3, loopAP4, loopD1, loopD2, loopD3, loopD4);
  forgetFilters(sampleRate, lowpassA, lowpassB);
  for (ZRBiquadFilter* filter : {&variableHighpass, &fixedHighpass, &fixedLowpass}) filter->mendState();
  mendToZero(damping, phase);
}

const char* ZRDigiVerb::_diagnosticName() const noexcept { return "digital reverb"; }

bool ZRDigiVerb::_holdsNumbers() const noexcept {
  return areNumbers(decaySmoothed, preDelaySmoothed, sizeSmoothed, mixSmoothed, spreadSmoothed,
                    modDepthSmoothed, phase, phase2, noise, feedbackLow_, feedbackHigh_, springFrequency) &&
         holdFilters(lowpassA, lowpassB, inputLowpass, postFilter[0], postFilter[1], noiseFilter);
}

void ZRDigiVerb::_forget(EffectMemory* memory) noexcept {
  mendNumber(smoothing, firstSmoothing_);
  mendNumber(sizeSmoothing, firstSizeSmoothing_);
  mendNumber(springFrequency, firstSpringFrequency_);
  for (std::size_t side = 0; side < 2; ++side) {
    memory->forget(lowShelf[side], highShelf[side], preDelayLine[side], chorus[side], springLine[side],
                   echoLine[side], loFiFIR[side]);
    memory->forgetEach(combs[side]);
    memory->forgetEach(allpass[side]);
    memory->forgetEach(allpass2[side]);
  }
  memory->forgetEach(springLF);
  memory->forgetEach(springHF);
  memory->forgetEach(diffusers);
  memory->forget(loopAP1, loopAP2, loopAP3, loopAP4, loopD1, loopD2, loopD3, loopD4);
  memory->forget(springFIR, earlyBuffer);
  feedbackLow_ = 0;
  feedbackHigh_ = 0;
  forgetFilters(sampleRate, lowpassA, lowpassB, inputLowpass, postFilter[0], postFilter[1], noiseFilter);
  _hold();
  mendNumber(decaySmoothed, held_.decay);
  mendNumber(preDelaySmoothed, held_.preDelay);
  mendNumber(sizeSmoothed, held_.size);
  mendNumber(mixSmoothed, held_.mix);
  mendNumber(spreadSmoothed, held_.spread);
  mendNumber(modDepthSmoothed, held_.modDepth);
  mendToZero(phase, phase2, noise);
}

float ZRDigiVerb::_dryGain() const noexcept {
  return (1.0F - mixSmoothed) * held(dryGain) * held(outputGain);
}

const char* ZRVAChorus::_diagnosticName() const noexcept { return "analogue chorus"; }

bool ZRVAChorus::_holdsNumbers() const noexcept {
  bool holds = areNumbers(noiseTargetLeft, noiseTargetRight, noiseLeft, noiseRight, smoothedDepth,
                          smoothedSpread, smoothedMix) &&
               holdFilters(split5kLeft, split5kRight, split1kLeft, split1kRight, animateLeft, animateRight);
  for (std::size_t i = 0; i < kStages; ++i) holds = holds && areNumbers(phaseA[i], phaseB[i]);
  return holds;
}

void ZRVAChorus::_forget(EffectMemory* memory) noexcept {
  mendNumber(smoothing, firstSmoothing_);
  for (std::size_t channel = 0; channel < 2; ++channel) {
    memory->forgetEach(lines[channel]);
    memory->forgetEach(combs[channel]);
    memory->forget(shelves[channel], halfbands[channel]);
  }
  forgetFilters(sampleRate, split5kLeft, split5kRight, split1kLeft, split1kRight, animateLeft, animateRight);
  for (std::size_t i = 0; i < kStages; ++i) mendToZero(phaseA[i], phaseB[i]);
  mendToZero(noiseTargetLeft, noiseTargetRight, noiseLeft, noiseRight);
  mendNumber(smoothedDepth, fractionOf(modAmount));
  mendNumber(smoothedSpread, fractionOf(spread));
  mendNumber(smoothedMix, fractionOf(mix));
}

const char* ZRVADelay::_diagnosticName() const noexcept { return "analogue delay"; }

bool ZRVADelay::_isIdle() const noexcept { return false; }

bool ZRVADelay::_holdsNumbers() const noexcept {
  return areNumbers(smoothedTimeLeft, smoothedTimeRight, smoothedFeedback, tapePosition, wow, phaseFast,
                    phaseSlow, phaseHum) &&
         holdFilters(wowFilter, highpassFilter, lowpassFilter);
}

// The tape is as long as a minute of sound, but what has not been written since it was new is not read.
void ZRVADelay::_forget(EffectMemory* memory) noexcept {
  mendNumber(feedbackCoefficient, firstFeedbackCoefficient_);
  memory->forget(decimatorLeft, decimatorRight);
  writeIndex = 0;
  written_ = 0;
  forgetFilters(workingRate(), wowFilter, highpassFilter, lowpassFilter);
  mendNumber(smoothedTimeLeft, held(time.value / 1000.0F));
  mendNumber(smoothedTimeRight, smoothedTimeLeft);
  mendNumber(smoothedFeedback, held(feedback.value / 100.0F));
  mendToZero(tapePosition, wow, phaseFast, phaseSlow, phaseHum);
}

const char* ZRDigiDelay::_diagnosticName() const noexcept { return "digital delay"; }

// What is no number in a line becomes silence on its way out, and goes round for ever.
bool ZRDigiDelay::_holdsNumbers() const noexcept {
  return !gaveNoNumber_ &&
         areNumbers(phaseA, phaseB, lastLeft, lastRight, delayLeft, delayRight, smoothedFeedback,
                    smoothedAmount) &&
         holdFilters(highpassLeft, highpassRight, lowpassLeft, lowpassRight);
}

void ZRDigiDelay::_forget(EffectMemory* memory) noexcept {
  mendNumber(timeCoefficient, firstTimeCoefficient_);
  mendNumber(amountCoefficient, firstAmountCoefficient_);
  memory->forget(combLeft, combRight, modLeft, modRight);
  forgetFilters(sampleRate, highpassLeft, highpassRight, lowpassLeft, lowpassRight);
  const Times target = _times();
  mendNumber(delayLeft, areNumbers(target.left) ? target.left : 0.1F);
  mendNumber(delayRight, areNumbers(target.right) ? target.right : 0.1F);
  mendNumber(smoothedFeedback, heldSetting(feedback, -kGreatestLineFeedback, kGreatestLineFeedback));
  mendNumber(smoothedAmount, held(modAmount));
  mendToZero(phaseA, phaseB);
  lastLeft = 0;
  lastRight = 0;
  gaveNoNumber_ = false;
}

float ZRDigiDelay::_dryGain() const noexcept { return 1.0F - held(mix); }

const char* ZRDigiPhaser::_diagnosticName() const noexcept { return "phaser"; }

bool ZRDigiPhaser::_holdsNumbers() const noexcept {
  return areNumbers(phase, smoothedDepth, smoothedMix, lastLeft, lastRight);
}

void ZRDigiPhaser::_forget(EffectMemory* memory) noexcept {
  mendNumber(smoothing, firstSmoothing_);
  for (Channel& channel : channels) memory->forgetEach(channel.lines);
  mendNumber(phase, 0.0F);
  mendNumber(smoothedDepth, held(depth));
  mendNumber(smoothedMix, held(mix));
  lastLeft = 0;
  lastRight = 0;
}

float ZRDigiPhaser::_dryGain() const noexcept { return 1.0F - held(mix); }

const char* ZRSpringVerb::_diagnosticName() const noexcept { return "spring reverb"; }

bool ZRSpringVerb::_isIdle() const noexcept {
  return bypass.intValue() != 0 || truncatedInt(program.value.load()) != 0 || fractionOf(mix) == 0.0F;
}

bool ZRSpringVerb::_holdsNumbers() const noexcept {
  bool holds = true;
  for (const ap& allpass : allpasses) holds &= areNumbers(allpass.state);
  return holds;
}

void ZRSpringVerb::_forget(EffectMemory* memory) noexcept {
  memory->forgetEach(allpasses);
  for (std::size_t i = 0; i < kRunningTanks; ++i) {
    memory->forget(tanks[i].line, tanks[i].buffer);
  }
}

}  // namespace morv
