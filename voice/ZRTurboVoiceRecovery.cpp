// How a voice gets rid of state that is no number.

#include <cstdint>

#include "render/FiniteCheck.h"
#include "voice/TurboVoiceParameterTable.h"
#include "voice/ZRTurboVoice.h"

namespace morv {
namespace {

// The sound may show nothing of a setting that is no number: it is limited on its way or taken for off.
bool holdsSettings(const ZRTurboVoice& voice) noexcept MORV_NONBLOCKING {
  std::uint32_t all = 0;
  for (const TurboVoiceParameterRow& parameter : kTurboVoiceParameters) {
    all |= exponentOverflow((voice.*parameter.member).value.load());
  }
  return all <= kNoOverflow;
}

}  // namespace

// The phase of a glide ends by itself if it is no number.
bool ZRDSPVoice::holdsNumbers(int /*frames*/) const noexcept {
  return areNumbers(noteFrequency, pressure, slide, velocity, pitchbendDelta, modWheelValue, panTarget,
                    smoothedPitchbend, smoothedPressure, smoothedSlide, smoothedGate, smoothedVelocity,
                    glideStartFrequency, addedPitchbend, detuneOffset, portamentoTime.value.load());
}

bool ZRDSPVoice::playedNumbers(int /*frames*/) const noexcept { return true; }

// Followers go on from their targets.
void ZRDSPVoice::mendState(int /*frames*/) noexcept {
  ++recoveries;
  portamentoTime.mend();
  mendNumber(noteFrequency, frequencyForNote(note));
  mendNumber(pressure, 0.0F);
  mendNumber(slide, 0.0F);
  mendNumber(velocity, 0.0F);
  mendNumber(pitchbendDelta, 0.0F);
  mendNumber(addedPitchbend, 0.0F);
  mendNumber(modWheelValue, 0.0F);
  mendNumber(panTarget, 0.0F);
  mendNumber(detuneOffset, 0.0F);
  mendNumber(smoothedPitchbend, pitchbendDelta + addedPitchbend);
  mendNumber(smoothedPressure, pressure);
  mendNumber(smoothedSlide, slide);
  mendNumber(smoothedGate, static_cast<float>(gate));
  mendNumber(smoothedVelocity, velocity);
  mendNumber(glideStartFrequency, noteFrequency);
}

void ZRDSPVoice::addLastBlock(float* /*left*/, float* /*right*/, int /*frames*/) const noexcept {}

// What plays last stands in the oscillator's source.
const float* ZRTurboVoice::lastBlock() const noexcept {
  return modMatrix->readSource(waveOscillator->outputSourceLeft);
}

// Pitch and width of a voice that plays are looked at in their buffers: what is no number there is replaced
// on its way, and nobody hears that it was.
bool ZRTurboVoice::holdsNumbers(int frames) const noexcept {
  const auto first = [this](const ZRDSPParameter& parameter) { return firstDestinationSample(parameter); };
  if (!ZRDSPVoice::holdsNumbers(frames) || !waveOscillator->holdsNumbers() || !filter->holdsNumbers() ||
      !lfo->holdsNumbers() || !ampEnvelope->holdsNumbers() || !modEnvelope->holdsNumbers() ||
      !fadeEnvelope->holdsNumbers() || !outputAmp->holdsNumbers() || !lfoAmp->holdsNumbers() ||
      !driveTone->holdsNumbers()) {
    return false;
  }
  if (!areNumbers(smoothedPan, static_cast<float>(sleptDetune_)) || !holdsSettings(*this)) return false;
  if (!active || asleep_) return true;
  for (const ZRDSPParameter* pitch : {&waveOscillator->oscFreq, &waveOscillator->oscCents,
                                      &waveOscillator->oscPulsewidth, &lfo->oscFreq, &lfo->oscCents}) {
    if (!areFinite(modMatrix->readDestination(pitch->address), frames)) return false;
  }
  return areNumbers(first(waveOscillator->oscOctave), first(waveOscillator->oscSemitones),
                    first(lfo->oscOctave), first(lfo->oscSemitones), first(lfo->oscWave));
}

bool ZRTurboVoice::playedNumbers(int frames) const noexcept {
  return !active || asleep_ || (areFinite(lastBlock(), frames) && outputAmp->holdsNumbers());
}

void ZRTurboVoice::addLastBlock(float* left, float* right, int frames) const noexcept {
  if (active && !asleep_) outputAmp->addPanned(lastBlock(), left, right, frames);
}

// A setting that is no number would make new state of its kind in each block.
void ZRTurboVoice::mendSettings() noexcept {
  for (const TurboVoiceParameterRow& parameter : kTurboVoiceParameters) (this->*parameter.member).mend();
}

void ZRTurboVoice::mendState(int frames) noexcept {
  struct Part {
    const char* name;
    bool isSound;
  };
  // In the order of the signal: what comes first is to blame for what comes behind.
  const Part parts[] = {{"smoothing", ZRDSPVoice::holdsNumbers(frames) && areNumbers(smoothedPan)},
                        {"LFO", lfo->holdsNumbers()},
                        {"fade envelope", fadeEnvelope->holdsNumbers()},
                        {"modulation envelope", modEnvelope->holdsNumbers()},
                        {"amplitude envelope", ampEnvelope->holdsNumbers()},
                        {"oscillator", waveOscillator->holdsNumbers()},
                        {"filter", filter->holdsNumbers()},
                        {"drive", driveTone->holdsNumbers()},
                        {"amplifier", outputAmp->holdsNumbers() && lfoAmp->holdsNumbers()},
                        {"settings", holdsSettings(*this)}};
  recovered = "modulation";
  for (const Part& part : parts) {
    if (part.isSound) continue;
    recovered = part.name;
    break;
  }
  ZRDSPVoice::mendState(frames);
  mendSettings();
  const float v = velocity / 127.0F;
  mendNumber(smoothedPan, panTarget);
  filter->mendState();
  waveOscillator->mendState();
  lfo->mendState();
  ampEnvelope->mendState(v);
  modEnvelope->mendState(v);
  fadeEnvelope->mendState(1.0F);
  driveTone->mendState();
  outputAmp->mendState();
  lfoAmp->mendState();
  modMatrix->mendState(addressCounter, frames);
  if (asleep_ && lfoRestarts_) lfo->resetPhase();
  asleep_ = false;
  lfoRestarts_ = false;
  quietFrames_ = 0;
  sleptDetune_ = 0;
}

}  // namespace morv
