// The tape echo against a second form of it, sample by sample and in double, with the same draws of noise.

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/FIRTables.h"
#include "effects/ZRVADelay.h"
#include "platform/Random.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
// Floats hold the read distance to some 1e-3 samples, and full-band noise is steep.
constexpr double kSameFormDb = -57.0;
// At eight times the rate a sample is shorter, and so is what is left of the distance's fraction.
constexpr double kOversampledFormDb = -50.0;

// Low-pass by trapezoidal rule.
struct PlainPole {
  double z = 0;
  double run(double x, double cutoffHz, double rateHz) {
    const double g = std::tan(std::numbers::pi * cutoffHz / rateHz);
    const double v = (x - z) * g / (1 + g);
    const double y = v + z;
    z = y + v;
    return y;
  }
};

// A sine whose phase is a float and drifts as one.
struct PlainSine {
  float phase = 0;
  double run(double frequencyHz, double rateHz) {
    phase += static_cast<float>(kTwoPi * frequencyHz / rateHz);
    if (phase >= static_cast<float>(kTwoPi)) phase -= static_cast<float>(kTwoPi);
    return std::sin(static_cast<double>(phase));
  }
};

class PlainTape {
 public:
  PlainTape(double rateHz, double seconds, double feedback)
      : rate_(rateHz), time_(seconds), feedback_(feedback), tape_(static_cast<std::size_t>(10 * rateHz)) {}

  double run(double in) {
    const std::size_t size = tape_.size();
    const double wow = wow_.run(2 * random_.unitDouble() - 1, 45, rate_);
    const double distance = time_ + 0.0001 * (0.7 * fast_.run(22, rate_) + wow + slow_.run(6, rate_));
    const double x = in + std::pow(10, -60.0 / 20) * hum_.run(60, rate_) +
                     std::pow(10, -75.0 / 20) * (2 * random_.unitDouble() - 1);
    double p = static_cast<double>(write_) - distance * rate_;
    if (p < 0) p += static_cast<double>(size);
    const auto i = static_cast<std::size_t>(p);
    const double next = i + 1 < size - 1 ? tape_[i + 1] : tape_[0];
    const double read = tape_[i] + (p - static_cast<double>(i)) * (next - tape_[i]);
    const double y = read - high_.run(read, 250, rate_);
    const double z = low_.run(y, 5000, rate_);
    tape_[write_] = std::tanh(1.5 * feedback_ * z + x);
    if (++write_ == size - 1) write_ = 0;
    return read;
  }

 private:
  double rate_, time_, feedback_;
  std::vector<double> tape_;
  std::size_t write_ = 0;
  PlainSine fast_, slow_, hum_;
  PlainPole wow_, high_, low_;
  Random random_{1};
};

// The mix of noise bursts and their echoes.
Stereo bursts(int frames, float rateHz) {
  Stereo s = stereoNoise(frames, 5, 0.7F);
  const auto period = static_cast<int>(0.6F * rateHz);
  for (int i = 0; i < frames; ++i) {
    const float gate = i % period < period / 6 ? 1.0F : 0.0F;
    s.left[static_cast<std::size_t>(i)] *= gate;
    s.right[static_cast<std::size_t>(i)] *= gate;
  }
  return s;
}

Stereo plainEcho(const Stereo& in, double rateHz, double seconds, double feedback, double mix) {
  PlainTape tape(rateHz, seconds, feedback);
  Stereo out(in.frames());
  for (std::size_t i = 0; i < in.left.size(); ++i) {
    const double wet = tape.run(static_cast<double>(in.left[i]));
    out.left[i] = static_cast<float>((1 - mix) * static_cast<double>(in.left[i]) + mix * wet);
    out.right[i] = static_cast<float>((1 - mix) * static_cast<double>(in.right[i]) + mix * wet);
  }
  return out;
}

TEST(ZRVADelayForm, IsThePlainTapeAtTwoRates) {
  for (const float rate : {44100.0F, 96000.0F}) {
    ZRVADelay delay(rate);
    delay.feedback = 90.0F;
    delay.time = 180.0F;
    delay.mix = 60.0F;
    delay.reset();
    const Stereo in = bursts(static_cast<int>(2 * rate), rate);

    const Stereo out = runInBlocks(delay, in, 512);

    const Stereo expected = plainEcho(in, static_cast<double>(rate), 0.18, 0.9, 0.6);
    EXPECT_LT(differenceDb(expected, out), kSameFormDb) << rate;
  }
}

TEST(ZRVADelayForm, IsThePlainTapeOnItsSecondLap) {
  constexpr float kLowRate = 12000.0F;
  ZRVADelay delay(kLowRate);
  delay.time = 900.0F;
  delay.feedback = 70.0F;
  delay.mix = 100.0F;
  delay.reset();
  const Stereo in = bursts(static_cast<int>(13 * kLowRate), kLowRate);

  const Stereo out = runInBlocks(delay, in, 512);

  const Stereo expected = plainEcho(in, static_cast<double>(kLowRate), 0.9, 0.7, 1.0);
  EXPECT_LT(differenceDb(expected, out), kSameFormDb);
}

