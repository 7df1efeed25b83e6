// The lines of the analogue chorus in its programs.

#include <algorithm>
#include <cmath>

#include "effects/HeldSettings.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVAChorusStretch.h"
#include "render/SafeCast.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

enum RoutingValue : int { kSerial = 0, kParallel = 1 };
enum ShapeValue : int { kSine = 0, kNoise = 1 };

// The knob shows ten times the delay that it sets.
constexpr float kMinDelayPerSecond = 10000.0F;

struct LineGains {
  float blend, feedback, forward;
};

}  // namespace

struct ZRVAChorus::Motion {
  float depthSeconds;
  float noiseGain;
  bool isUnipolar;                      // the sine swings from 0 to 1
  bool hasOwnPhases;                    // the right side swings by phaseB, not by phaseA turned by the spread
  std::array<float, 2> quartersTurned;  // the spread's part in each side's phase, in quarters of a turn
  bool isMean;                          // of the stages side by side; else their sum
};

int ZRVAChorus::_stages() const noexcept {
  return std::clamp(numStages.intValue(), 0, static_cast<int>(kStages) - 1) + 1;
}

// d = minimum + |depth m|, with m the sine or the noise times the amount.
void ZRVAChorus::_delays(const Stretch& s, const Motion& motion, std::size_t channel, std::size_t stage,
                         float* delays) const noexcept {
  const float minimum = heldValue(minDelay) / kMinDelayPerSecond;
  const auto count = static_cast<std::size_t>(s.count);
  const int which = modShape.intValue();
  if (which == kSine) {
    const bool isB = motion.hasOwnPhases && channel == 1;
    const Stretch::Samples& phases = isB ? s.phaseB[stage] : s.phaseA[stage];
    const float turned = 0.5F * motion.quartersTurned[channel];
    for (std::size_t i = 0; i < count; ++i) delays[i] = phases[i] + turned * s.spread[i];
    voiceKernels().sinPi(delays, delays, s.count);
    const float offset = motion.isUnipolar ? 1.0F : 0.0F;
    const float scale = motion.isUnipolar ? 0.5F : 1.0F;
    for (std::size_t i = 0; i < count; ++i) delays[i] = s.depth[i] * (delays[i] + offset) * scale;
  } else if (which == kNoise) {
    const Stretch::Samples& noise = channel == 0 ? s.noiseL : s.noiseR;
    for (std::size_t i = 0; i < count; ++i) delays[i] = motion.noiseGain * s.depth[i] * noise[i];
  } else {
    std::fill_n(delays, count, 0.0F);
  }
  for (std::size_t i = 0; i < count; ++i) delays[i] = minimum + std::abs(motion.depthSeconds * delays[i]);
}

// The stages one behind the other, or side by side on the same input. A routing between its two values is
// neither: the stages then run on silence, or their sum is not divided.
template <typename RunLine>
void ZRVAChorus::_runStages(const Motion& motion, Stretch* s, RunLine runLine) noexcept {
  const int direction = modRouting.intValue();
  const float routingValue = modRouting.value;
  const int stages = _stages();
  const auto count = static_cast<std::size_t>(s->count);
  float* const sides[] = {s->left.data(), s->right.data()};
  Stretch::Samples sum;
  Stretch::Samples delays;
  for (std::size_t channel = 0; channel < 2; ++channel) {
    float* const in = sides[channel];
    if (routingValue == 0.0F) {
      std::copy_n(in, count, sum.data());
    } else {
      std::fill_n(sum.data(), count, 0.0F);
    }
    for (std::size_t stage = 0; stage < static_cast<std::size_t>(stages); ++stage) {
      _delays(*s, motion, channel, stage, delays.data());
      if (direction == kSerial) {
        for (std::size_t i = 0; i < count; ++i) sum[i] = runLine(channel, stage, sum[i], delays[i]);
      } else if (direction == kParallel) {
        for (std::size_t i = 0; i < count; ++i) sum[i] += runLine(channel, stage, in[i], delays[i]);
      }
    }
    if (motion.isMean && routingValue == 1.0F) {
      for (std::size_t i = 0; i < count; ++i) sum[i] /= static_cast<float>(stages);
    }
    std::copy_n(sum.data(), count, in);
  }
}

