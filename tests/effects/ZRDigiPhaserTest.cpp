#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "effects/ZRDigiPhaser.h"
#include "platform/DiagnosticRing.h"
#include "tests/effects/EffectTesting.h"
#include "tests/effects/PlainLine.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
constexpr double kPi = std::numbers::pi;
// Of a small sine through saturation: its cube, and float rounding over whole periods.
constexpr double kResponseError = 2e-4;
// A second form in double, of recursions in single precision.
constexpr double kSameFormDb = -75.0;
constexpr float kFollowerError = 1e-4F;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

int messagesOf(const std::string& text) {
  int count = 0;
  DiagnosticRing::Line line;
  while (DiagnosticRing::shared().take(&line)) count += text == line.format ? 1 : 0;
  return count;
}

// What the effect makes of a small sine, as a factor: over the last second of two.
std::complex<double> measuredResponse(ZRDigiPhaser& phaser, double frequencyHz, double rateHz) {
  constexpr double kSmall = 1e-3;
  const auto second = static_cast<int>(rateHz);
  const Stereo out = runInBlocks(phaser, stereoSine(2 * second, frequencyHz, rateHz, kSmall), 512);
  std::complex<double> sum = 0;
  for (int i = second; i < 2 * second; ++i) {
    const double angle = 2 * kPi * frequencyHz * i / rateHz;
    sum += static_cast<double>(out.left[static_cast<std::size_t>(i)]) *
           std::exp(std::complex<double>(0, -angle));
  }
  return sum * std::complex<double>(0, 2) / (kSmall * rateHz);  // against a sine
}

// Four first-order all-passes by their corners, each at 0.95.
std::complex<double> stages(double frequencyHz, double rateHz) {
  const std::complex<double> unit = std::exp(std::complex<double>(0, -2 * kPi * frequencyHz / rateHz));
  std::complex<double> h = 1;
  for (const double cornerHz : {250.0, 1250.0, 2250.0, 3250.0}) {
    const double t = std::tan(kPi * cornerHz / rateHz);
    const double a = (t - 1) / (t + 1);
    h *= 0.95 * (a + unit) / (1.0 + a * unit);
  }
  return h;
}

TEST(ZRDigiPhaser, StartsWithItsSettings) {
  ZRDigiPhaser p(kRate);

  EXPECT_EQ(p.identifier, "digiphaser");
  EXPECT_TRUE(p.parameters().empty());
  EXPECT_EQ(p.mix, 0.5F);
  EXPECT_EQ(p.feedback, 0.0F);
  EXPECT_EQ(p.depth, 0.0F);
  EXPECT_EQ(p.rate, 0.2F);
  EXPECT_EQ(p.spareHigh, 10000.0F);
  EXPECT_EQ(p.spareLow, 10.0F);
  EXPECT_EQ(p.phase, 0.0F);
  EXPECT_EQ(p.smoothedDepth, 0.0F);
  EXPECT_EQ(p.smoothedMix, 0.5F);
  EXPECT_EQ(p.lastLeft, 0.0F);
  EXPECT_EQ(p.lastRight, 0.0F);
  EXPECT_NEAR(std::pow(static_cast<double>(p.smoothing), 11025.0), 0.001, 1e-5);
  for (const ZRDigiPhaser::Channel& channel : p.channels) {
    for (const uniComb& line : channel.lines) {
      EXPECT_EQ(line.size, 88200);
      EXPECT_EQ(line.linear, 0);
    }
    for (const tpt& filter : channel.filters) EXPECT_EQ(filter.cutoff, 10000.0F);
  }
}

TEST(ZRDigiPhaser, WithoutDepthItsStagesStandAtTheirCorners) {
  for (const double rate : {44100.0, 96000.0}) {
    for (const double frequency : {100.0, 250.0, 1250.0, 2250.0, 3250.0, 9000.0}) {
      ZRDigiPhaser p(static_cast<float>(rate));
      p.mix = 1.0F;

      const std::complex<double> h = measuredResponse(p, frequency, rate);

      EXPECT_LT(std::abs(h - stages(frequency, rate)), kResponseError) << frequency << " at " << rate;
    }
  }
}

