#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/ZRSpringVerb.h"
#include "tests/effects/EffectTesting.h"
#include "tests/effects/PlainLine.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
// A hundred all-passes in single precision against the same in double.
constexpr double kSameFormDb = -80.0;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// One all-pass of the chain. The write cycle leaves the last of 1024 elements out and the read does not, so
// the line is a sample shorter for a moment of each lap, and once reads the element that is never written.
class PlainSpringPass {
 public:
  double run(double x) {
    constexpr double kG = 0.65;
    double p = static_cast<double>(at_) - 5.25;
    if (p < 0) p += 1024;
    const auto i = static_cast<std::size_t>(p);
    const double t = 1 + (p - static_cast<double>(i));
    const double a = (1 - t) / (1 + t);
    const double y1 = state_ * a + line_[i == 0 ? 1023 : i - 1];
    const double v = state_ - y1 * a;
    const double w = x + v * kG;
    state_ = y1;
    line_[at_] = w;
    at_ = at_ + 1 < 1023 ? at_ + 1 : 0;
    return w * kG - v;
  }

 private:
  std::vector<double> line_ = std::vector<double>(1024);
  std::size_t at_ = 0;
  double state_ = 0;
};

// The spring, block by block.
class PlainSpring {
 public:
  PlainSpring(double rateHz, double mix, double decay, double level)
      : rate_(rateHz), mix_(mix), decay_(decay), level_(level), line_(rateHz) {}

  void run(const float* inL, const float* inR, float* outL, float* outR, int frames) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
      const auto l = static_cast<double>(inL[i]);
      const auto r = static_cast<double>(inR[i]);
      const double heard = tank_[i] + (l + r) / 2;
      outL[i] = static_cast<float>(l * (1 - mix_) + heard * level_ * mix_);
      outR[i] = static_cast<float>(r * (1 - mix_) + heard * level_ * mix_);
      double x = heard;
      for (PlainSpringPass& pass : chain_) x = pass.run(x);
      tank_[i] = 0.95 * decay_ * line_.run(x, 0.05, 0.1, 0, 1, rate_);
    }
  }

 private:
  double rate_, mix_, decay_, level_;
  PlainLine line_;
  std::vector<PlainSpringPass> chain_ = std::vector<PlainSpringPass>(100);
  std::vector<double> tank_ = std::vector<double>(4096);
};

Stereo plainSpring(const Stereo& in, const std::vector<int>& blocks, double rateHz, double mix, double decay,
                   double level) {
  PlainSpring spring(rateHz, mix, decay, level);
  Stereo out(in.frames());
  int at = 0;
  for (std::size_t b = 0; at < in.frames(); ++b) {
    const int n = std::min(blocks[b % blocks.size()], in.frames() - at);
    spring.run(in.left.data() + at, in.right.data() + at, out.left.data() + at, out.right.data() + at, n);
    at += n;
  }
  return out;
}

TEST(ZRSpringVerb, HasItsParametersInOrder) {
  ZRSpringVerb spring(kRate);
  using U = ZRDSPParameterUnit;

  expectParameters(spring, {{"program", "Program", 0, 1, 0, U::indexed, {"Spring", "Off"}},
                            {"mix", "Mix", 0, 100, 50, U::percent, {"DRY", "WET"}},
                            {"decay", "Decay", 0, 100, 50, U::percent},
                            {"level", "Level", 0, 100, 100, U::percent}});
  EXPECT_EQ(spring.identifier, "springverb");
  EXPECT_EQ(spring.name, "Spring Reverb");
}

TEST(ZRSpringVerb, BuildsItsTanksAndFilters) {
  ZRSpringVerb spring(kRate);
  const auto expectFilter = [](const ZRBiquadFilter& filter, ZRBiquadType type, int sections, double cutoffHz,
                               double rateHz) {
    EXPECT_EQ(filter.biquadType, type);
    EXPECT_EQ(filter.sections, sections);
    EXPECT_EQ(filter.channels, 1);
    EXPECT_NEAR(filter.K, std::tan(std::numbers::pi * cutoffHz / rateHz), 1e-6);
  };
  for (const int rate : {44100, 96000}) {
    spring.prepare(static_cast<float>(rate), 64);

    EXPECT_EQ(spring.blockSize, 64);
    for (const ZRSpringVerb::Tank& tank : spring.tanks) {
      expectFilter(*tank.lowpass, ZRBiquadType::lowpass, 25, 4500, rate);
      expectFilter(*tank.lowAllpass, ZRBiquadType::allpass, 50, 500, rate);
      expectFilter(*tank.highAllpass, ZRBiquadType::allpass, 50, 3500, rate);
      EXPECT_EQ(tank.line.size, rate);
      EXPECT_GE(tank.buffer.size(), 4096U);
    }
    expectFilter(*spring.allpassFilter, ZRBiquadType::allpass, 100, 1000, rate);
    EXPECT_EQ(spring.allpasses.size(), 100U);
    for (const ap& allpass : spring.allpasses) EXPECT_EQ(allpass.size, 1024);
  }
}

