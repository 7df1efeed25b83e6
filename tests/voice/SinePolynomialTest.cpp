#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "voice/SinePolynomial.h"

namespace morv {
namespace {

constexpr double kStatedError = 3e-7;  // more than 130 dB below a full sine

double exact(float x) { return std::sin(std::numbers::pi * static_cast<double>(x)); }

TEST(SinePolynomial, StaysWithinItsErrorOverTwoCycles) {
  constexpr int kSteps = 400000;
  double worst = 0;

  for (int i = -kSteps; i <= kSteps; ++i) {
    const float x = 2.0F * static_cast<float>(i) / kSteps;
    worst = std::max(worst, std::abs(static_cast<double>(sinePi(x)) - exact(x)));
  }

  EXPECT_LT(worst, kStatedError);
}

TEST(SinePolynomial, IsExactAtTheQuarters) {
  EXPECT_EQ(sinePi(0.0F), 0.0F);
  EXPECT_EQ(sinePi(-1.0F), 0.0F);
  EXPECT_EQ(sinePi(1.0F), 0.0F);
  EXPECT_NEAR(sinePi(0.5F), 1.0F, kStatedError);
  EXPECT_NEAR(sinePi(-0.5F), -1.0F, kStatedError);
}

TEST(SinePolynomial, FollowsPhasesThatRanAway) {
  for (const float x : {-1000.3F, 5000.75F, -123456.8F, 4000001.5F}) {
    EXPECT_NEAR(static_cast<double>(sinePi(x)), exact(x), kStatedError) << x;
  }
}

TEST(SinePolynomial, StaysBoundedForAnyPhase) {
  for (float x = 1.0F; x < std::numeric_limits<float>::max() / 4; x *= 1.37F) {
    ASSERT_LE(std::abs(sinePi(x)), 1.0F + kStatedError) << x;
    ASSERT_LE(std::abs(sinePi(-x)), 1.0F + kStatedError) << x;
  }
}

}  // namespace
}  // namespace morv
