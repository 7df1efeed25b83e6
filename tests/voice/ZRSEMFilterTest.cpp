#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tests/voice/FilterTesting.h"
#include "voice/ZRSEMFilter.h"

namespace morv {
namespace {

using testing::filterGainDb;
using testing::makeNoise;
using testing::runInBlocks;

constexpr double kPi = std::numbers::pi;
constexpr double kRate = 44100.0;
// So small that the tanh is a straight line: it bends by a third of the cube.
constexpr double kSmall = 1e-3;
// Measured levels carry float rounding and that bend.
constexpr double kDbTolerance = 0.05;

struct Counter {
  int next = 30;
};

struct Filter : private Counter, ZRSEMFilter {
  explicit Filter(float rate = 44100.0F) : ZRSEMFilter(rate, &next) {}
  void setCutoffHz(double f) {
    filterCutoff = static_cast<float>((f - 10.0) / (nyquist - 20.0) / 0.95 * 20000.0);
  }
};

// The filter written sample by sample in double.
struct Reference {
  double c = 0, r = 0, rate = kRate;
  double s1 = 0, s2 = 0;

  double next(double x, double m) {
    const double f = c * (rate / 2.0 - 20.0) + 10.0;
    const double g = std::tan(kPi * f / rate);
    const double R = 1.0 / (2.0 * (25.0 * r + 0.5));
    const double hp = (x - (2.0 * R + g) * s1 - s2) / (1.0 + 2.0 * R * g + g * g);
    const double bp = std::tanh(g * hp + s1);
    const double lp = g * bp + s2;
    s1 = g * hp + bp;
    s2 = g * bp + lp;
    if (m < 1.0) return lp * (1.0 - m) + hp * m;
    return bp * (m - 1.0) + hp * (2.0 - m);
  }
};

TEST(ZRSEMFilter, ConstantsKeepTheRateOfConstruction) {
  Filter filter(48000.0F);

  filter.sampleRate = 96000.0F;
  filter._updateCoefficients(0);

  EXPECT_DOUBLE_EQ(filter.T, 1.0 / 48000.0);
  EXPECT_DOUBLE_EQ(filter.halfT, 0.5 / 48000.0);
  EXPECT_DOUBLE_EQ(filter.twoOverT, 96000.0);
  EXPECT_DOUBLE_EQ(filter.nyquist, 24000.0);
  const double f = static_cast<double>(filter.lastCutoff) * (24000.0 - 20.0) + 10.0;
  EXPECT_NEAR(filter.g, std::tan(kPi * f / 48000.0), 1e-12);
}

TEST(ZRSEMFilter, CoefficientsFollowCutoffLinearlyInHz) {
  Filter filter;
  filter.filterCutoff = 10000.0F;
  filter.filterResonance = 0.3F;

  filter._updateCoefficients(0);

  EXPECT_FLOAT_EQ(filter.lastCutoff, 0.475F);
  EXPECT_FLOAT_EQ(filter.lastResonance, 0.3F);
  const double f = 0.475 * (22050.0 - 20.0) + 10.0;
  const double g = std::tan(kPi * f / kRate);
  const double R = 1.0 / (2.0 * (25.0 * 0.3 + 0.5));
  constexpr double kFloatInput = 1e-6;  // c and r are floats
  EXPECT_NEAR(filter.g, g, kFloatInput);
  EXPECT_EQ(filter.alpha, filter.g);
  EXPECT_NEAR(filter.R, R, kFloatInput);
  EXPECT_NEAR(filter.alpha0, 1.0 / (1.0 + 2.0 * R * g + g * g), kFloatInput);
  EXPECT_NEAR(filter.rho, 2.0 * R + g, kFloatInput);
}

TEST(ZRSEMFilter, ResonanceRunsDampingFromOneToOneOver51) {
  Filter filter;

  filter._updateCoefficients(0);
  EXPECT_DOUBLE_EQ(filter.R, 1.0);
  filter.filterResonance = 1.0F;
  filter._updateCoefficients(0);
  EXPECT_DOUBLE_EQ(filter.R, 1.0 / 51.0);
}

TEST(ZRSEMFilter, CutoffOutsideItsRangeTakesTheEnds) {
  Filter filter;

  filter.filterCutoff = 0.0F;
  filter._updateCoefficients(0);
  EXPECT_FLOAT_EQ(filter.lastCutoff, 0.001F);

  filter.filterCutoff = 30000.0F;
  filter._updateCoefficients(0);
  EXPECT_FLOAT_EQ(filter.lastCutoff, 1.0F);
  EXPECT_NEAR(filter.g, std::tan(kPi * (22050.0 - 10.0) / kRate), 1e-6);
}

TEST(ZRSEMFilter, ModulatedCutoffIsLimitedJustInsideZeroAndOne) {
  testing::TestMatrix test;
  Filter filter;
  filter.setModMatrix(&test.matrix);
  filter.filterCutoff = 10000.0F;
  test.feed(filter.filterCutoff, {-0.5F, 0.6F, 0.1F, -0.475F});

  filter._updateCoefficients(0);
  EXPECT_EQ(filter.lastCutoff, 0.00001F);
  filter._updateCoefficients(1);
  EXPECT_EQ(filter.lastCutoff, 0.99999F);
  const double f = 0.99999 * (22050.0 - 20.0) + 10.0;
  EXPECT_NEAR(f, 22050.0 - 10.0, 0.25);
  EXPECT_TRUE(std::isfinite(filter.g));
  EXPECT_NEAR(filter.g / std::tan(kPi * f / kRate), 1.0,
              1e-4);  // c is a float, and the tangent is steep here
  filter._updateCoefficients(2);
  EXPECT_FLOAT_EQ(filter.lastCutoff, 0.575F);
  filter._updateCoefficients(3);
  EXPECT_NEAR(filter.lastCutoff, 0.0F, 1e-7F);
}

TEST(ZRSEMFilter, ModulatedResonanceIsLimitedToZeroAndOne) {
  testing::TestMatrix test;
  Filter filter;
  filter.setModMatrix(&test.matrix);
  filter.filterResonance = 0.5F;
  test.feed(filter.filterResonance, {0.7F, -0.7F, 0.25F});

  filter._updateCoefficients(0);
  EXPECT_EQ(filter.lastResonance, 1.0F);
  filter._updateCoefficients(1);
  EXPECT_EQ(filter.lastResonance, 0.0F);
  filter._updateCoefficients(2);
  EXPECT_FLOAT_EQ(filter.lastResonance, 0.75F);
}

TEST(ZRSEMFilter, CoefficientsStandWhileTheLimitedInputsStand) {
  constexpr double kMark = 123.0;
  Filter filter;
  filter._updateCoefficients(0);
  filter.g = kMark;

  filter._updateCoefficients(0);
  EXPECT_EQ(filter.g, kMark);
  filter.filterResonance = 2.0F;
  filter._updateCoefficients(0);
  EXPECT_NE(filter.g, kMark);
  filter.g = kMark;
  filter.filterResonance = 3.0F;  // another value with the same limit
  filter._updateCoefficients(0);
  EXPECT_EQ(filter.g, kMark);
}

TEST(ZRSEMFilter, MatchesThePlainFormInAllModes) {
  // Floats hold the states; at a Q of 13 their rounding rings on for some hundred samples.
  constexpr double kTolerance = 2e-5;
  const auto in1 = makeNoise(2000, 1.0F, 1);
  const auto in2 = makeNoise(2000, 1.0F, 2);
  for (const float rate : {44100.0F, 96000.0F}) {
    for (const float m : {0.0F, 0.25F, 0.5F, 0.99F, 1.0F, 1.5F, 2.0F, 3.0F}) {
      Filter filter(rate);
      filter.filterCutoff = 3000.0F;
      filter.filterResonance = 0.5F;
      filter.filterMode = m;
      const auto out = runInBlocks(filter, in1, in2, 64);

      const double c = 3000.0 / 20000.0 * 0.95;
      Reference first{c, 0.5, static_cast<double>(rate)};
      Reference second = first;
      for (std::size_t i = 0; i < in1.size(); ++i) {
        ASSERT_NEAR(out.left[i], first.next(static_cast<double>(in1[i]), static_cast<double>(m)), kTolerance)
            << "mode " << m << " sample " << i;
        ASSERT_NEAR(out.right[i], second.next(static_cast<double>(in2[i]), static_cast<double>(m)),
                    kTolerance);
      }
    }
  }
}

TEST(ZRSEMFilter, EverySampleTakesItsOwnModulation) {
  constexpr int kFrames = 512;
  constexpr double kTolerance = 2e-5;
  testing::TestMatrix test;
  Filter filter;
  filter.setModMatrix(&test.matrix);
  filter.filterCutoff = 6000.0F;
  filter.filterResonance = 0.2F;
  filter.filterMode = 0.9F;
  std::vector<float> cutoff(kFrames);
  std::vector<float> resonance(kFrames);
  std::vector<float> mode(kFrames);
  for (int i = 0; i < kFrames; ++i) {
    const auto at = static_cast<std::size_t>(i);
    cutoff[at] = 0.3F * std::sin(0.02F * static_cast<float>(i));
    resonance[at] = 0.4F * std::cos(0.03F * static_cast<float>(i));
    mode[at] = 2.0F * std::sin(0.05F * static_cast<float>(i));
  }
  test.feed(filter.filterCutoff, cutoff);
  test.feed(filter.filterResonance, resonance);
  test.feed(filter.filterMode, mode);
  const auto in = makeNoise(kFrames);

  const auto out = runInBlocks(filter, in, in, kFrames);

  Reference plain;
  for (int i = 0; i < kFrames; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const double c = 0.285 + static_cast<double>(cutoff[at]);
    plain.c = c < 0.0 ? 0.00001 : c;
    plain.r = std::clamp(0.2 + static_cast<double>(resonance[at]), 0.0, 1.0);
    const double y = plain.next(static_cast<double>(in[at]), 0.9 + static_cast<double>(mode[at]));
    ASSERT_NEAR(out.left[at], y, kTolerance) << i;
    ASSERT_EQ(out.left[at], out.right[at]);
  }
}

TEST(ZRSEMFilter, ResonanceModulationAloneKeepsTheCutoff) {
  testing::TestMatrix test;
  Filter modulated;
  modulated.setModMatrix(&test.matrix);
  modulated.filterCutoff = 2000.0F;
  test.feed(modulated.filterResonance, std::vector<float>(64, 0.5F));
  Filter plain;
  plain.filterCutoff = 2000.0F;
  plain.filterResonance = 0.5F;
  const auto in = makeNoise(64);

  const auto a = runInBlocks(modulated, in, in, 64);
  const auto b = runInBlocks(plain, in, in, 64);

  EXPECT_EQ(a.left, b.left);
}

TEST(ZRSEMFilter, LowPassIsSixDbDownAtCutoffAndFallsTwelveDbPerOctave) {
  Filter filter;
  filter.setCutoffHz(1000);

  EXPECT_NEAR(filterGainDb(filter, 20, kRate, kSmall), 0.0, kDbTolerance);
  EXPECT_NEAR(filterGainDb(filter, 1000, kRate, kSmall), -6.02, kDbTolerance);
  const double twoOctaves =
      filterGainDb(filter, 2000, kRate, kSmall) - filterGainDb(filter, 8000, kRate, kSmall);
  EXPECT_NEAR(twoOctaves, 22.8, 2.0);  // bilinear warping steepens it towards Nyquist
}

TEST(ZRSEMFilter, HighPassIsSixDbDownAtCutoffAndFallsTwelveDbPerOctave) {
  Filter filter;
  filter.setCutoffHz(4000);
  filter.filterMode = 1.0F;

  EXPECT_NEAR(filterGainDb(filter, 4000, kRate, kSmall), -6.02, kDbTolerance);
  EXPECT_NEAR(filterGainDb(filter, 20000, kRate, kSmall), 0.0, 0.5);
  EXPECT_NEAR(filterGainDb(filter, 250, kRate, kSmall) - filterGainDb(filter, 125, kRate, kSmall), 12.04,
              0.1);
}

TEST(ZRSEMFilter, HalfModeIsANotchAtTheCutoff) {
  Filter filter;
  filter.setCutoffHz(1000);
  filter.filterMode = 0.5F;

  EXPECT_LT(filterGainDb(filter, 1000, kRate, kSmall), -60.0);
  EXPECT_NEAR(filterGainDb(filter, 20, kRate, kSmall), -6.02, kDbTolerance);
  EXPECT_NEAR(filterGainDb(filter, 20000, kRate, kSmall), -6.02, kDbTolerance);
}

TEST(ZRSEMFilter, ModeTwoIsABandPass) {
  Filter filter;
  filter.setCutoffHz(1000);
  filter.filterMode = 2.0F;

  EXPECT_NEAR(filterGainDb(filter, 1000, kRate, kSmall), -6.02, kDbTolerance);
  EXPECT_LT(filterGainDb(filter, 20, kRate, kSmall), -30.0);
  EXPECT_LT(filterGainDb(filter, 20000, kRate, kSmall), -30.0);
}

TEST(ZRSEMFilter, FullResonancePeaksAtAQOf25AndAHalf) {
  Filter filter;
  filter.setCutoffHz(1000);
  filter.filterResonance = 1.0F;

  EXPECT_NEAR(filterGainDb(filter, 1000, kRate, 1e-4), 20.0 * std::log10(25.5), 0.1);
}

TEST(ZRSEMFilter, ModeBeyondTwoTurnsTheHighPassTermOver) {
  testing::TestMatrix test;
  Filter band;
  band.filterMode = 2.0F;
  Filter high;
  high.filterMode = 1.0F;
  Filter beyond;
  beyond.setModMatrix(&test.matrix);
  beyond.filterMode = 1.0F;
  test.feed(beyond.filterMode, std::vector<float>(64, 2.0F));  // 3 in all
  const auto in = makeNoise(64);

  const auto b = runInBlocks(band, in, in, 64);
  const auto h = runInBlocks(high, in, in, 64);
  const auto out = runInBlocks(beyond, in, in, 64);

  for (std::size_t i = 0; i < in.size(); ++i) ASSERT_FLOAT_EQ(out.left[i], 2.0F * b.left[i] - h.left[i]);
}

TEST(ZRSEMFilter, NullSecondInputIsSilence) {
  Filter filter;
  const auto in = makeNoise(64);
  std::vector<float> out1(64);
  std::vector<float> out2(64, 9.0F);

  filter.runFilter(in.data(), nullptr, out1.data(), out2.data(), 64);

  EXPECT_EQ(out2, std::vector<float>(64, 0.0F));
  EXPECT_NE(out1, out2);
}

TEST(ZRSEMFilter, ResetClearsTheFirstChannelOnly) {
  Filter filter;
  const auto in = makeNoise(64);
  runInBlocks(filter, in, in, 64);
  const float z3 = filter.z3;
  const float z4 = filter.z4;

  filter.reset();

  EXPECT_EQ(filter.z1, 0.0F);
  EXPECT_EQ(filter.z2, 0.0F);
  EXPECT_NE(z3, 0.0F);
  EXPECT_EQ(filter.z3, z3);
  EXPECT_EQ(filter.z4, z4);
  Filter fresh;
  EXPECT_EQ(runInBlocks(filter, in, in, 64).left, runInBlocks(fresh, in, in, 64).left);
}

TEST(ZRSEMFilter, WorksInPlaceWithBothChannelsReadingTheSameBuffer) {
  Filter apart;
  Filter inPlace;
  const auto in = makeNoise(256);
  const auto expected = runInBlocks(apart, in, in, 256);
  auto s = in;
  std::vector<float> other(256);

  inPlace.runFilter(s.data(), s.data(), s.data(), other.data(), 256);

  EXPECT_EQ(s, expected.left);
  EXPECT_EQ(other, expected.right);
}

TEST(ZRSEMFilter, BlockSizeMakesNoDifference) {
  const auto in1 = makeNoise(4096, 1.0F, 3);
  const auto in2 = makeNoise(4096, 1.0F, 4);
  Filter whole;
  whole.filterResonance = 0.9F;
  const auto expected = runInBlocks(whole, in1, in2, 4096);

  for (const int frames : {1, 7, 64}) {
    Filter filter;
    filter.filterResonance = 0.9F;
    const auto out = runInBlocks(filter, in1, in2, frames);
    EXPECT_EQ(out.left, expected.left) << frames;
    EXPECT_EQ(out.right, expected.right) << frames;
  }
}

TEST(ZRSEMFilter, ZeroFramesChangeNothing) {
  Filter filter;
  float x = 1;

  filter.runFilter(&x, &x, &x, &x, 0);

  EXPECT_EQ(x, 1.0F);
  EXPECT_EQ(filter.z1, 0.0F);
}

TEST(ZRSEMFilter, StaysBoundedAtEveryExtreme) {
  const auto in = makeNoise(20000, 50.0F);
  for (const float cutoff : {0.0F, 25.0F, 1000.0F, 20000.0F, 1e6F}) {
    for (const float mode : {0.0F, 0.5F, 1.0F, 2.0F}) {
      Filter filter;
      filter.filterCutoff = cutoff;
      filter.filterMode = mode;
      filter.filterResonance = 1.0F;

      const auto out = runInBlocks(filter, in, in, 64);

      EXPECT_TRUE(testing::allFinite(out.left)) << cutoff << " " << mode;
    }
  }
}

}  // namespace
}  // namespace morv
