#include <gtest/gtest.h>

#include <array>

#include "tests/voice/FilterTesting.h"
#include "voice/IIR.h"

namespace morv {
namespace {

// c1 and c4 hold values that would show if they were read.
constexpr std::array<double, 14> kCoefficients = {0.5,  99.0, -0.2, 0.1, 99.0, 2.0, 1.0,
                                                  0.25, 99.0, -0.5, 0.0, 99.0, 1.0, 0.0};

std::array<float, 14> floatCoefficients() {
  std::array<float, 14> c{};
  for (std::size_t i = 0; i < c.size(); ++i) c[i] = static_cast<float>(kCoefficients[i]);
  return c;
}

TEST(IIR, OneSectionByHand) {
  const auto coefficients = floatCoefficients();
  iir filter;
  initIIR(&filter, 1, coefficients.data());

  // w: 0.5, 0.1, 0.02 - 0.05; y: w + 2 d1 + d2.
  EXPECT_FLOAT_EQ(runIIR(&filter, 1), 0.5F);
  EXPECT_FLOAT_EQ(runIIR(&filter, 0), 1.1F);
  EXPECT_FLOAT_EQ(runIIR(&filter, 0), 0.67F);
}

TEST(IIR, DoubleFormGivesTheSameByHand) {
  iird filter;
  initIIRD(&filter, 1, kCoefficients.data());

  EXPECT_FLOAT_EQ(runIIRD(&filter, 1), 0.5F);
  EXPECT_FLOAT_EQ(runIIRD(&filter, 0), 1.1F);
  EXPECT_FLOAT_EQ(runIIRD(&filter, 0), 0.67F);
  EXPECT_DOUBLE_EQ(filter.state[0], -0.03);
  EXPECT_DOUBLE_EQ(filter.state[1], 0.1);
}

TEST(IIR, SectionsRunInOrder) {
  constexpr float kTolerance = 1e-5F;  // float rounding in sections whose gains are below 10
  const auto coefficients = floatCoefficients();
  iir both;
  iir first;
  iir second;
  iird wide;
  initIIR(&both, 2, coefficients.data());
  initIIR(&first, 1, coefficients.data());
  initIIR(&second, 1, coefficients.data() + 7);
  initIIRD(&wide, 2, kCoefficients.data());
  for (const float x : testing::makeNoise(300)) {
    const float y = runIIR(&both, x);
    ASSERT_EQ(y, runIIR(&second, runIIR(&first, x)));
    ASSERT_NEAR(y, runIIRD(&wide, x), kTolerance);
  }
}

TEST(IIR, DelaysOfAllSectionsStandInTwoHalves) {
  const auto coefficients = floatCoefficients();
  iir filter;
  initIIR(&filter, 2, coefficients.data());
  ASSERT_EQ(filter.state.size(), 4U);

  runIIR(&filter, 1);
  runIIR(&filter, 0);

  // Section 1: w = 0.5, then 0.1; section 2: w = 0.25 * 0.5, then 0.25 * 1.1 + 0.5 * 0.125.
  EXPECT_FLOAT_EQ(filter.state[0], 0.1F);
  EXPECT_FLOAT_EQ(filter.state[1], 0.3375F);
  EXPECT_FLOAT_EQ(filter.state[2], 0.5F);
  EXPECT_FLOAT_EQ(filter.state[3], 0.125F);
}

TEST(IIR, InitialisingAgainStartsAfresh) {
  const auto coefficients = floatCoefficients();
  iir filter;
  initIIR(&filter, 2, coefficients.data());
  runIIR(&filter, 1);

  initIIR(&filter, 1, coefficients.data());

  EXPECT_EQ(filter.sections, 1);
  EXPECT_EQ(filter.coefficients, coefficients.data());
  EXPECT_EQ(filter.state, std::vector<float>(2, 0.0F));
}

}  // namespace
}  // namespace morv
