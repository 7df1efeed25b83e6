// The tape: its time, its dirt, its feedback path.

#include <cmath>
#include <numbers>

#include "effects/DelayRead.h"
#include "effects/HeldSettings.h"
#include "effects/ZRVADelay.h"
#include "platform/DiagnosticRing.h"

namespace morv {
namespace {

constexpr float kE = 2.7182817F;
constexpr float kFallSlowness = 2.0F;
constexpr float kTwoPi = 2.0F * std::numbers::pi_v<float>;
constexpr float kWowHz = 45.0F;
constexpr float kFastHz = 22.0F;
constexpr float kSlowHz = 6.0F;
constexpr float kFlutterSeconds = 0.0001F;
constexpr float kFastShare = 0.7F;
constexpr float kHumHz = 60.0F;
constexpr float kHumLevel = 0.001F;           // -60 dB
constexpr float kHissLevel = 1.77827941e-4F;  // -75 dB
constexpr float kLowCutHz = 250.0F;
constexpr float kHighCutHz = 5000.0F;
constexpr float kReturnGain = 1.5F;

float noise(Random* random) noexcept MORV_NONBLOCKING {
  return static_cast<float>(2.0 * random->unitDouble() - 1.0);
}

float nextPhase(float phase, float step) noexcept MORV_NONBLOCKING {
  const float next = phase + step;
  return next >= kTwoPi ? next - kTwoPi : next;
}

float finiteSample(float in) noexcept MORV_NONBLOCKING { return in == in ? in : 0.0F; }

}  // namespace

// What the tape needs from sample to sample, away from the object.
struct ZRVADelay::Tape {
  explicit Tape(ZRVADelay* delay) noexcept MORV_NONBLOCKING : d(delay), rate(delay->workingRate()) {
    setHeldTPTCutoff(&d->wowFilter, kWowHz, rate);
    setHeldTPTCutoff(&d->highpassFilter, kLowCutHz, rate);
    setHeldTPTCutoff(&d->lowpassFilter, kHighCutHz, rate);
    wowFilter = d->wowFilter;
    highpass = d->highpassFilter;
    lowpass = d->lowpassFilter;
    rise = std::pow(kE, -1.0F / rate);
    fall = std::pow(kE, -1.0F / (kFallSlowness * rate));
    feedbackTarget = heldSetting(d->feedback.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
    fastStep = kTwoPi * kFastHz / rate;
    slowStep = kTwoPi * kSlowHz / rate;
    humStep = kTwoPi * kHumHz / rate;
  }

  void store() noexcept MORV_NONBLOCKING {
    d->smoothedTimeLeft = timeLeft;
    d->smoothedTimeRight = timeRight;
    d->smoothedFeedback = feedback;
    d->wow = wow;
    d->tapePosition = position;
    d->phaseFast = fast;
    d->phaseSlow = slow;
    d->phaseHum = hum;
    d->wowFilter = wowFilter;
    d->highpassFilter = highpass;
    d->lowpassFilter = lowpass;
    d->random_ = random;
  }

  // y = k y + (1 - k) target. A target that is no number leaves the time.
  void glide(Times target) noexcept MORV_NONBLOCKING {
    const float k = target.left < timeLeft ? fall : rise;
    const float left = k * timeLeft + (1.0F - k) * target.left;
    const float right = k * timeRight + (1.0F - k) * target.right;
    if (left == left) {
      timeLeft = left;
    } else {
      DiagnosticRing::shared().post("NAN TL\n");
    }
    if (right == right) timeRight = right;
  }

  float dirty(float in) noexcept MORV_NONBLOCKING {
    hum = nextPhase(hum, humStep);
    return in + kHumLevel * std::sin(hum) + kHissLevel * noise(&random);
  }

  // What the tape gives while it takes `in`.
  float step(float inLeft, float inRight, Times target) noexcept MORV_NONBLOCKING {
    glide(target);
    wow = runTPT2(&wowFilter, kTPTLowpass1, noise(&random), rate);
    fast = nextPhase(fast, fastStep);
    slow = nextPhase(slow, slowStep);
    position = timeLeft + kFlutterSeconds * (kFastShare * std::sin(fast) + wow + std::sin(slow));
    feedback = d->feedbackCoefficient * (feedback - feedbackTarget) + feedbackTarget;
    const float x = dirty(finiteSample(inLeft));
    if (std::isnan(inLeft) || std::isnan(inRight)) DiagnosticRing::shared().post("NaN!");
    const float tapeOut = d->readTape(position);
    const float y = runTPT2(&highpass, kTPTHighpass1, tapeOut, rate);
    const float z = runTPT2(&lowpass, kTPTLowpass1, y, rate);
    d->writeTape(std::tanh(kReturnGain * feedback * z + x));
    return tapeOut;
  }

  ZRVADelay* d;
  float rate;
  float rise, fall;
  float feedbackTarget;
  float fastStep, slowStep, humStep;
  tpt wowFilter, highpass, lowpass;
  float timeLeft = d->smoothedTimeLeft;
  float timeRight = d->smoothedTimeRight;
  float feedback = d->smoothedFeedback;
  float wow = d->wow;
  float position = d->tapePosition;
  float fast = d->phaseFast;
  float slow = d->phaseSlow;
  float hum = d->phaseHum;
  Random random = d->random_;
};

// The tape between its elements, in double: a float has no room for a fraction beside a position this large.
float ZRVADelay::readTape(float delaySeconds) const noexcept {
  const double distance = static_cast<double>(delaySeconds) * static_cast<double>(workingRate());
  double p = wrapped(static_cast<double>(writeIndex) - distance, size);
  if (!(p >= 0.0 && p < static_cast<double>(size))) p = broughtIn(p, size);
  const int i = static_cast<int>(p);
  const int next = i + 1 < size - 1 ? i + 1 : 0;
  const float here = i < written_ ? delayBuffer[static_cast<std::size_t>(i)] : 0.0F;
  const float there = next < written_ ? delayBuffer[static_cast<std::size_t>(next)] : 0.0F;
  return here + static_cast<float>(p - static_cast<double>(i)) * (there - here);
}

void ZRVADelay::writeTape(float value) noexcept {
  delayBuffer[static_cast<std::size_t>(writeIndex)] = value;
  written_ = std::max(written_, writeIndex + 1);
  writeIndex = nextWriteIndex(writeIndex, size);
}

void ZRVADelay::runTape(const float* inL, const float* inR, float* wetL, float* wetR, int count,
                        Times times) noexcept {
  Tape tape(this);
  for (int i = 0; i < count; ++i) wetL[i] = wetR[i] = tape.step(inL[i], inR[i], times);
  tape.store();
}

void ZRVADelay::doTapeDelay(float inLeft, float inRight, float* wetLeft, float* wetRight, float timeLeft,
                            float timeRight) noexcept {
  Tape tape(this);
  *wetLeft = *wetRight = tape.step(inLeft, inRight, {timeLeft, timeRight});
  tape.store();
}

void ZRVADelay::doDelay(float inLeft, float inRight, float* wetLeft, float* wetRight, float timeSeconds,
                        float /*unused*/) noexcept {
  if (std::isnan(inLeft) || std::isnan(inRight)) DiagnosticRing::shared().post("NaN!");
  const float read = readTape(timeSeconds);
  writeTape(std::tanh(smoothedFeedback * read + finiteSample(inLeft)));
  *wetLeft = *wetRight = read;
}

}  // namespace morv