// Each sample eight times, through the decimator's filter, of which the newest tap meets the sample before
// the frame's.
std::vector<float> decimated(const std::vector<double>& work) {
  std::vector<float> out(work.size() / 8);
  for (std::size_t n = 0; n < out.size(); ++n) {
    double sum = 0;
    for (std::size_t k = 0; k < 674; ++k) {
      if (8 * n + k >= 674) sum += static_cast<double>(B8x[k]) * work[8 * n + k - 674];
    }
    out[n] = static_cast<float>(sum);
  }
  return out;
}

void oversampleNow(ZRVADelay* delay, float value) {
  delay->setParameterValueForAddress(delay->oversample.address, value);
}

TEST(ZRVADelayForm, OversampledIsThePlainTapeAtEightTimesTheRate) {
  constexpr float kLowRate = 16000.0F;
  ZRVADelay delay(kLowRate);
  delay.time = 100.0F;
  delay.feedback = 80.0F;
  delay.mix = 70.0F;
  oversampleNow(&delay, 1.0F);
  const Stereo in = bursts(16000, kLowRate);

  const Stereo out = runInBlocks(delay, in, 100);

  PlainTape tape(8 * static_cast<double>(kLowRate), 0.1, 0.8);
  std::vector<double> left, right;
  for (std::size_t i = 0; i < in.left.size() * 8; ++i) {
    const double wet = 0.7 * tape.run(static_cast<double>(in.left[i / 8]));
    left.push_back(0.3 * static_cast<double>(in.left[i / 8]) + wet);
    right.push_back(0.3 * static_cast<double>(in.right[i / 8]) + wet);
  }
  EXPECT_LT(differenceDb(decimated(left), out.left), kOversampledFormDb);
  EXPECT_LT(differenceDb(decimated(right), out.right), kOversampledFormDb);
}

TEST(ZRVADelayForm, OversampledDryIsTheHeldInputThroughTheDecimator) {
  constexpr double kFloatSumsDb = -110.0;
  ZRVADelay delay(44100.0F);
  delay.mix = 0.0F;
  oversampleNow(&delay, 1.0F);
  const Stereo in = stereoNoise(3000, 8);

  const Stereo out = runInBlocks(delay, in, 64);

  std::vector<double> work;
  for (std::size_t i = 0; i < in.left.size() * 8; ++i) work.push_back(static_cast<double>(in.left[i / 8]));
  EXPECT_LT(differenceDb(decimated(work), out.left), kFloatSumsDb);
}

TEST(ZRVADelayForm, TellsHowLateOversamplingMakesWhatPassesIt) {
  ZRVADelay delay(44100.0F);
  delay.mix = 0.0F;
  EXPECT_EQ(delay.latencyFrames(), 0);
  oversampleNow(&delay, 1.0F);
  const int ahead = delay.latencyFrames();

  const Stereo out = runInBlocks(delay, stereoImpulse(1000), 64);

  // The middle of what an impulse leaves.
  double sum = 0;
  double moment = 0;
  for (std::size_t i = 0; i < out.left.size(); ++i) {
    sum += static_cast<double>(out.left[i]);
    moment += static_cast<double>(i) * static_cast<double>(out.left[i]);
  }
  EXPECT_EQ(ahead, std::lround(moment / sum));
  EXPECT_EQ(delay.latencyFrames(), ahead);
  oversampleNow(&delay, 0.0F);
  EXPECT_EQ(delay.latencyFrames(), 0);
}

TEST(ZRVADelayForm, BlocksOfAnySizeSoundAlike) {
  const Stereo in = bursts(20000, 44100.0F);
  for (const float oversampling : {0.0F, 1.0F}) {
    const auto run = [&](int blockFrames) {
      ZRVADelay delay(44100.0F);
      delay.time = 300.0F;  // glides from 250
      oversampleNow(&delay, oversampling);
      return runInBlocks(delay, in, blockFrames);
    };
    const Stereo expected = run(4096);
    for (const int blockFrames : {1, 7, 64}) {
      const Stereo out = run(blockFrames);
      EXPECT_EQ(out.left, expected.left) << blockFrames;
      EXPECT_EQ(out.right, expected.right) << blockFrames;
    }
  }
}

TEST(ZRVADelayForm, WorksInPlace) {
  const Stereo in = bursts(20000, 44100.0F);
  for (const float oversampling : {0.0F, 1.0F}) {
    ZRVADelay apart(44100.0F);
    ZRVADelay inPlace(44100.0F);
    oversampleNow(&apart, oversampling);
    oversampleNow(&inPlace, oversampling);
    const Stereo both{runInBlocks(apart, {in}, 512)};
    Stereo s = in;

    const ScopedFlushDenormals guard;
    for (int start = 0; start < 20000; start += 500) {
      float* left = s.left.data() + start;
      float* right = s.right.data() + start;
      inPlace.runEffect(left, right, left, right, 500, 120.0F);
    }

    EXPECT_EQ(s.left, both.left);
    EXPECT_EQ(s.right, both.right);
  }
}

}  // namespace
}  // namespace morv