TEST(ZRDigiPhaser, HalfWetHasItsNotchesWhereTheStagesTurnTheSignalRound) {
  // The stages' phase passes half a turn once below 1.5 kHz: a search of the plain response finds where.
  double notch = 0;
  for (double f = 200; f < 1500; f += 1) {
    if (std::abs(1.0 + stages(f, 44100)) < std::abs(1.0 + stages(notch, 44100))) notch = f;
  }
  ZRDigiPhaser p(kRate);

  const double level = std::abs(measuredResponse(p, notch, 44100));

  EXPECT_NEAR(level, 0.5 - 0.5 * std::pow(0.95, 4), 1e-3);
  EXPECT_GT(std::abs(measuredResponse(p, 20.0, 44100)), 0.85);
}

TEST(ZRDigiPhaser, IsThePlainPhaserWithSweepAndFeedback) {
  for (const double rate : {24000.0, 48000.0}) {
    ZRDigiPhaser p(static_cast<float>(rate));
    p.mix = 0.8F;
    p.feedback = 0.6F;
    p.depth = 0.9F;
    p.rate = 2.5F;
    const Stereo in = stereoNoise(static_cast<int>(rate), 4, 0.4F);
    std::vector<PlainLine> lines(8, PlainLine(2 * rate));
    PlainFollower depth(0, 0.001, 250, rate);
    PlainFollower mix(0.5, 0.001, 250, rate);
    PlainPhase phase;
    double last[2] = {0, 0};

    const Stereo out = runInBlocks(p, in, 100);

    Stereo expected(in.frames());
    for (std::size_t i = 0; i < in.left.size(); ++i) {
      const double k = depth.to(0.9) * (std::sin(phase.step(2.5, rate)) + 1) / 2;
      const double wet = mix.to(0.8);
      for (std::size_t c = 0; c < 2; ++c) {
        const auto x = static_cast<double>(c == 0 ? in.left[i] : in.right[i]);
        double y = x + 0.6 * last[c];
        for (std::size_t stage = 0; stage < 4; ++stage) {
          const double cornerHz = 250 + 1000 * static_cast<double>(stage) + 5000 * k;
          const double a = std::tan(kPi * cornerHz / rate - kPi / 4);  // (t - 1) / (t + 1)
          y = lines[4 * c + stage].run(y, 1 / rate, a, -a, 1, rate);
        }
        last[c] = y;
        (c == 0 ? expected.left : expected.right)[i] = static_cast<float>((1 - wet) * x + wet * y);
      }
    }
    EXPECT_LT(differenceDb(expected, out), kSameFormDb) << rate;
  }
}

TEST(ZRDigiPhaser, MixAndDepthFollowAsAThousandthInAQuarterOfASecond) {
  ZRDigiPhaser p(8000.0F);
  p.mix = 1.0F;
  p.depth = 1.0F;

  runInBlocks(p, Stereo(2000), 64);

  EXPECT_NEAR(p.smoothedMix, 1.0F - 0.001F * 0.5F, kFollowerError);
  EXPECT_NEAR(p.smoothedDepth, 0.999F, kFollowerError);
  EXPECT_NEAR(p.phase, 2 * kPi * 0.2 * 0.25, 1e-3);
}

TEST(ZRDigiPhaser, ThePreFilterLeavesTheSignalAlone) {
  ZRDigiPhaser p(kRate);
  float left = 0.3F;
  float right = -0.7F;

  p.doPreFilter(&left, &right);

  EXPECT_EQ(left, 0.3F);
  EXPECT_EQ(right, -0.7F);
}

TEST(ZRDigiPhaser, ALeftOutputOutOfRangeIsToldWithBothSides) {
  ZRDigiPhaser p(kRate);
  p.mix = p.smoothedMix = 0.0F;
  Stereo in(4);
  in.left = {1.5F, -1.5F, 1.0F, 0.0F};
  in.right = {0.25F, 0.5F, 0.0F, 9.0F};
  messagesOf("");

  const Stereo out = runInBlocks(p, in, 4);

  DiagnosticRing::Line first;
  DiagnosticRing::Line second;
  DiagnosticRing::Line none;
  ASSERT_TRUE(DiagnosticRing::shared().take(&first));
  ASSERT_TRUE(DiagnosticRing::shared().take(&second));
  EXPECT_FALSE(DiagnosticRing::shared().take(&none));
  EXPECT_STREQ(first.format, "out of range sample: %f delay: %f\n");
  EXPECT_EQ(first.real, 1.5);
  EXPECT_EQ(first.secondReal, 0.25);
  EXPECT_EQ(second.real, -1.5);
  EXPECT_EQ(second.secondReal, 0.5);
  EXPECT_EQ(out.left, in.left);
  EXPECT_EQ(out.right, in.right);
}

