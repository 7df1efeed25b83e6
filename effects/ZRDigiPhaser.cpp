#include "effects/ZRDigiPhaser.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "effects/HeldSettings.h"
#include "platform/DiagnosticRing.h"
#include "render/SafeCast.h"
#include "voice/Smoothing.h"

namespace morv {
namespace {

constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kLineSeconds = 2.0F;
constexpr float kInputGain = 1.0F;

// Corners of the stages: the first, the distance to the next, and the sweep.
constexpr float kCornerHz = 250.0F;
constexpr float kCornerStepHz = 1000.0F;
constexpr float kSweepHz = 5000.0F;

// Far above any signal, and its sums stay finite numbers.
constexpr float kLoudest = 1e30F;

float finite(float in) noexcept MORV_NONBLOCKING { return heldSetting(in, -kLoudest, kLoudest); }

}  // namespace

ZRDigiPhaser::ZRDigiPhaser(float sampleRateHz) : ZRDSPEffect(sampleRateHz) {
  identifier = "digiphaser";
  name = "Phaser";
  smoothing = smoothingCoefficient(250.0, sampleRate);
  firstSmoothing_ = smoothing;
  for (Channel& channel : channels) {
    for (uniComb& line : channel.lines) initUniComb(&line, truncatedInt(kLineSeconds * sampleRate));
    for (tpt& filter : channel.filters) initTPT(&filter);
  }
}

ZRDigiPhaser::~ZRDigiPhaser() = default;

void ZRDigiPhaser::reset() {
  ZRDSPEffect::reset();
  for (Channel& channel : channels) {
    for (uniComb& line : channel.lines) resetUniComb(&line);
  }
  lastLeft = 0;
  lastRight = 0;
}

void ZRDigiPhaser::doPreFilter(float* /*left*/, float* /*right*/) noexcept {}

// With a one-sample line of blend a and feedback -a each stage is (a + 1/z) / (1 + a/z), whose phase is a
// quarter of a turn at the corner that a = (t - 1) / (t + 1), t = tan(pi corner / rate), sets.
void ZRDigiPhaser::doAllpass(float* left, float* right) noexcept {
  const float held = heldSetting(feedback, -kHeldMagnitude, kHeldMagnitude);
  float l = *left + held * lastLeft;
  float r = *right + held * lastRight;
  const float m = (std::sin(phase) + 1.0F) / 2.0F;
  // Forwards, and at most once round in a sample.
  phase += 2.0F * kPi * heldSetting(rate, 0.0F, sampleRate) / sampleRate;
  if (phase >= 2.0F * kPi) phase -= 2.0F * kPi;
  const float target = heldSetting(depth, -kHeldMagnitude, kHeldMagnitude);
  smoothedDepth = smoothing * (smoothedDepth - target) + target;
  const float sweepHz = kSweepHz * (smoothedDepth * m);
  for (int i = 0; i < kStages; ++i) {
    // From half the rate on, and below 0 Hz, a stage would run away.
    const float cornerHz = std::clamp(kCornerHz + kCornerStepHz * static_cast<float>(i) + sweepHz, 0.0F,
                                      kHighestCutoff * sampleRate);
    const float t = std::tan(kPi * cornerHz / sampleRate);
    const float a = (t - 1.0F) / (t + 1.0F);
    const auto k = static_cast<std::size_t>(i);
    l = runUniComb(&channels[0].lines[k], l, 1.0F / sampleRate, a, -a, 1.0F, sampleRate);
    r = runUniComb(&channels[1].lines[k], r, 1.0F / sampleRate, a, -a, 1.0F, sampleRate);
  }
  *left = lastLeft = l;
  *right = lastRight = r;
}

void ZRDigiPhaser::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                              float /*tempo*/) noexcept {
  if (bypass.intValue() != 0) return;
  const float target = heldSetting(mix, -kHeldMagnitude, kHeldMagnitude);
  for (int i = 0; i < frames; ++i) {
    if (std::isnan(inL[i])) DiagnosticRing::shared().post("NAN\n");
    const float dryL = finite(inL[i]);
    const float dryR = finite(inR[i]);
    float left = kInputGain * dryL;
    float right = kInputGain * dryR;
    doPreFilter(&left, &right);
    doAllpass(&left, &right);
    smoothedMix = smoothing * (smoothedMix - target) + target;
    outL[i] = (1.0F - smoothedMix) * dryL + smoothedMix * left;
    outR[i] = (1.0F - smoothedMix) * dryR + smoothedMix * right;
    if (outL[i] < -1.0F || outL[i] > 1.0F) {
      DiagnosticRing::shared().postReals("out of range sample: %f delay: %f\n", static_cast<double>(outL[i]),
                                         static_cast<double>(outR[i]));
    }
  }
}

}  // namespace morv
