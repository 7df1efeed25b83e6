#include <gtest/gtest.h>

#include <cmath>

#include "voice/EnvelopePrimitives.h"

namespace morv {
namespace {

constexpr double kRounding = 5e-7;  // a few float steps at values near one
constexpr float kRate = 1000.0F;    // samples per second: times in milliseconds are samples

TEST(EnvelopePrimitives, ALineGoesStraightAndLeavesItsCounter) {
  EXPECT_FLOAT_EQ(line(0, 2.0F, 10.0F, 4.0F), 2.0F);
  EXPECT_FLOAT_EQ(line(5, 2.0F, 10.0F, 4.0F), 3.0F);
  EXPECT_FLOAT_EQ(line(10, 2.0F, 10.0F, 4.0F), 4.0F);
  EXPECT_FLOAT_EQ(line(20, 2.0F, 10.0F, 4.0F), 6.0F);
}

TEST(EnvelopePrimitives, AnExponentialTakesItsFirstStepAtOnceAndStaysAtItsEnd) {
  int n = 0;

  for (int i = 1; i <= 10; ++i) {
    EXPECT_NEAR(static_cast<double>(expon(n, 0.001F, 10.0F, 1.0F)), 0.001 * std::pow(1000.0, i / 10.0), 2e-6);
    EXPECT_EQ(n, i);
  }
  EXPECT_EQ(expon(n, 0.001F, 10.0F, 1.0F), 1.0F);
  EXPECT_EQ(n, 11);
}

class GatedEnvelope : public ::testing::Test {
 protected:
  float next(int gate) { return adsr(counter, gate, state, 2.0F, 0.01F, 0.02F, 0.5F, 0.01F, 0.2F, kRate); }
  int counter = 44100;
  int state = 0;
};

TEST_F(GatedEnvelope, RisesToItsPeakDecaysHoldsAndReleases) {
  for (int t = 0; t <= 10; ++t) {
    ASSERT_NEAR(static_cast<double>(next(1)), 0.2 + t * 1.8 / 10, 2 * kRounding);
  }
  for (int t = 11; t <= 30; ++t) {
    ASSERT_EQ(state, 2);
    ASSERT_NEAR(static_cast<double>(next(1)), 2.0 - (t - 10) * 1.5 / 20, 2 * kRounding);
  }
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(state, 3);
    ASSERT_EQ(next(1), 0.5F);
  }
  for (int t = 0; t <= 10; ++t) {
    ASSERT_NEAR(static_cast<double>(next(0)), 0.5 - t * 0.05, kRounding);
  }
  EXPECT_EQ(state, 0);
  EXPECT_EQ(next(0), 0.0F);
}

TEST_F(GatedEnvelope, IsSilentWhileItsGateIsClosed) {
  EXPECT_EQ(next(0), 0.0F);
  EXPECT_EQ(state, 0);
  EXPECT_EQ(counter, 44101);
}

TEST_F(GatedEnvelope, ReleasesFromTheAttackAndAttacksAgainFromTheRelease) {
  for (int i = 0; i < 5; ++i) next(1);

  EXPECT_EQ(next(0), 0.5F);
  EXPECT_EQ(state, 4);
  EXPECT_FLOAT_EQ(next(1), 0.2F);
  EXPECT_EQ(state, 1);
  EXPECT_EQ(counter, 1);
}

TEST(EnvelopePrimitives, TheLoopedEnvelopeEndsInSilenceOrBeginsAgain) {
  int n = 0;
  const auto next = [&](bool loop) { return adsr_loop(1, n, loop, 2.0F, 0.01F, 0.02F, 0.5F, 0.01F, kRate); };

  for (int t = 0; t < 10; ++t) ASSERT_NEAR(static_cast<double>(next(true)), t * 0.2, kRounding);
  for (int t = 10; t < 30; ++t) {
    ASSERT_NEAR(static_cast<double>(next(true)), 2 - (t - 10) * 1.5 / 20, 2 * kRounding);
  }
  EXPECT_EQ(next(false), 0.0F);
  EXPECT_EQ(n, 31);
  EXPECT_EQ(next(true), 0.0F);
  EXPECT_EQ(n, 0);
}

TEST(EnvelopePrimitives, TheLoopedEnvelopesReleaseFallsFromTheSustain) {
  int n = 0;
  const auto next = [&] { return adsr_loop(0, n, true, 2.0F, 0.01F, 0.02F, 0.5F, 0.01F, kRate); };

  for (int t = 0; t < 10; ++t) ASSERT_NEAR(static_cast<double>(next()), 0.5 - t * 0.05, kRounding);

  EXPECT_EQ(next(), 0.0F);
  EXPECT_EQ(n, 11);
}

TEST(EnvelopePrimitives, TheOneShotHasAFixedLength) {
  int n = 0;
  const auto next = [&] { return adsr_oneshot(n, 2.0F, 0.05F, 0.01F, 0.02F, 0.5F, 0.01F, kRate); };

  for (int t = 0; t < 10; ++t) ASSERT_NEAR(static_cast<double>(next()), t * 0.2, kRounding);
  for (int t = 10; t < 30; ++t) {
    ASSERT_NEAR(static_cast<double>(next()), 2 - (t - 10) * 1.5 / 20, 2 * kRounding);
  }
  for (int t = 30; t < 40; ++t) ASSERT_EQ(next(), 0.5F);
  for (int t = 40; t < 50; ++t) ASSERT_NEAR(static_cast<double>(next()), 0.5 - (t - 40) * 0.05, kRounding);
  EXPECT_EQ(next(), 0.0F);
  EXPECT_EQ(n, 51);
}

TEST(EnvelopePrimitives, AttackAndDecayEndsAHundredDecibelsDown) {
  int n = 0;
  const auto next = [&] { return ad(n, 0.5F, 0.01F, 0.02F, 0.1F, kRate); };

  for (int t = 0; t < 10; ++t) ASSERT_NEAR(static_cast<double>(next()), 0.1 + t * 0.04, kRounding);
  for (int t = 10; t < 30; ++t) {
    ASSERT_NEAR(static_cast<double>(next()), 0.5 * std::pow(0.00001 / 0.5, (t - 10) / 20.0), kRounding);
  }
  EXPECT_EQ(next(), 0.00001F);
  EXPECT_EQ(next(), 0.00001F);
  EXPECT_EQ(n, 32);
}

TEST(EnvelopePrimitives, TheGateIsOpenThenClosedThenAtItsFloor) {
  int n = 0;
  const auto next = [&] { return gate(n, 5.0F, 0.003F, 0.002F, 7.0F, kRate); };

  for (int i = 0; i < 3; ++i) EXPECT_EQ(next(), 1.0F);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(next(), 0.0F);
  EXPECT_NEAR(next(), 0.00001F, 1e-9F);
  EXPECT_EQ(n, 6);
}

}  // namespace
}  // namespace morv