TEST(ZRDigiPhaser, AnInputThatIsNoNumberIsToldAndCountsAsSilence) {
  Stereo in = stereoNoise(2000, 2);
  Stereo silenced = in;
  in.left[100] = in.right[200] = kNaN;
  silenced.left[100] = silenced.right[200] = 0.0F;
  ZRDigiPhaser p(kRate);
  ZRDigiPhaser expected(kRate);
  messagesOf("");

  const Stereo out = runInBlocks(p, in, 64);

  EXPECT_EQ(messagesOf("NAN\n"), 1);
  const Stereo wanted = runInBlocks(expected, silenced, 64);
  EXPECT_EQ(out.left, wanted.left);
  EXPECT_EQ(out.right, wanted.right);
}

TEST(ZRDigiPhaser, BypassLeavesTheOutputsAlone) {
  ZRDigiPhaser p(kRate);
  p.bypass = 1.0F;

  EXPECT_EQ(energy(runInBlocks(p, stereoNoise(64, 1), 64).left), 0.0);
}

TEST(ZRDigiPhaser, ResetSilencesItAndStartsTheSoundAsFresh) {
  const Stereo in = stereoNoise(3000, 3);
  ZRDigiPhaser p(kRate);
  p.feedback = 0.9F;
  p.rate = 0.0F;
  ZRDigiPhaser fresh(kRate);
  fresh.feedback = 0.9F;
  fresh.rate = 0.0F;

  runInBlocks(p, in, 64);
  p.reset();

  EXPECT_EQ(energy(runInBlocks(p, Stereo(3000), 64).left), 0.0);
  p.reset();
  EXPECT_EQ(runInBlocks(p, in, 64).left, runInBlocks(fresh, in, 64).left);
}

TEST(ZRDigiPhaser, BlocksOfAnySizeAndOneBufferGiveTheSame) {
  const Stereo in = stereoNoise(5000, 6);
  const auto output = [&](int blockFrames) {
    ZRDigiPhaser p(kRate);
    p.depth = 1.0F;
    p.feedback = 0.5F;
    return runInBlocks(p, in, blockFrames);
  };
  const Stereo expected = output(4096);
  for (const int blockFrames : {1, 7, 64}) {
    const Stereo out = output(blockFrames);
    EXPECT_EQ(out.left, expected.left) << blockFrames;
    EXPECT_EQ(out.right, expected.right) << blockFrames;
  }
  ZRDigiPhaser apart(kRate);
  ZRDigiPhaser together(kRate);
  Stereo same = in;
  same.right = same.left;
  EXPECT_EQ(runInOneBuffer(together, in.left, 64), runInBlocks(apart, same, 64).right);
}

TEST(ZRDigiPhaser, StaysFiniteAtTheExtremesOfEachControl) {
  const Stereo in = stereoNoise(4000, 8, 1.0F);
  Stereo loud = in;
  loud.left[10] = std::numeric_limits<float>::infinity();
  loud.right[20] = -3e38F;
  using Control = float ZRDigiPhaser::*;
  for (const Control control :
       {&ZRDigiPhaser::mix, &ZRDigiPhaser::feedback, &ZRDigiPhaser::depth, &ZRDigiPhaser::rate}) {
    for (const float rate : {8000.0F, 44100.0F}) {
      ZRDigiPhaser p(rate);
      p.depth = 1.0F;
      for (const float value : {-1.0F, 0.0F, 1.0F, 1000.0F, -3e38F, 3e38F, kLostSettings[0], kLostSettings[1],
                                kLostSettings[2]}) {
        const float before = p.*control;
        p.*control = value;
        ASSERT_TRUE(isFinite(runInBlocks(p, loud, 512))) << value;
        p.*control = before;
        ASSERT_TRUE(isFinite(runInBlocks(p, in, 512))) << value;
      }
    }
  }
}

TEST(ZRDigiPhaser, PrepareStoresRateAndBlockSize) {
  ZRDigiPhaser p(kRate);
  const float smoothing = p.smoothing;

  p.prepare(96000.0F, 128);

  EXPECT_EQ(p.sampleRate, 96000.0F);
  EXPECT_EQ(p.blockSize, 128);
  EXPECT_EQ(p.smoothing, smoothing);
}

}  // namespace
}  // namespace morv