void ZRVAChorus::doAnalog(Stretch* s) noexcept {
  constexpr Motion kMotion = {0.005F, 3.0F, true, false, {-1.0F, 1.0F}, true};
  const bool isSerial = modRouting.intValue() == kSerial;
  const LineGains gains = isSerial ? LineGains{0.5F, 0.0F, 0.75F} : LineGains{0.0F, 0.0F, 1.0F};
  _runStages(kMotion, s, [&](std::size_t channel, std::size_t stage, float in, float delaySeconds) {
    return runBBDLine(&lines[channel][stage], in, delaySeconds, gains.blend, gains.feedback, gains.forward,
                      sampleRate);
  });
}

// The combs keep a feedback beyond 1 at 1, where they still hold their level.
void ZRVAChorus::doDigital(Stretch* s) noexcept {
  constexpr Motion kMotion = {0.003F, 1.0F, true, false, {0.0F, 1.0F}, true};
  const bool isSerial = modRouting.intValue() == kSerial;
  const float back = heldSetting(feedback.normalizedValue(), -1.0F, 1.0F);
  const LineGains gains = isSerial ? LineGains{0.2F, back, 1.0F} : LineGains{0.0F, back, 1.0F};
  _runStages(kMotion, s, [&](std::size_t channel, std::size_t stage, float in, float delaySeconds) {
    return runUniComb(&combs[channel][stage], in, delaySeconds, gains.blend, gains.feedback, gains.forward,
                      sampleRate);
  });
}

// Lines that swing through 0, each side at its own pace, and a cross-feed of treble through the filters of
// the animation. One frame at a time.
void ZRVAChorus::doAnalog2(Stretch* s) noexcept {
  constexpr Motion kMotion = {0.003F, 1.0F, false, true, {0.0F, 0.0F}, false};
  const float back = heldValue(feedback);
  _runStages(kMotion, s, [&](std::size_t channel, std::size_t stage, float in, float delaySeconds) {
    return runBBDLine(&lines[channel][stage], in, delaySeconds, 0.0F, back, 1.0F, sampleRate);
  });
  const float amount = heldValue(animate);
  const float crossed = heldValue(shape);
  const float cutoffHz = std::max(50.0F + (1.0F - amount) * 10000.0F, 0.0F);
  for (std::size_t i = 0; i < static_cast<std::size_t>(s->count); ++i) {
    setHeldTPTCutoff(&animateLeft, cutoffHz, sampleRate);
    setHeldTPTCutoff(&animateRight, cutoffHz, sampleRate);
    const float fromLeft = runTPT2(&animateLeft, kTPTHighpass1, -s->left[i], sampleRate);
    const float fromRight = runTPT2(&animateRight, kTPTHighpass1, -s->right[i], sampleRate);
    s->left[i] += fromRight * crossed;
    s->right[i] += fromLeft * crossed;
  }
}

// On a grid of trunc(2^bits - 1) steps a unit, halves away from zero. Below one step a unit there is no grid
// to divide by.
void ZRVAChorus::quantise(Stretch* s) const noexcept {
  const double bits = static_cast<double>(bitDepth.value.load());
  const double levels = static_cast<double>(std::max(truncatedInt(std::exp2(bits) - 1.0), 1));
  for (Stretch::Samples* side : {&s->left, &s->right}) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(s->count); ++i) {
      const auto x = static_cast<double>((*side)[i]);
      (*side)[i] = static_cast<float>(std::round((x + 1.0) * levels) / levels - 1.0);
    }
  }
}

void ZRVAChorus::runProgram(int which, Stretch* s) noexcept {
  switch (which) {
    case kAnalog:
      doAnalog(s);
      break;
    case kDigital:
      doDigital(s);
      break;
    case kVintageDigital:
      quantise(s);
      doDigital(s);
      for (std::size_t i = 0; i < static_cast<std::size_t>(s->count); ++i) {
        s->left[i] = halfband(&halfbands[0], 1, s->left[i]);
        s->right[i] = halfband(&halfbands[1], 1, s->right[i]);
      }
      break;
    case kAnalog2:
      doAnalog2(s);
      break;
    default:
      break;  // the lines stand still and the signal goes on
  }
}

}  // namespace morv
