#include "effects/ZRDigiDelay.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "effects/HeldSettings.h"
#include "platform/DiagnosticRing.h"
#include "render/SafeCast.h"

namespace morv {
namespace {

constexpr float kDelaySeconds = 10.0F;
constexpr float kModSeconds = 5.0F;
constexpr float kSpreadMs = 50.0F;  // to each side
constexpr float kLoudestInput = 1.5F;
constexpr float kUsualTempo = 120.0F;
constexpr float kGreatestExponent = 8.0F;
constexpr std::array kSyncBeats = {0.0625F, 0.09375F, 1.0F / 24.0F};  // straight, dotted, triplet

// Coefficient of y = c (y - target) + target that comes within a hundredth in the time.
float follower(double milliseconds, float rateHz) noexcept {
  return static_cast<float>(std::exp(std::log(0.01) / (milliseconds * static_cast<double>(rateHz) * 0.001)));
}

float followed(float value, float target, float coefficient) noexcept MORV_NONBLOCKING {
  return coefficient * (value - target) + target;
}

float guarded(float in) noexcept MORV_NONBLOCKING {
  return in <= -kLoudestInput || in >= kLoudestInput ? 0.0F : in;
}

float number(float x) noexcept MORV_NONBLOCKING { return x == x ? x : 0.0F; }

bool isNumber(float left, float right) noexcept MORV_NONBLOCKING { return left == left && right == right; }

float heldTime(float seconds) noexcept MORV_NONBLOCKING {
  return std::clamp(seconds, -kHeldMagnitude, kHeldMagnitude);
}

// Below 0 Hz a one-pole runs away as it does above half the rate.
float heldFrequency(float cutoffHz) noexcept MORV_NONBLOCKING {
  return heldSetting(cutoffHz, 0.0F, std::numeric_limits<float>::max());
}

}  // namespace

ZRDigiDelay::ZRDigiDelay(float sampleRateHz) : ZRDSPEffect(sampleRateHz) {
  identifier = "digidelay";
  name = "Digital Delay";
  timeCoefficient = follower(500.0, sampleRate);
  amountCoefficient = follower(250.0, sampleRate);
  firstTimeCoefficient_ = timeCoefficient;
  firstAmountCoefficient_ = amountCoefficient;
  for (tpt* filter : {&highpassLeft, &highpassRight, &lowpassLeft, &lowpassRight}) initTPT(filter);
  ZRDigiDelay::reset();
}

ZRDigiDelay::~ZRDigiDelay() = default;

void ZRDigiDelay::prepare(float sampleRateHz, int blockSizeFrames) {
  ZRDSPEffect::prepare(sampleRateHz, blockSizeFrames);
  reset();
}

void ZRDigiDelay::reset() {
  ZRDSPEffect::reset();
  for (uniComb* line : {&combLeft, &combRight}) initUniComb(line, truncatedInt(kDelaySeconds * sampleRate));
  for (uniComb* line : {&modLeft, &modRight}) initUniComb(line, truncatedInt(kModSeconds * sampleRate));
  gaveNoNumber_ = false;
}

void ZRDigiDelay::_placeModulation() noexcept {
  constexpr Stage kMod = &ZRDigiDelay::doMod;
  if (modPosition == kBeforeDelay || modPosition == kNowhere) postMod = nullptr;
  if (modPosition == kBehindDelay || modPosition == kNowhere) preMod = nullptr;
  if (modPosition == kBeforeDelay) preMod = kMod;
  if (modPosition == kBehindDelay) postMod = kMod;
}

// The two times from the milliseconds, or from the tempo in powers of two.
ZRDigiDelay::Times ZRDigiDelay::_times() const noexcept {
  if (!syncTempo) {
    const float apart = spread * kSpreadMs;
    return {heldTime((time + apart) / 1000.0F), heldTime((time - apart) / 1000.0F)};
  }
  const float bpm = tempo <= 0.0F ? kUsualTempo : tempo;
  const float exponent = time > kGreatestExponent ? 1.0F : time;
  const bool isKnown = syncType > 0 && syncType < static_cast<int>(kSyncBeats.size());
  const float unit = 60.0F / bpm * kSyncBeats[isKnown ? static_cast<std::size_t>(syncType) : 0];
  const float synced = unit * std::exp2(exponent);
  const float apart = spread * kSpreadMs / 1000.0F;
  return {heldTime(synced + apart), heldTime(synced - apart)};
}

void ZRDigiDelay::followControls(int frames) noexcept {
  const Times target = _times();
  const float feedbackTarget = heldSetting(feedback, -kGreatestLineFeedback, kGreatestLineFeedback);
  const float k = timeCoefficient;
  for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
    const float left = followed(delayLeft, target.left, k);
    const float right = followed(delayRight, target.right, k);
    if (left == left) {
      delayLeft = left;
    } else {
      DiagnosticRing::shared().post("NAN TL\n");
    }
    if (right == right) delayRight = right;
    smoothedFeedback = followed(smoothedFeedback, feedbackTarget, k);
    timesLeft_[i] = delayLeft;
    timesRight_[i] = delayRight;
    feedbacks_[i] = smoothedFeedback;
  }
}

