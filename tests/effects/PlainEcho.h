#pragma once

// The echo sample by sample, as a second form to hold the block form against.

#include <algorithm>
#include <cmath>
#include <memory>

#include "effects/ZRBasicDelay.h"
#include "tests/effects/EffectTesting.h"

namespace morv {

constexpr float kRate = 44100.0F;
// The same arithmetic, sample by sample against stretches.
constexpr double kSameFormDb = -120.0;

// From the line's own step.
class PlainEcho {
 public:
  explicit PlainEcho(float rateHz) : PlainEcho(rateHz, rateHz) {}
  // The followers take the rate that it is built at, everything else the rate that it runs at.
  PlainEcho(float builtRateHz, float runRateHz) {
    smoothing_ =
        static_cast<float>(std::exp(std::log(0.01) / (500.0 * static_cast<double>(builtRateHz) * 0.001)));
    for (tpt& filter : filters_) initTPT(&filter);
    prepare(runRateHz);
  }

  // New lines; times and filters stay.
  void prepare(float runRateHz) {
    rate_ = runRateHz;
    for (uniComb& line : lines_) {
      initUniComb(&line, static_cast<int>(5.0F * rate_));
      line.linear = 1;
    }
  }

  void empty() {
    for (uniComb& line : lines_) resetUniComb(&line);
  }

  Stereo run(const Stereo& in, float tempo = 120.0F) {
    Stereo out(in.frames());
    const std::vector<float>* ins[2] = {&in.left, &in.right};
    std::vector<float>* outs[2] = {&out.left, &out.right};
    if (highpass != asked_) {
      for (tpt& filter : filters_) setTPTCutoff(&filter, std::min(highpass, 0.499F * rate_), rate_);
      asked_ = highpass;
    }
    for (std::size_t side = 0; side < 2; ++side) {
      const float target = targetOf(side == 0 ? 10.0F * spread : -10.0F * spread, tempo);
      for (std::size_t i = 0; i < in.left.size(); ++i) {
        const float x = (*ins[side])[i];
        const float h = runTPT2(&filters_[side], kTPTHighpass1, x, rate_);
        times[side] = smoothing_ * (times[side] - target) + target;
        const float wet = runUniComb(&lines_[side], h, times[side], 0, feedback, 1, rate_);
        (*outs[side])[i] = (1.0F - mix) * x + mix * wet;
      }
    }
    return out;
  }

  float timeMs = 250, feedback = 0.25F, mix = 0.5F, highpass = 0, spread = 0;
  bool sync = false;
  float times[2] = {0.125F, 0.125F};

 private:
  float targetOf(float spreadMs, float tempo) const {
    float target = (timeMs + spreadMs) / 1000.0F;
    if (sync) {
      const float unit = 60.0F / tempo * 0.0625F * std::pow(2.0F, std::floor(timeMs / 500.0F * 5.0F));
      target = unit + spreadMs / 1000.0F;
    }
    return target > 0.0F ? target : 0.0001F;
  }

  float rate_ = 0;
  float smoothing_ = 0;
  float asked_ = 10000;  // what the filters start with
  uniComb lines_[2];
  tpt filters_[2];
};

inline std::unique_ptr<ZRBasicDelay> wokenDelay(float rateHz = kRate) {
  auto delay = std::make_unique<ZRBasicDelay>(rateHz);
  delay->prepare(rateHz, 512);
  delay->bypass = 0.0F;
  return delay;
}

// At its time from the first sample on.
inline std::unique_ptr<ZRBasicDelay> settledDelay(float timeMs, float rateHz = kRate) {
  auto delay = wokenDelay(rateHz);
  delay->echoTime = timeMs;
  delay->timeL = delay->timeR = timeMs / 1000.0F;
  return delay;
}

}  // namespace morv
