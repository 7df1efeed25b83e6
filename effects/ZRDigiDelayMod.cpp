// The modulation of the digital delay.

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "effects/HeldSettings.h"
#include "effects/ZRDigiDelay.h"

namespace morv {
namespace {

constexpr float kTwoPi = 2.0F * std::numbers::pi_v<float>;

// Seconds of the chorus, the vibrato and the flanger.
struct ModTimes {
  float base, depth;
};
constexpr std::array kModTimes = {ModTimes{0.005F, 0.03F}, ModTimes{0.001F, 0.003F},
                                  ModTimes{0.001F, 0.002F}};

// The phaser's corner, from its lowest to twice the swing above it.
constexpr float kCornerHz = 40.0F;
constexpr float kCornerSwingHz = 5000.0F;

float nextPhase(float phase, float step) noexcept MORV_NONBLOCKING {
  const float next = phase + step;
  return next >= kTwoPi ? next - kTwoPi : next;
}

bool isNumber(float left, float right) noexcept MORV_NONBLOCKING { return left == left && right == right; }

}  // namespace

void ZRDigiDelay::_setModTimes() noexcept {
  if (modType < 0 || modType >= static_cast<int>(kModTimes.size())) return;
  const ModTimes& times = kModTimes[static_cast<std::size_t>(modType)];
  modBase = times.base;
  modDepth = times.depth;
}

// The kernel takes the frame's number, its swing and the pair, and replaces the pair.
template <typename Kernel>
void ZRDigiDelay::_runMod(float* left, float* right, int frames, Kernel kernel) noexcept {
  const float target = heldSetting(modAmount, -kHeldMagnitude, kHeldMagnitude);
  // Forwards, and at most once round in a sample.
  const float step = kTwoPi * heldSetting(modRate, 0.0F, sampleRate) / sampleRate;
  for (int i = 0; i < frames; ++i) {
    smoothedAmount = amountCoefficient * (smoothedAmount - target) + target;
    Swing swing{};
    swing.s = std::sin(phaseA);
    swing.c = std::cos(phaseB);
    phaseA = nextPhase(phaseA, step);
    phaseB = nextPhase(phaseB, step);
    if (!isNumber(left[i], right[i])) continue;
    const float depth = modDepth * smoothedAmount;
    swing.dL = heldSetting(modBase + std::abs(depth * swing.s), -kHeldMagnitude, kHeldMagnitude);
    swing.dR = heldSetting(modBase + std::abs(depth * swing.c), -kHeldMagnitude, kHeldMagnitude);
    kernel(static_cast<std::size_t>(i), swing, &left[i], &right[i]);
    lastLeft = left[i];
    lastRight = right[i];
  }
}

void ZRDigiDelay::doMod(float* left, float* right, int frames) noexcept {
  _setModTimes();
  const float rate = sampleRate;
  const float inLine = heldSetting(modFeedback, -kGreatestLineFeedback, kGreatestLineFeedback);
  const float across = heldSetting(modFeedback, -kHeldMagnitude, kHeldMagnitude);
  const float highestHz = kHighestCutoff * rate;
  const auto moving = [&](float blend, float lineFeedback, float forward) {
    _runMod(left, right, frames, [&](std::size_t, const Swing& m, float* l, float* r) {
      *l = runUniComb(&modLeft, *l, m.dL, blend, lineFeedback, forward, rate);
      *r = runUniComb(&modRight, *r, m.dR, blend, lineFeedback, forward, rate);
    });
  };
  switch (modType) {
    case kChorus:
      return moving(1.0F, 0.0F, 0.7F);
    case kVibrato:
      return moving(0.0F, 0.0F, 1.0F);
    case kFlanger:
      return moving(0.7F, inLine, 0.7F);
    case kAutoPan:
      return _runMod(left, right, frames, [&](std::size_t, const Swing& m, float* l, float* r) {
        *l = (1.0F - smoothedAmount) * *l + smoothedAmount * m.s * *l;
        *r = (1.0F - smoothedAmount) * *r + smoothedAmount * m.c * *r;
      });
    case kPhaser:
      return _runMod(left, right, frames, [&](std::size_t, const Swing& m, float* l, float* r) {
        const float swingHz = kCornerSwingHz * smoothedAmount;
        // From half the rate on, and below 0 Hz, the all-pass would run away.
        const float cornerHz = heldSetting(kCornerHz + swingHz - swingHz * m.s, 0.0F, highestHz);
        const float t = std::tan(std::numbers::pi_v<float> * cornerHz / rate);
        const float a = (t - 1.0F) / (t + 1.0F);
        *l = runUniComb(&modLeft, *l - across * lastRight, 1.0F / rate, a, -a, 1.0F, rate);
        *r = runUniComb(&modRight, *r - across * lastLeft, 1.0F / rate, a, -a, 1.0F, rate);
      });
    case kTremolo:
      return _runMod(left, right, frames, [&](std::size_t, const Swing& m, float* l, float* r) {
        *l = (1.0F - smoothedAmount) * *l + smoothedAmount * m.s * *l;
        *r = (1.0F - smoothedAmount) * *r + smoothedAmount * m.s * *r;
      });
    case kDelayedMod:
      return _runMod(left, right, frames, [&](std::size_t i, const Swing& m, float* l, float* r) {
        *l = runUniComb(&modLeft, *l, m.dL + timesLeft_[i] / 2.0F, 1.0F, inLine, 1.0F, rate);
        *r = runUniComb(&modRight, *r, m.dR + timesRight_[i] / 2.0F, 1.0F, inLine, 1.0F, rate);
      });
    default:
      return _runMod(left, right, frames, [](std::size_t, const Swing&, float*, float*) {});
  }
}

}  // namespace morv
