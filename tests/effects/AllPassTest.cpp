#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

#include "effects/AllPass.h"

namespace morv {
namespace {

constexpr float kRate = 10.0F;

ap lineOf(int size) {
  ap a;
  initAP(&a, size);
  return a;
}

std::vector<float> impulseResponse(int frames, const std::function<float(float)>& run) {
  std::vector<float> out;
  for (int i = 0; i < frames; ++i) out.push_back(run(i == 0 ? 1.0F : 0.0F));
  return out;
}

double magnitudeDb(const std::vector<float>& h, double turnsPerSample) {
  std::complex<double> sum = 0;
  for (std::size_t i = 0; i < h.size(); ++i) {
    sum += static_cast<double>(h[i]) *
           std::polar(1.0, -2.0 * std::numbers::pi * turnsPerSample * static_cast<double>(i));
  }
  return 20.0 * std::log10(std::abs(sum));
}

TEST(AllPass, StartsZeroed) {
  const ap a = lineOf(12);

  EXPECT_EQ(a.size, 12);
  EXPECT_EQ(a.buffer.size(), 12U);
  EXPECT_EQ(a.writeIndex, 0);
  EXPECT_EQ(a.position, 0.0F);
  EXPECT_EQ(a.state, 0.0F);
}

TEST(AllPass, ALineHasAtLeastThreeSamples) {
  for (const int size : {-5, 0, 2, 3}) {
    ap a;
    initAP(&a, size);
    EXPECT_EQ(a.size, 3) << size;
    EXPECT_EQ(a.buffer.size(), 3U) << size;
  }
}

TEST(AllPass, ImpulseResponseIsThatOfTheFormula) {
  ap a = lineOf(40);
  constexpr float g = 0.5F;

  const auto h = impulseResponse(12, [&](float x) { return runAP(&a, x, 0.3F, g, kRate); });

  // H(z) = (z^-3 - g) / (1 - g z^-3): -g, then (1 - g^2) g^(k-1) at each third sample.
  EXPECT_FLOAT_EQ(h[0], -0.5F);
  EXPECT_NEAR(h[3], 0.75F, 1e-5F);
  EXPECT_NEAR(h[6], 0.375F, 1e-5F);
  EXPECT_NEAR(h[9], 0.1875F, 1e-5F);
  EXPECT_NEAR(h[4], 0.0F, 1e-6F);
}

TEST(AllPass, LevelIsFlatWithinAHundredthOfADecibel) {
  for (const float g : {0.4F, 0.6F, -0.5F, 0.5F}) {
    for (const float seconds : {3.7F, 0.2F, 10.5F}) {
      ap a = lineOf(10000);
      for (int i = 0; i < 200; ++i) runAP(&a, 0.0F, seconds, g, kRate);  // clear of the line's seam
      const auto h = impulseResponse(8000, [&](float x) { return runAP(&a, x, seconds, g, kRate); });
      for (int i = 1; i < 50; ++i) EXPECT_NEAR(magnitudeDb(h, i / 100.0), 0.0, 0.01) << g << " " << i;
    }
  }
}

// Where the line runs on from its last but one element into element 0, a delay that rounding leaves just
// above a whole number gives an impulse twice.
TEST(AllPass, AtTheSeamAReadJustShortOfTheLastElementGivesElementZero) {
  ap a = lineOf(1000);
  a.buffer[0] = 1.0F;
  a.buffer[999] = 0.25F;
  a.position = 36.0F;

  EXPECT_NEAR(allpassGetSampleWithDelay(&a, 37.0001F), 1.0F, 1e-3F);
  EXPECT_NEAR(allpassGetSampleWithDelay(&a, 36.9999F), 0.25F, 1e-3F);
}

TEST(AllPass, AGainOfNothingIsAPureDelay) {
  ap a = lineOf(40);

  const auto h = impulseResponse(12, [&](float x) { return runAP(&a, x, 0.725F, 0, kRate); });

  EXPECT_NEAR(h[7], 0.75F, 1e-6F);
  EXPECT_NEAR(h[8], 0.25F, 1e-6F);
  EXPECT_EQ(h[0], 0.0F);
}

TEST(AllPass, StepsLikeTheUniversalComb) {
  ap a = lineOf(5);
  std::vector<float> positions;
  std::vector<int> writeIndices;
  for (int i = 0; i < 6; ++i) {
    runAP(&a, 0, 0.1F, 0.5F, kRate);
    positions.push_back(a.position);
    writeIndices.push_back(a.writeIndex);
  }

  EXPECT_EQ(positions, (std::vector<float>{1, 2, 3, 4, 0, 1}));
  EXPECT_EQ(writeIndices, (std::vector<int>{1, 2, 3, 0, 1, 2}));
}

TEST(AllPass, AnIncrementMovesReadAndWriteTogether) {
  ap a = lineOf(9);
  for (int i = 0; i < 3; ++i) runAPWithIncrement(&a, 1.0F, 0.1F, 0, 1.5F, kRate);

  EXPECT_EQ(a.position, 4.5F);
  EXPECT_EQ(a.writeIndex, 3);
  EXPECT_EQ(a.buffer[0], 1.0F);
  EXPECT_EQ(a.buffer[1], 1.0F);
  EXPECT_EQ(a.buffer[2], 0.0F);
  EXPECT_EQ(a.buffer[3], 1.0F);
}

TEST(AllPass, TapsAreReadBackFromThePosition) {
  ap a = lineOf(8);
  for (std::size_t i = 0; i < 8; ++i) a.buffer[i] = static_cast<float>(i * i);
  a.position = 5;
  a.writeIndex = 3;

  EXPECT_FLOAT_EQ(allpassGetSampleWithDelay(&a, 1.5F), 12.5F);  // between 9 and 16
  EXPECT_FLOAT_EQ(allpassGetSampleWithDelay(&a, 6.0F), 49.0F);  // element 7
  EXPECT_FLOAT_EQ(allpassGetSampleWithTimeDelay(&a, 0.29F, kRate), 1.0F);
}

TEST(AllPass, SmoothlyInterpolatedFormWithAWholeDelayHasNoFraction) {
  ap a = lineOf(20);
  constexpr float g = 0.5F;

  const auto h = impulseResponse(16, [&](float x) { return runSIAP(&a, x, 3.0F, g); });

  // With t = 1 the inner all-pass is one sample of delay behind the element that lies one before p, so the
  // loop is 3 + 1 + 1 samples: w = in + g v, out = g w - v.
  EXPECT_FLOAT_EQ(h[0], 0.5F);
  EXPECT_NEAR(h[5], g * g - 1.0F, 1e-6F);
  EXPECT_NEAR(h[10], g * (g * g - 1.0F), 1e-6F);
  for (const std::size_t i : {1U, 2U, 3U, 4U, 6U, 9U}) EXPECT_EQ(h[i], 0.0F) << i;
}

TEST(AllPass, SmoothlyInterpolatedFormIsFlatAtAFractionalDelay) {
  ap a = lineOf(5000);  // longer than the response: each lap of the write index skips an element

  const auto h = impulseResponse(4000, [&](float x) { return runSIAP(&a, x, 37.3F, 0.6F); });

  for (int i = 1; i < 50; ++i) EXPECT_NEAR(magnitudeDb(h, i / 100.0), 0.0, 0.01) << i;
}

TEST(AllPass, SmoothlyInterpolatedFormFollowsItsFormulaSampleBySample) {
  ap a = lineOf(12);
  std::vector<double> line(12);
  int write = 0;
  double state = 0;
  const double delay = 4.25;
  const double g = 0.7;
  for (int n = 0; n < 100; ++n) {
    const double in = std::sin(0.3 * n);
    double p = write - delay;
    if (p < 0) p += 12;
    const int i = static_cast<int>(p);
    const double t = 1 + (p - i);
    const double c = (1 - t) / (1 + t);
    const double y1 = state * c + line[static_cast<std::size_t>(i == 0 ? 11 : i - 1)];
    const double v = state - y1 * c;
    const double w = in + v * g;
    state = y1;
    line[static_cast<std::size_t>(write)] = w;
    write = write + 1 < 11 ? write + 1 : 0;

    EXPECT_NEAR(runSIAP(&a, static_cast<float>(in), 4.25F, 0.7F), w * g - v, 1e-5) << n;
  }
}

TEST(AllPass, StretchedFormFollowsItsFormulaSampleBySample) {
  ap a = lineOf(12);
  std::vector<double> line(12);
  int write = 0;
  double state = 0;
  const double delay = 4.25;
  const double g = 0.4;
  const double c = (1 - delay) / (1 + delay);
  for (int n = 0; n < 100; ++n) {
    const double in = 0.1 * std::sin(0.3 * n);
    double p = write - delay;
    if (p < 0) p += 12;
    const auto i = static_cast<std::size_t>(p);
    const double next = line[i + 1 < 11 ? i + 1 : 0];
    const double d = line[i] + (p - static_cast<double>(i)) * (next - line[i]);
    const double old = state;
    state = c * old + d;
    const double v = c * old + state;
    const double w = in - g * v;
    line[static_cast<std::size_t>(write)] = w;
    write = write + 1 < 11 ? write + 1 : 0;

    EXPECT_NEAR(runStretchedAP(&a, static_cast<float>(in), 4.25F, 0.4F), w * (g + v), 1e-5) << n;
  }
}

TEST(AllPass, FirstOrderInterpolatorFollowsItsFormula) {
  float state = 5;
  initAPInterpolator(&state);
  EXPECT_EQ(state, 0.0F);

  // t = 0.5: c = 1/3. y = 0.95, out = 0.3167; then y = -0.3167, out = -0.1056.
  EXPECT_NEAR(apInterpolate(&state, 1.0F, 0.5F), 0.95F / 3.0F, 1e-6F);
  EXPECT_NEAR(apInterpolate(&state, 0.0F, 0.5F), -0.95F / 9.0F, 1e-6F);
  EXPECT_NEAR(state, -0.95F / 3.0F, 1e-6F);
}

TEST(AllPass, ResetEmptiesTheLine) {
  ap a = lineOf(6);
  for (int i = 0; i < 9; ++i) runSIAP(&a, 1.0F, 2.5F, 0.5F);
  a.position = 3;

  resetAP(&a);

  EXPECT_EQ(a.position, 0.0F);
  EXPECT_EQ(a.writeIndex, 0);
  EXPECT_EQ(a.state, 0.0F);
  for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(a.buffer[i], 0.0F);
}

TEST(AllPass, NoDelayEverLeavesTheLine) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const float delay : {0.0F, 1e30F, -1e30F, kInfinity, -kInfinity, std::nanf(""), 55.5F, -3.3F}) {
    ap a = lineOf(7);
    for (int i = 0; i < 30; ++i) {
      ASSERT_TRUE(std::isfinite(runAPWithIncrement(&a, 0.1F, delay, 0.5F, 2.5F, kRate))) << delay;
      ASSERT_TRUE(std::isfinite(allpassGetSampleWithDelay(&a, delay))) << delay;
      ASSERT_TRUE(std::isfinite(allpassGetSampleWithTimeDelay(&a, delay, kRate))) << delay;
      ASSERT_TRUE(std::isfinite(runSIAP(&a, 0.1F, delay, 0.5F))) << delay;
    }
  }
}

}  // namespace
}  // namespace morv
