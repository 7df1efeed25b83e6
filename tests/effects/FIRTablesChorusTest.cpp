// The filter that takes the upper half of a band off.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "effects/FIRTables.h"

namespace morv {
namespace {

// As far as the measured points are known.
constexpr double kPointError = 1e-5;

double gain(double frequency) {
  double sum = 0;
  for (int n = 0; n < BLChorus; ++n) {
    sum += static_cast<double>(BChorus[n]) *
           std::cos(2.0 * std::numbers::pi * frequency * (n - 0.5 * (BLChorus - 1)));
  }
  return std::abs(sum);
}

TEST(FIRTablesChorus, HasItsLengthAndSumAndIsSymmetric) {
  ASSERT_EQ(BLChorus, 113);
  EXPECT_NEAR(gain(0), 0.99914, kPointError);
  EXPECT_NEAR(BChorus[56], 0.4687F, 1e-4F);
  for (int n = 0; n < BLChorus / 2; ++n) EXPECT_EQ(BChorus[n], BChorus[BLChorus - 1 - n]);
}

TEST(FIRTablesChorus, PassesWhatLiesBelowItsEdgeWithoutRipple) {
  for (double f = 0; f <= 9670.0 / 44100.0; f += 0.0005) ASSERT_NEAR(gain(f), 1.0, 1e-3) << f;
}

TEST(FIRTablesChorus, IsDownByAQuarterOfTheRateAndStaysThere) {
  EXPECT_NEAR(gain(0.230883), gain(0) * std::sqrt(0.5), 1e-4);
  EXPECT_NEAR(gain(0.249369), gain(0) * 1e-3, kPointError);
  const double level = std::pow(10.0, -61.2 / 20.0);
  for (double f = 0.2495; f <= 0.5; f += 0.0005) ASSERT_LT(gain(f), level) << f;
}

TEST(FIRTablesChorus, FallsAsSteeplyAsTheFilterForFourTimesTheRateForItsLength) {
  constexpr double kWidth4x = (0.124679 - 0.117747) * BL4x;
  constexpr double kWidth = (0.249369 - 0.230883) * BLChorus;

  EXPECT_NEAR(kWidth, kWidth4x, 0.01 * kWidth4x);
}

}  // namespace
}  // namespace morv