TEST(ZRSpringVerb, TheFirstBlockHearsTheMonoInputAlone) {
  ZRSpringVerb spring(kRate);
  spring.mix = 25.0F;
  spring.level = 50.0F;
  const Stereo in = stereoNoise(512, 1);

  const Stereo out = runInBlocks(spring, in, 512);

  for (std::size_t i = 0; i < 512; ++i) {
    const float wet = (in.left[i] + in.right[i]) * 0.5F * 0.5F * 0.25F;
    ASSERT_FLOAT_EQ(out.left[i], 0.75F * in.left[i] + wet);
    ASSERT_FLOAT_EQ(out.right[i], 0.75F * in.right[i] + wet);
  }
}

TEST(ZRSpringVerb, TheSpringTrailsByOneBlock) {
  ZRSpringVerb spring(kRate);
  spring.mix = 100.0F;
  spring.decay = 100.0F;
  constexpr float kQuiet = 0.01F;
  for (const int block : {1024, 2048}) {
    spring.reset();

    const Stereo out = runInBlocks(spring, stereoImpulse(3 * block, kQuiet, kQuiet), block);

    // A hundred times the gain ahead of each line is all that comes without delay: 0.65 to the hundredth.
    EXPECT_FLOAT_EQ(out.left[0], kQuiet);
    EXPECT_LT(energy({out.left.begin() + 1, out.left.begin() + block}), 1e-30);
    EXPECT_GT(energy({out.left.begin() + block, out.left.begin() + 2 * block}), 1e-8);
    EXPECT_EQ(out.left, out.right);
  }
}

TEST(ZRSpringVerb, IsThePlainSpringAtTwoRatesAndBlockSizes) {
  for (const float rate : {44100.0F, 96000.0F}) {
    for (const int block : {64, 500}) {
      ZRSpringVerb spring(rate);
      spring.mix = 60.0F;
      spring.decay = 90.0F;
      spring.level = 80.0F;
      const Stereo in = stereoNoise(static_cast<int>(0.3F * rate), 9, 0.5F);

      const Stereo out = runInBlocks(spring, in, block);

      const Stereo expected = plainSpring(in, {block}, static_cast<double>(rate), 0.6, 0.9, 0.8);
      EXPECT_LT(differenceDb(expected, out), kSameFormDb) << rate << " in blocks of " << block;
    }
  }
}

TEST(ZRSpringVerb, WhatALongerBlockLeftWaitsForTheNextThatIsAsLong) {
  const std::vector<int> blocks = {700, 100, 1, 400, 700};
  const Stereo in = stereoNoise(9000, 2);
  ZRSpringVerb spring(kRate);
  spring.mix = 100.0F;
  Stereo out(in.frames());
  int at = 0;
  for (std::size_t b = 0; at < in.frames(); ++b) {
    const int n = std::min(blocks[b % blocks.size()], in.frames() - at);
    spring.runEffect(in.left.data() + at, in.right.data() + at, out.left.data() + at, out.right.data() + at,
                     n, 120.0F);
    at += n;
  }

  EXPECT_LT(differenceDb(plainSpring(in, blocks, 44100, 1.0, 0.5, 1.0), out), kSameFormDb);
}

TEST(ZRSpringVerb, TheTailFallsWithTheDecayAndEndsWithoutIt) {
  const auto tail = [](float decay) {
    ZRSpringVerb spring(kRate);
    spring.mix = 100.0F;
    spring.decay = decay;
    runInBlocks(spring, stereoNoise(8192, 3), 512);
    return energy(runInBlocks(spring, Stereo(44100), 512).left);
  };

  EXPECT_EQ(tail(0.0F), 0.0);
  EXPECT_GT(tail(50.0F), 0.0);
  EXPECT_GT(tail(90.0F), 4.0 * tail(50.0F));
}

