#include <gtest/gtest.h>

#include <cmath>

#include "tests/voice/FilterTesting.h"
#include "voice/ZRMoogFilter.h"

namespace morv {
namespace {

using testing::filterGainDb;
using testing::makeNoise;
using testing::runInBlocks;

constexpr double kPi = std::numbers::pi;
constexpr double kRate = 44100.0;
// So small that the tanh is a straight line.
constexpr double kSmall = 1e-3;
constexpr double kDbTolerance = 0.05;

void setCutoffHz(ZRMoogFilter& filter, double f) {
  filter.filterCutoff = static_cast<float>(f / 22050.0 / 0.95 * 20000.0);
}

// The ladder in double; each stage is a trapezoidal one-pole low-pass.
struct Reference {
  double c = 0, r = 0;
  int mode = 0;
  double z[4] = {0, 0, 0, 0};

  double stage(int n, double in, double G) {
    const double v = (in - z[n]) * G;
    const double y = v + z[n];
    z[n] = y + v;
    return y;
  }
  double next(double x) {
    const double g = std::tan(c * kPi / 2.0);
    const double G = g / (1.0 + g);
    const double k = 4.0 * r;
    double sigma = 0;
    for (int n = 0; n < 4; ++n) sigma += std::pow(G, 3 - n) * z[n] / (1.0 + g);
    const double u = (x - k * (sigma - 0.5 * x)) / (1.0 + k * std::pow(G, 4));
    const double y1 = stage(0, u, G);
    const double y2 = stage(1, y1, G);
    const double y3 = stage(2, y2, G);
    const double y4 = stage(3, std::tanh(y3), G);
    if (mode == 0) return y4;
    if (mode == 1) return u - 4 * y1 + 6 * y2 - 4 * y3 + y4;
    return 4 * y2 - 8 * y3 + 4 * y4;
  }
};

TEST(ZRMoogFilter, CounterConstructorStartsCutoffAndResonanceAtAHalf) {
  int counter = 7;
  ZRMoogFilter filter(44100.0F, &counter);
  ZRMoogFilter plain(44100.0F);

  EXPECT_EQ(counter, 10);
  EXPECT_EQ(filter.filterCutoff.address, 7);
  EXPECT_EQ(filter.filterCutoff.value, 0.5F);
  EXPECT_EQ(filter.filterResonance.value, 0.5F);
  EXPECT_EQ(plain.filterCutoff.value, 220.0F);
  EXPECT_EQ(plain.filterResonance.value, 0.0F);
  EXPECT_DOUBLE_EQ(filter.T, 1.0 / kRate);
  EXPECT_DOUBLE_EQ(filter.halfT, 0.5 / kRate);
  EXPECT_DOUBLE_EQ(filter.twoOverT, 2.0 * kRate);
  EXPECT_DOUBLE_EQ(filter.nyquist, 22050.0);
}

TEST(ZRMoogFilter, MatchesThePlainFormInAllModes) {
  constexpr double kTolerance = 1e-4;  // float states; the high-pass mix takes differences of four stages
  const auto in = makeNoise(1500);
  for (int mode = 0; mode < 3; ++mode) {
    for (const float resonance : {0.0F, 0.5F, 0.9F}) {
      ZRMoogFilter filter(44100.0F);
      filter.filterCutoff = 3000.0F;
      filter.filterResonance = resonance;
      filter.filterMode = 0.5F * static_cast<float>(mode);
      const auto out = runInBlocks(filter, in, in, 64);

      Reference plain{3000.0 / 20000.0 * 0.95, static_cast<double>(resonance), mode};
      for (std::size_t i = 0; i < in.size(); ++i)
        ASSERT_NEAR(out.left[i], plain.next(static_cast<double>(in[i])), kTolerance)
            << mode << " " << resonance << " " << i;
      EXPECT_EQ(out.left, out.right);
    }
  }
}

TEST(ZRMoogFilter, LowPassFallsFourPoles) {
  ZRMoogFilter filter(44100.0F);
  setCutoffHz(filter, 500);

  EXPECT_NEAR(filterGainDb(filter, 10, kRate, kSmall), 0.0, kDbTolerance);
  EXPECT_NEAR(filterGainDb(filter, 500, kRate, kSmall), 4 * -3.01, kDbTolerance);
  EXPECT_NEAR(filterGainDb(filter, 2000, kRate, kSmall) - filterGainDb(filter, 4000, kRate, kSmall), 24.0,
              1.0);
}

TEST(ZRMoogFilter, HalfModeIsAFourPoleHighPass) {
  ZRMoogFilter filter(44100.0F);
  setCutoffHz(filter, 2000);
  filter.filterMode = 0.5F;

  EXPECT_NEAR(filterGainDb(filter, 20000, kRate, kSmall), 0.0, 0.1);
  EXPECT_NEAR(filterGainDb(filter, 2000, kRate, kSmall), 4 * -3.01, kDbTolerance);
  EXPECT_NEAR(filterGainDb(filter, 500, kRate, kSmall) - filterGainDb(filter, 250, kRate, kSmall), 24.0, 1.0);
}

TEST(ZRMoogFilter, FullModeIsABandPassAtUnity) {
  ZRMoogFilter filter(44100.0F);
  setCutoffHz(filter, 1000);
  filter.filterMode = 1.0F;

  // 4 L^2 (1 - L)^2 with both factors 3 dB down twice.
  EXPECT_NEAR(filterGainDb(filter, 1000, kRate, kSmall), 12.04 - 12.04, kDbTolerance);
  EXPECT_NEAR(filterGainDb(filter, 100, kRate, kSmall) - filterGainDb(filter, 50, kRate, kSmall), 12.0, 0.2);
  EXPECT_LT(filterGainDb(filter, 20000, kRate, kSmall), -40.0);
}

TEST(ZRMoogFilter, ModeRoundsTwiceItsParameter) {
  ZRMoogFilter filter(44100.0F);
  float x = 0;
  const auto eAt = [&](float mode) {
    filter.filterMode = mode;
    filter.runFilter(&x, nullptr, &x, nullptr, 1);
    return std::array<float, 5>{filter.A, filter.B, filter.C, filter.D, filter.E};
  };
  using Mix = std::array<float, 5>;

  EXPECT_EQ(eAt(0.0F), (Mix{0, 0, 0, 0, 1}));
  EXPECT_EQ(eAt(0.24F), (Mix{0, 0, 0, 0, 1}));
  EXPECT_EQ(eAt(0.25F), (Mix{1, -4, 6, -4, 1}));
  EXPECT_EQ(eAt(0.74F), (Mix{1, -4, 6, -4, 1}));
  EXPECT_EQ(eAt(0.75F), (Mix{0, 0, 4, -8, 4}));
  EXPECT_EQ(eAt(9.0F), (Mix{0, 0, 4, -8, 4}));
}

TEST(ZRMoogFilter, CutoffAndResonanceAreLimitedAfterModulation) {
  testing::TestMatrix test;
  int counter = 50;
  ZRMoogFilter filter(44100.0F, &counter);
  filter.setModMatrix(&test.matrix);
  filter.filterCutoff = 10000.0F;
  test.feed(filter.filterCutoff, {0.2F, -0.6F, 0.9F});
  test.feed(filter.filterResonance, {0.25F, 0.7F, -0.7F});
  const std::vector<float> in(3, 0.1F);
  std::vector<float> out(3);

  const auto coefficientsAfter = [&](int frames) {
    filter.runFilter(in.data(), nullptr, out.data(), nullptr, frames);
    return std::pair<double, double>{filter.g, filter.k};
  };
  EXPECT_NEAR(coefficientsAfter(1).first, std::tan(0.675 * kPi / 2.0), 1e-5);
  EXPECT_NEAR(filter.G, filter.g / (1.0 + filter.g), 1e-12);
  EXPECT_NEAR(filter.k, 3.0, 1e-6);
  EXPECT_EQ(coefficientsAfter(2).first, 0.0);
  EXPECT_EQ(filter.k, 4.0);
  EXPECT_GT(coefficientsAfter(3).first, 1e6);
  EXPECT_NEAR(filter.k, -0.8, 1e-6);  // no limit below
  EXPECT_TRUE(testing::allFinite(out));
}

TEST(ZRMoogFilter, ModulationActsSampleBySample) {
  constexpr double kTolerance = 1e-4;
  testing::TestMatrix test;
  int counter = 50;
  ZRMoogFilter filter(44100.0F, &counter);
  filter.setModMatrix(&test.matrix);
  filter.filterCutoff = 4000.0F;
  filter.filterResonance = 0.2F;
  std::vector<float> cutoff(256);
  for (std::size_t i = 0; i < cutoff.size(); ++i) cutoff[i] = 0.001F * static_cast<float>(i);
  test.feed(filter.filterCutoff, cutoff);
  const auto in = makeNoise(256);

  const auto out = runInBlocks(filter, in, in, 256);

  Reference plain{0, static_cast<double>(0.2F), 0};
  for (std::size_t i = 0; i < in.size(); ++i) {
    plain.c = 0.19 + static_cast<double>(cutoff[i]);
    ASSERT_NEAR(out.left[i], plain.next(static_cast<double>(in[i])), kTolerance) << i;
  }
}

TEST(ZRMoogFilter, OutputGainScalesBothOutputs) {
  const auto in = makeNoise(64);
  ZRMoogFilter one(44100.0F);
  ZRMoogFilter half(44100.0F);
  half.outputGain = 0.5F;

  const auto full = runInBlocks(one, in, in, 64);
  const auto scaled = runInBlocks(half, in, in, 64);

  for (std::size_t i = 0; i < in.size(); ++i) {
    ASSERT_EQ(scaled.left[i], 0.5F * full.left[i]);
    ASSERT_EQ(scaled.right[i], 0.5F * full.left[i]);
  }
}

TEST(ZRMoogFilter, ResetEqualsFreshAndBlockSizeMakesNoDifference) {
  const auto in = makeNoise(512);
  ZRMoogFilter filter(44100.0F);
  const auto expected = runInBlocks(filter, in, in, 512);

  for (const int frames : {1, 7, 64}) {
    filter.reset();
    EXPECT_EQ(runInBlocks(filter, in, in, frames).left, expected.left) << frames;
  }
}

TEST(ZRMoogFilter, StaysFiniteAtTheExtremes) {
  const auto in = makeNoise(10000, 10.0F);
  for (const float cutoff : {0.0F, 1000.0F, 20000.0F, 1e6F}) {
    ZRMoogFilter filter(44100.0F);
    filter.filterCutoff = cutoff;
    filter.filterResonance = 1.0F;
    EXPECT_TRUE(testing::allFinite(runInBlocks(filter, in, in, 64).left)) << cutoff;
  }
}

}  // namespace
}  // namespace morv
