// The chorus against its formulas: exact samples, rates, drift, settings far outside their ranges.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "tests/effects/PlainChorus.h"

namespace morv {
namespace {

// One rounding of a tangent and a product or two of numbers below 1.
constexpr float kExact = 1e-6F;

// At 12800 Hz the ten milliseconds of a chorus without swing are 128 samples, in floats too.
TEST(ZRBasicChorusForm, AnImpulseComesBackAtItsDelayAndAtOnceOnTheOtherSide) {
  const auto chorus = preparedChorus(12800.0F);
  chorus->chorusModAmount = 0.0F;
  chorus->mix = 100.0F;
  chorus->prepare(12800.0F, 64);

  const Stereo out = runInBlocks(*chorus, stereoImpulse(1000, 0.5F, 0.0F), 64);

  // A one-pole high-pass of 100 Hz lets 1 - g / (1 + g) of a first sample through.
  const double g = std::tan(std::numbers::pi * 100.0 / 12800.0);
  const double first = std::tanh(0.95 * 0.5);
  EXPECT_NEAR(out.left[0], first, kExact);
  EXPECT_NEAR(out.right[0], -0.3 * first / (1.0 + g), kExact);
  EXPECT_NEAR(out.left[128], std::tanh(0.75 * 0.475), kExact);
  EXPECT_NEAR(out.left[127], 0.0F, kExact);
  EXPECT_NEAR(out.left[129], 0.0F, kExact);
  EXPECT_LT(out.right[128], -0.05F);
}

TEST(ZRBasicChorusForm, IsThePlainFormAtOtherRatesAndWherePrepareChangesThem) {
  for (const float built : {8000.0F, 44100.0F, 96000.0F}) {
    for (const float rate : {8000.0F, 22050.0F, 96000.0F}) {
      for (const bool isNoise : {false, true}) {
        const Stereo in = stereoNoise(60000, 14);
        ZRBasicChorus chorus(built);
        chorus.setRandomSeed(kSeed);
        chorus.prepare(rate, 512);
        chorus.modShape = isNoise ? 1.0F : 0.0F;
        chorus.chorusModFreq = 4.0F;
        chorus.chorusModAmount = 100.0F;
        PlainChorus plain(rate);
        plain.isNoise = isNoise;
        plain.frequency = 4.0F;
        plain.amountTarget = 1;

        EXPECT_LT(differenceDb(plain.run(in), runInBlocks(chorus, in, 512)), kPlainFormDb)
            << built << " " << rate << " " << isNoise;
      }
    }
  }
}

// The shortest delay at 8000 Hz is 40 samples, less than the longest stretch.
TEST(ZRBasicChorusForm, GivesTheSameForEveryBlockSizeAtLowRates) {
  for (const float rate : {1000.0F, 4000.0F, 8000.0F}) {
    const Stereo in = stereoNoise(20000, 15);
    const auto make = [rate] {
      auto chorus = preparedChorus(rate);
      chorus->chorusModAmount = 100.0F;
      chorus->chorusModFreq = 5.0F;
      return chorus;
    };
    const Stereo expected = runInBlocks(*make(), in, 1);
    for (const int block : {7, 64, 65, 4096}) {
      EXPECT_LT(differenceDb(expected, runInBlocks(*make(), in, block)), kPlainFormDb)
          << rate << " " << block;
    }
  }
}

// Seconds of swing in a line of one: the reads come round, next to the writes at times.
TEST(ZRBasicChorusForm, DepthsFarBeyondTheirRangeGiveTheSameForEveryBlockSize) {
  const Stereo in = stereoNoise(20000, 16);
  for (const float percent : {5000.0F, 7000.0F, 10000.0F, 25000.0F, 60000.0F}) {
    for (const float shape : {0.0F, 1.0F}) {
      const auto make = [&] {
        auto chorus = preparedChorus(8000.0F);
        chorus->chorusModAmount = percent;
        chorus->chorusModFreq = 5.0F;
        chorus->modShape = shape;
        if (shape > 0.0F) {
          chorus->noiseL = chorus->noiseTargetL = 1.0F;
          chorus->noiseR = chorus->noiseTargetR = -1.0F;
        }
        return chorus;
      };
      const Stereo expected = runInBlocks(*make(), in, 1);
      ASSERT_TRUE(isFinite(expected));
      for (const int block : {7, 64, 4096}) {
        EXPECT_LT(differenceDb(expected, runInBlocks(*make(), in, block)), kPlainFormDb)
            << percent << " " << shape << " " << block;
      }
    }
  }
}

TEST(ZRBasicChorusForm, PrepareEmptiesTheLinesAndTheNoiseAndKeepsThePhases) {
  const auto chorus = preparedChorus();
  chorus->modShape = 1.0F;
  chorus->chorusModFreq = 5.0F;
  runInBlocks(*chorus, stereoNoise(60000, 17), 64);
  const float phase1 = chorus->phase1;
  const float phase2 = chorus->phase2;
  ASSERT_NE(chorus->noiseTargetL, 0.0F);
  ASSERT_NE(chorus->noiseTargetR, 0.0F);

  chorus->prepare(kRate, 64);

  EXPECT_EQ(chorus->noiseL, 0.0F);
  EXPECT_EQ(chorus->noiseR, 0.0F);
  EXPECT_EQ(chorus->noiseTargetL, 0.0F);
  EXPECT_EQ(chorus->noiseTargetR, 0.0F);
  EXPECT_NE(phase1, 0.0F);
  EXPECT_EQ(chorus->phase1, phase1);
  EXPECT_EQ(chorus->phase2, phase2);
  EXPECT_EQ(chorus->crossL.z1, 0.0F);
  for (const uniComb* line : {&chorus->delayL, &chorus->delayR}) {
    EXPECT_EQ(line->position, 0.0F);
    for (std::size_t i = 0; i < 44100; ++i) ASSERT_EQ(line->buffer[i], 0.0F) << i;
  }
}

TEST(ZRBasicChorusForm, OnlyARoutingOfOneIsASend) {
  const Stereo in = stereoNoise(5000, 18);
  const auto run = [&in](int routing) {
    const auto chorus = preparedChorus();
    chorus->routing = routing;
    return runInBlocks(*chorus, in, 64).left;
  };

  EXPECT_EQ(run(2), run(0));
  EXPECT_EQ(run(-1), run(0));
  EXPECT_NE(run(1), run(0));
}

// The glide is (10.1 - f) seconds to -60 dB, and a sample more.
TEST(ZRBasicChorusForm, NoiseGlidesASampleLongerThanTheFrequencySays) {
  for (const float rate : {8000.0F, 44100.0F}) {
    for (const float frequency : {2.0F, 10.0F, 10.0999F}) {
      const auto chorus = preparedChorus(rate);
      chorus->modShape = 1.0F;
      chorus->chorusModFreq = frequency;
      chorus->noiseTargetL = 1.0F;
      chorus->noiseTargetR = -1.0F;

      runInBlocks(*chorus, Stereo(3), 1);

      const double samples = (10.1 - static_cast<double>(frequency)) * static_cast<double>(rate) + 1.0;
      const double left = 1.0 - std::pow(std::exp(std::log(0.001) / samples), 3.0);
      EXPECT_NEAR(chorus->noiseL, left, kExact) << rate << " " << frequency;
      EXPECT_NEAR(chorus->noiseR, -left, kExact) << rate << " " << frequency;
    }
  }
}

TEST(ZRBasicChorusForm, NoiseFromWhereTheGlideWouldRunAwayStaysWithinItsTargets) {
  for (const float frequency : {10.1F, 10.15F, 10.2F, 12.0F, 100.0F}) {
    const auto chorus = preparedChorus(8000.0F);
    chorus->modShape = 1.0F;
    chorus->chorusModFreq = frequency;
    float loudest = 0;
    for (int block = 0; block < 500; ++block) {
      runInBlocks(*chorus, stereoNoise(64, 19), 64);
      loudest = std::max({loudest, std::abs(chorus->noiseL), std::abs(chorus->noiseR)});
    }

    EXPECT_GT(loudest, 0.3F) << frequency;
    EXPECT_LE(loudest, 1.0F) << frequency;
  }
}

TEST(ZRBasicChorusForm, EachSettingMayBeLostForAWhile) {
  for (const float rate : {8000.0F, 44100.0F}) {
    for (const float shape : {0.0F, 1.0F}) {
      const auto make = [&] {
        auto chorus = preparedChorus(rate);
        chorus->modShape = shape;
        return chorus;
      };
      expectEachSettingMayBeLostForAWhile(make, rate, 2.0F, false, [](ZRBasicChorus& chorus) {
        const float phase1 = chorus.phase1;
        const float phase2 = chorus.phase2;
        EXPECT_LE(std::abs(phase1), 2 * std::numbers::pi_v<float>);
        EXPECT_LE(std::abs(phase2), 2 * std::numbers::pi_v<float>);
        runInBlocks(chorus, Stereo(64), 64);
        EXPECT_NE(chorus.phase1, phase1);
        EXPECT_NE(chorus.phase2, phase2);
        EXPECT_LE(std::abs(chorus.noiseL), 1.0F);
        EXPECT_LE(std::abs(chorus.noiseR), 1.0F);
      });
    }
  }
}

TEST(ZRBasicChorusForm, OnOneBufferForBothSidesTheRightSideStays) {
  const Stereo in = stereoNoise(3000, 20);
  const auto apart = preparedChorus();
  const auto inOne = preparedChorus();
  Stereo both = in;
  both.right = both.left;

  EXPECT_EQ(runInOneBuffer(*inOne, in.left, 700), runInBlocks(*apart, both, 700).right);
}

}  // namespace
}  // namespace morv