TEST(ZRSpringVerb, WithoutWetOrSpringTheOutputsStayAsTheyCame) {
  const Stereo in = stereoNoise(64, 1);
  const auto output = [&in](float mix, float program, float bypass) {
    ZRSpringVerb spring(kRate);
    spring.mix = mix;
    spring.program = program;
    spring.bypass = bypass;
    std::vector<float> left(64, 0.125F);
    std::vector<float> right(64, -0.5F);
    spring.runEffect(in.left.data(), in.right.data(), left.data(), right.data(), 64, 120.0F);
    EXPECT_EQ(left[0] == 0.125F, right[0] == -0.5F);
    return left;
  };
  const std::vector<float> untouched(64, 0.125F);

  EXPECT_EQ(output(0.0F, 0.0F, 0.0F), untouched);
  EXPECT_EQ(output(50.0F, 1.0F, 0.0F), untouched);
  EXPECT_EQ(output(50.0F, -1.0F, 0.0F), untouched);
  EXPECT_EQ(output(50.0F, 0.0F, 1.0F), untouched);
  EXPECT_NE(output(50.0F, 0.0F, 0.0F), untouched);
  EXPECT_NE(output(50.0F, 0.99F, 0.0F), untouched);
  EXPECT_NE(output(50.0F, -0.99F, 0.0F), untouched);
}

TEST(ZRSpringVerb, TheBandsDoNothing) {
  ZRSpringVerb spring(kRate);
  const std::vector<float> in = stereoNoise(64, 1).left;
  std::vector<float> samples = in;

  spring.doLF(samples.data(), 64);
  spring.doHF(samples.data(), 64);

  EXPECT_EQ(samples, in);
}

TEST(ZRSpringVerb, ResetEqualsFresh) {
  const Stereo in = stereoNoise(4000, 4);
  ZRSpringVerb spring(kRate);
  spring.decay = 100.0F;
  ZRSpringVerb fresh(kRate);
  fresh.decay = 100.0F;

  runInBlocks(spring, in, 256);
  spring.reset();

  EXPECT_EQ(runInBlocks(spring, in, 256).left, runInBlocks(fresh, in, 256).left);
}

TEST(ZRSpringVerb, OneBufferForAllGivesTheSame) {
  Stereo in = stereoNoise(4000, 4);
  in.right = in.left;
  ZRSpringVerb apart(kRate);
  ZRSpringVerb together(kRate);

  EXPECT_EQ(runInOneBuffer(together, in.left, 256), runInBlocks(apart, in, 256).right);
}

TEST(ZRSpringVerb, AnInputThatIsNoNumberCountsAsSilence) {
  Stereo in = stereoNoise(4000, 4);
  Stereo silenced = in;
  in.left[100] = in.right[300] = kNaN;
  silenced.left[100] = silenced.right[300] = 0.0F;
  ZRSpringVerb spring(kRate);
  ZRSpringVerb expected(kRate);

  EXPECT_EQ(runInBlocks(spring, in, 256).left, runInBlocks(expected, silenced, 256).left);
}

TEST(ZRSpringVerb, StaysFiniteAtTheExtremesOfEachControl) {
  const Stereo in = stereoNoise(4096, 8, 1.0F);
  Stereo loud = in;
  loud.left[10] = std::numeric_limits<float>::infinity();
  loud.right[20] = -3e38F;
  for (std::size_t i = 0; i < 4; ++i) {
    ZRSpringVerb spring(kRate);
    spring.decay = 100.0F;
    ZRDSPParameter* control = spring.parameters()[i];
    for (const float value :
         {-1.0F, 0.0F, 100.0F, 1e6F, -3e38F, 3e38F, kLostSettings[0], kLostSettings[1], kLostSettings[2]}) {
      const float before = control->value;
      *control = value;
      ASSERT_TRUE(isFinite(runInBlocks(spring, loud, 512))) << control->identifier << " at " << value;
      *control = before;
      ASSERT_TRUE(isFinite(runInBlocks(spring, in, 512))) << control->identifier << " after " << value;
    }
  }
}

}  // namespace
}  // namespace morv
