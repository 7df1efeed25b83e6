#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "effects/FIR.h"
#include "effects/FIRTables.h"
#include "platform/Random.h"

namespace morv {
namespace {

constexpr std::array<float, 4> kTaps = {1.0F, 20.0F, 300.0F, 4000.0F};
constexpr std::array<float, 7> kInput = {1, 2, 3, 4, 5, 6, 7};
// Each sum by hand: the newest input times 1, the one before it times 20, and so on.
const std::vector<float> kOutput = {1, 22, 343, 4664, 8985, 13306, 17627};

// Of the sum of the terms' magnitudes: what partial sums may differ from the exact sum.
constexpr double kRounding = 1e-6;

std::vector<float> noise(std::size_t count, std::uint64_t seed) {
  Random random(seed);
  std::vector<float> values(count);
  for (float& v : values) v = 2.0F * random.unit31() - 1.0F;
  return values;
}

struct ExactSum {
  double value = 0;
  double magnitude = 0;
};

// The filter's output at sample n of the input, from its definition.
ExactSum exactSum(const std::vector<float>& taps, const std::vector<float>& input, std::size_t n) {
  ExactSum sum;
  for (std::size_t k = 0; k < taps.size() && k <= n; ++k) {
    const double term = static_cast<double>(taps[k]) * static_cast<double>(input[n - k]);
    sum.value += term;
    sum.magnitude += std::abs(term);
  }
  return sum;
}

TEST(FIR, BasicFormByHand) {
  std::array<float, 4> history{};
  std::vector<float> out;

  for (const float x : kInput) out.push_back(fir_basic(4, kTaps.data(), history.data(), x));

  EXPECT_EQ(out, kOutput);
  EXPECT_EQ(history, (std::array<float, 4>{7, 7, 6, 5}));
}

TEST(FIR, CircularFormByHand) {
  std::array<float, 4> history{};
  int index = 0;
  std::vector<float> out;
  std::vector<int> indices;

  for (const float x : kInput) {
    out.push_back(fir_circular(4, kTaps.data(), history.data(), &index, 1, x));
    indices.push_back(index);
  }

  EXPECT_EQ(out, kOutput);
  EXPECT_EQ(indices, (std::vector<int>{1, 2, 3, 0, 1, 2, 3}));
  EXPECT_EQ(history, (std::array<float, 4>{5, 6, 7, 4}));
}

TEST(FIR, CircularFormOnlyStoresWhileInactive) {
  std::array<float, 4> history{};
  int index = 0;
  std::vector<float> out;

  int n = 0;
  for (const float x : kInput)
    out.push_back(fir_circular(4, kTaps.data(), history.data(), &index, n++ % 2, x));

  EXPECT_EQ(out, (std::vector<float>{0, 22, 0, 4664, 0, 13306, 0}));
  EXPECT_EQ(index, 3);
}

TEST(FIR, SplitFormByHand) {
  std::array<float, 4> history{};
  int index = 2;
  std::vector<float> out;
  std::vector<int> indices;

  for (const float x : kInput) {
    out.push_back(fir_split(4, kTaps.data(), history.data(), &index, x));
    indices.push_back(index);
  }

  EXPECT_EQ(out, kOutput);
  EXPECT_EQ(indices, (std::vector<int>{1, 0, 3, 2, 1, 0, 3}));
}

TEST(FIR, OneTapIsAGain) {
  const float tap = 0.5F;
  std::array<float, 1> history{};
  int up = 0;
  int down = 0;

  EXPECT_EQ(fir_basic(1, &tap, history.data(), 3.0F), 1.5F);
  EXPECT_EQ(fir_circular(1, &tap, history.data(), &up, 1, 5.0F), 2.5F);
  EXPECT_EQ(fir_split(1, &tap, history.data(), &down, 7.0F), 3.5F);
  EXPECT_EQ(up, 0);
  EXPECT_EQ(down, 0);
}

// Lengths around the width of the partial sums, and those of the tables.
class FIRForms : public testing::TestWithParam<int> {};

TEST_P(FIRForms, AllStayWithinRoundingOfTheExactSum) {
  const int length = GetParam();
  const auto count = static_cast<std::size_t>(length);
  const std::vector<float> taps = noise(count, 1);
  const std::vector<float> input = noise(2 * count + 5, 2);
  std::vector<float> shifted(count);
  std::vector<float> circular(count);
  std::vector<float> split(count);
  int up = 0;
  int down = 0;

  for (std::size_t n = 0; n < input.size(); ++n) {
    const ExactSum exact = exactSum(taps, input, n);
    const double tolerance = kRounding * exact.magnitude;
    ASSERT_NEAR(fir_basic(length, taps.data(), shifted.data(), input[n]), exact.value, tolerance) << n;
    ASSERT_NEAR(fir_circular(length, taps.data(), circular.data(), &up, 1, input[n]), exact.value, tolerance)
        << n;
    ASSERT_NEAR(fir_split(length, taps.data(), split.data(), &down, input[n]), exact.value, tolerance) << n;
  }
}

INSTANTIATE_TEST_SUITE_P(Lengths, FIRForms, testing::Values(2, 15, 16, 17, 31, 32, 33, 169, 301, 674, 763));

TEST(FIR, StartsSilentWithTwiceItsLength) {
  fir filter;

  initFIR(&filter, 4, kTaps.data());

  EXPECT_EQ(filter.length, 4);
  EXPECT_EQ(filter.coefficients, kTaps.data());
  EXPECT_EQ(filter.index, 0);
  ASSERT_EQ(filter.buffer.size(), 8U);
  for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(filter.buffer[i], 0.0F);
}

TEST(FIR, HalfbandRunsTheRecordsTaps) {
  fir filter;
  initHalfbandFIR(&filter);
  ASSERT_EQ(filter.length, 301);
  ASSERT_EQ(filter.coefficients, B4x);

  // An impulse brings the taps out one by one, twice round the history.
  for (int n = 0; n < 602; ++n) {
    const float tap = n < 301 ? B4x[n] : 0.0F;
    ASSERT_EQ(halfband(&filter, 1, n == 0 ? 1.0F : 0.0F), tap) << n;
  }
}

TEST(FIR, HalfbandDropsWhatIsNotAsked) {
  fir all;
  fir fourth;
  initHalfbandFIR(&all);
  initHalfbandFIR(&fourth);

  int n = 0;
  for (const float x : noise(1000, 3)) {
    const float y = halfband(&all, 1, x);
    const int active = n++ % 4 == 3 ? 1 : 0;
    ASSERT_EQ(halfband(&fourth, active, x), active != 0 ? y : 0.0F);
  }
}

TEST(FIR, ResetEqualsFresh) {
  fir used;
  fir fresh;
  initHalfbandFIR(&used);
  initHalfbandFIR(&fresh);
  for (const float x : noise(400, 4)) halfband(&used, 1, x);

  resetHalfbandFIR(&used);

  EXPECT_EQ(used.index, 0);
  EXPECT_EQ(used.length, 301);
  for (const float x : noise(700, 5)) ASSERT_EQ(halfband(&used, 1, x), halfband(&fresh, 1, x));
}

TEST(FIR, DecimatorKeepsFiveLengthsOfInput) {
  fir filter;
  initVDSPDecimator(&filter);
  ASSERT_EQ(filter.length, 301);
  ASSERT_EQ(filter.coefficients, B4x);
  ASSERT_EQ(filter.buffer.size(), 1505U);

  for (int n = 0; n < 2000; ++n) decimate(&filter, static_cast<float>(n));

  for (std::size_t i = 0; i < 1505; ++i) ASSERT_EQ(filter.buffer[i], 1999.0F - static_cast<float>(i));
  EXPECT_EQ(filter.index, 0);
}

}  // namespace
}  // namespace morv