void ZRDigiDelay::doDelay(float* left, float* right, int frames) noexcept {
  for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
    if (!isNumber(left[i], right[i])) {
      DiagnosticRing::shared().post("NaN!");
      left[i] = right[i] = 0.0F;
    }
    left[i] = runUniComb(&combLeft, left[i], timesLeft_[i], 0.0F, feedbacks_[i], 1.0F, sampleRate);
    right[i] = runUniComb(&combRight, right[i], timesRight_[i], 0.0F, feedbacks_[i], 1.0F, sampleRate);
  }
}

void ZRDigiDelay::doFilter(float* left, float* right, int frames) noexcept {
  const float lowHz = heldFrequency(lowpass);
  const float highHz = heldFrequency(highpass);
  for (tpt* filter : {&lowpassLeft, &lowpassRight}) setHeldTPTCutoff(filter, lowHz, sampleRate);
  for (tpt* filter : {&highpassLeft, &highpassRight}) setHeldTPTCutoff(filter, highHz, sampleRate);
  for (int i = 0; i < frames; ++i) {
    if (!isNumber(left[i], right[i])) continue;
    const float highL = runTPT2(&highpassLeft, kTPTHighpass1, left[i], sampleRate);
    const float highR = runTPT2(&highpassRight, kTPTHighpass1, right[i], sampleRate);
    left[i] = runTPT2(&lowpassLeft, kTPTLowpass1, highL, sampleRate);
    right[i] = runTPT2(&lowpassRight, kTPTLowpass1, highR, sampleRate);
  }
}

void ZRDigiDelay::_runStage(Stage stage, float* left, float* right, int frames) noexcept {
  if (stage != nullptr) (this->*stage)(left, right, frames);
}

void ZRDigiDelay::_runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                             float bpm) noexcept {
  if (bypass.intValue() != 0) return;
  tempo = bpm;
  _placeModulation();
  const float wet = heldSetting(mix, -kHeldMagnitude, kHeldMagnitude);
  float dryL[kStretch];
  float dryR[kStretch];
  float left[kStretch];
  float right[kStretch];
  for (int start = 0; start < frames; start += kStretch) {
    const int n = std::min(kStretch, frames - start);
    followControls(n);
    for (int i = 0; i < n; ++i) {
      left[i] = guarded(inL[start + i]);
      right[i] = guarded(inR[start + i]);
      dryL[i] = number(left[i]);
      dryR[i] = number(right[i]);
    }
    _runStage(preMod, left, right, n);
    _runStage(filterStage, left, right, n);
    if (!delayBypass) _runStage(delayStage, left, right, n);
    _runStage(postMod, left, right, n);
    for (int i = 0; i < n; ++i) {
      if (!isNumber(left[i], right[i])) {
        gaveNoNumber_ |= !std::isnan(inL[start + i]) && !std::isnan(inR[start + i]);
        if (std::isnan(left[i])) left[i] = right[i] = 0.0F;
      }
      outL[start + i] = (1.0F - wet) * dryL[i] + wet * left[i];
      outR[start + i] = (1.0F - wet) * dryR[i] + wet * number(right[i]);
    }
  }
}

}  // namespace morv
