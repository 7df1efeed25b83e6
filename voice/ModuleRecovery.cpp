// How the modules of a voice get rid of state that is no number. What they look at is what lasts from block
// to block; all else is worked out anew in each.

#include <algorithm>

#include "render/FiniteCheck.h"
#include "voice/ZRBasicEnvelope.h"
#include "voice/ZRBiquadFilter.h"
#include "voice/ZRSEMFilter.h"
#include "voice/ZRVAAmp.h"
#include "voice/ZRVAOscillator.h"
#include "voice/ZRWavetableOscillator.h"

namespace morv {
namespace {

constexpr int kReleaseState = 4;

template <typename Values>
bool holdNumbers(const Values& values) noexcept {
  bool holds = true;
  for (const auto value : values) holds &= areNumbers(value);
  return holds;
}

}  // namespace

// A pitch that its settings make no number is limited on its way, so that only they show it.
bool ZRWavetableOscillator::holdsNumbers() const noexcept {
  return areNumbers(phaseOne, phaseTwo, phaseThree, rawFrequency, modulatedFrequency, oscCents.value.load(),
                    oscSemitones.value.load(), oscOctave.value.load(), fmAmount.value.load(),
                    morphAmount.value.load());
}

// A setting that is no number would make new state of its kind in each block.
void ZRWavetableOscillator::mendState() noexcept {
  mendParameters();
  fmAmount.mend();
  morphAmount.mend();
  mendNumber(phaseOne, 0.0F);
  mendNumber(phaseTwo, static_cast<float>(tableSize) / 2.0F);
  mendNumber(phaseThree, 0.0F);
  mendNumber(rawFrequency, 1.0F);
  mendNumber(modulatedFrequency, 1.0F);
}

bool ZRVAOscillator::holdsNumbers() const noexcept {
  return areNumbers(phase, secondPhase, sign, heldValue, lfoOutput, frequency, historyA[0], historyB[0],
                    historyC[0], oscCents.value.load(), oscSemitones.value.load(), oscOctave.value.load());
}

// The histories are those of the phases, so that the next block goes on without a step.
void ZRVAOscillator::mendState() noexcept {
  mendParameters();
  mendNumber(lfoSmoothing, firstSmoothing_);
  mendNumber(phase, -1.0F);
  mendNumber(secondPhase, 0.0F);
  mendNumber(sign, -1.0F);
  mendNumber(heldValue, 0.0F);
  mendNumber(lfoOutput, 0.0F);
  mendNumber(frequency, 0.0F);
  mendNumber(historyA[0], phase * phase);
  mendNumber(historyB[0], secondPhase * secondPhase);
  mendNumber(historyC[0], (1.0F - secondPhase * secondPhase) * sign);
}

bool ZRBasicEnvelope::holdsNumbers() const noexcept {
  return areNumbers(level, stageTarget, attackStart, velocityScale, decay, sustain, delay);
}

// Attack, decay and sustain go on along the lines that the settings draw; a release whose start is lost falls
// from where it last was.
void ZRBasicEnvelope::mendState(float velocity) noexcept {
  mendParameters();
  mendNumber(sustain, 1.0F);
  mendNumber(decay, 0.5F);
  mendNumber(delay, 0.0F);
  mendNumber(velocityScale, velocityGain(velocity));
  mendNumber(velocityScale, 1.0F);
  mendNumber(attackStart, 0.0F);
  mendNumber(level, 0.0F);
  mendNumber(stageTarget, state_ == kReleaseState ? level : sustain);
}

bool ZRVAAmp::holdsNumbers() const noexcept {
  return areNumbers(smoothedMax, panGains_.left, panGains_.right);
}

// The gains are worked out anew where the pan is elsewhere.
void ZRVAAmp::mendState() noexcept {
  mendParameters();
  mendNumber(maxSmoothing, firstSmoothing_);
  mendNumber(smoothedMax, max.normalizedValue());
  pannedPosition_ = 0;
  panGains_ = {1, 0};
}

void ZRVAAmp::addPanned(const float* in, float* left, float* right, int frames) const noexcept {
  const PanGains gains = panGains_;
  for (int i = 0; i < frames; ++i) left[i] += in[i] * gains.left;
  for (int i = 0; i < frames; ++i) right[i] += in[i] * gains.right;
}

bool ZRSEMFilter::holdsNumbers() const noexcept {
  return areNumbers(z1, z2, z3, z4, lastCutoff, lastResonance, g, alpha0, alpha, R, rho);
}

// The two integrators of a channel make one state and start together.
void ZRSEMFilter::mendState() noexcept {
  if (!areNumbers(z1, z2)) z1 = z2 = 0;
  if (!areNumbers(z3, z4)) z3 = z4 = 0;
  lastCutoff = -1.0F;  // so that the coefficients are worked out anew
  lastResonance = -1.0F;
  for (double* coefficient : {&g, &alpha0, &alpha, &R, &rho}) mendNumber(*coefficient, 0.0);
}

bool ZRBiquadFilter::holdsNumbers() const noexcept {
  return holdNumbers(delays_) && holdNumbers(channelDelays_) && holdNumbers(running_) &&
         holdNumbers(coefficients_);
}

void ZRBiquadFilter::mendState() noexcept {
  if (!holdNumbers(delays_)) std::fill(delays_.begin(), delays_.end(), 0.0F);
  if (!holdNumbers(channelDelays_)) std::fill(channelDelays_.begin(), channelDelays_.end(), 0.0);
  if (holdNumbers(running_) && holdNumbers(coefficients_)) return;
  _updateCoefficients();
  std::copy(coefficients_.begin(), coefficients_.end(), running_.begin());
}

}  // namespace morv
