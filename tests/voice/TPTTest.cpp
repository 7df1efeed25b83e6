#include <gtest/gtest.h>

#include <cmath>

#include "tests/voice/FilterTesting.h"
#include "voice/TPT.h"

namespace morv {
namespace {

using testing::makeNoise;
using testing::sineGainDb;

constexpr double kPi = std::numbers::pi;
constexpr double kDbTolerance = 0.02;

double integratorGain(double cutoffHz, double rate) { return std::tan(kPi * cutoffHz / rate); }

double gainDb(int type, double frequencyHz, double cutoffHz) {
  tpt state;
  initTPT(&state);
  setTPTCutoff2(&state, type, static_cast<float>(cutoffHz), 1.0F, 44100);
  return sineGainDb(frequencyHz, 44100, [&](float x) { return runTPT2(&state, type, x, 44100); });
}

TEST(TPT, StartsEmptyAtTenKilohertz) {
  tpt state;
  state.z1 = state.z2 = state.rho = state.alpha0 = 1;
  state.cutoff = 10000;

  initTPT(&state);

  const double g = integratorGain(10000, 44100);
  EXPECT_EQ(state.z1, 0.0F);
  EXPECT_EQ(state.z2, 0.0F);
  EXPECT_EQ(state.rho, 0.0F);
  EXPECT_EQ(state.alpha0, 0.0F);
  EXPECT_EQ(state.cutoff, 10000.0F);
  EXPECT_FLOAT_EQ(state.G, static_cast<float>(g / (1 + g)));
}

TEST(TPT, CutoffSetsTheOnePoleCoefficient) {
  tpt state;
  initTPT(&state);

  setTPTCutoff(&state, 250, 96000);

  const double g = integratorGain(250, 96000);
  EXPECT_FLOAT_EQ(state.G, static_cast<float>(g / (1 + g)));
  EXPECT_EQ(state.cutoff, 250.0F);
}

TEST(TPT, AStoredCutoffIsNotSetAgainEvenAtAnotherRate) {
  tpt state;
  initTPT(&state);
  setTPTCutoff(&state, 250, 44100);
  const float G = state.G;

  setTPTCutoff(&state, 250, 96000);
  EXPECT_EQ(state.G, G);

  tptUpdateCoefficients(&state, 96000);
  const double g = integratorGain(250, 96000);
  EXPECT_FLOAT_EQ(state.G, static_cast<float>(g / (1 + g)));
  EXPECT_EQ(state.cutoff, 250.0F);
}

TEST(TPT, OnePoleTypesIgnoreQ) {
  for (const int type : {0, 1, 2}) {
    tpt state;
    initTPT(&state);

    setTPTCutoff2(&state, type, 700, 9, 44100);

    const double g = integratorGain(700, 44100);
    EXPECT_FLOAT_EQ(state.G, static_cast<float>(g / (1 + g)));
    EXPECT_EQ(state.rho, 0.0F);
    EXPECT_EQ(state.alpha0, 0.0F);
  }
}

TEST(TPT, TwoPoleTypesTakeCutoffAndQ) {
  for (const int type : {3, 4, 5, 6, 7}) {
    tpt state;
    initTPT(&state);

    setTPTCutoff2(&state, type, 700, 4, 44100);

    const double g = integratorGain(700, 44100);
    const double R = 0.125;
    EXPECT_FLOAT_EQ(state.G, static_cast<float>(g));
    EXPECT_FLOAT_EQ(state.alpha0, static_cast<float>(1 / (1 + 2 * R * g + g * g)));
    EXPECT_FLOAT_EQ(state.rho, static_cast<float>(2 * R + g));
    EXPECT_EQ(state.cutoff, 700.0F);
  }
}

TEST(TPT, OnePoleStepByHand) {
  tpt state;

  // v = (1 - 0) 0.25, y = 0.25, z1 = 0.5; then v = (1 - 0.5) 0.25, y = 0.625, z1 = 0.75.
  EXPECT_EQ(runTPT(&state, 1, 0.25F, 44100), 0.25F);
  EXPECT_EQ(state.z1, 0.5F);
  EXPECT_EQ(runTPT(&state, 1, 0.25F, 44100), 0.625F);
  EXPECT_EQ(state.z1, 0.75F);
}

TEST(TPT, OnePoleLowPassHighPassAndAllPassHaveTheirLevels) {
  EXPECT_NEAR(gainDb(0, 1000, 1000), -3.01, kDbTolerance);
  EXPECT_NEAR(gainDb(0, 10, 1000), 0.0, kDbTolerance);
  EXPECT_NEAR(gainDb(1, 1000, 1000), -3.01, kDbTolerance);
  EXPECT_NEAR(gainDb(1, 100, 1000) - gainDb(1, 50, 1000), 6.0, 0.1);
  for (const double f : {50.0, 1000.0, 9000.0}) EXPECT_NEAR(gainDb(2, f, 1000), 0.0, kDbTolerance);
}

TEST(TPT, HighPassAndAllPassAreMadeOfInputAndLowPass) {
  tpt low;
  tpt high;
  tpt all;
  for (tpt* state : {&low, &high, &all}) initTPT(state);
  for (const float x : makeNoise(100)) {
    const float y = runTPT2(&low, 0, x, 44100);
    ASSERT_EQ(runTPT2(&high, 1, x, 44100), x - y);
    ASSERT_EQ(runTPT2(&all, 2, x, 44100), y - (x - y));
  }
}

TEST(TPT, TwoPoleTypesRunTheOnePoleStepFirst) {
  constexpr double kTolerance = 1e-5;  // float states and coefficients over a hundred steps
  for (const int type : {3, 4, 5, 6, 7, -1}) {
    tpt state;
    initTPT(&state);
    setTPTCutoff2(&state, type, 1200, 2, 44100);
    const double g = integratorGain(1200, 44100);
    const double R = 0.25;
    double z1 = 0;
    double z2 = 0;
    for (const float sample : makeNoise(200)) {
      const auto x = static_cast<double>(sample);
      const double v = (x - z1) * g;
      z1 += 2 * v;
      const double hp = (x - (2 * R + g) * z1 - z2) / (1 + 2 * R * g + g * g);
      const double bp = g * hp + z1;
      z1 = g * hp + bp;
      const double lp = g * bp + z2;
      z2 = g * bp + lp;
      const double expected = type == 3 ? lp : type == 4 ? hp : type == 5 ? bp : type == 6 ? hp + lp : 0.0;

      ASSERT_NEAR(runTPT2(&state, type, sample, 44100), expected, kTolerance) << type;
      ASSERT_NEAR(state.z1, z1, kTolerance);
      ASSERT_NEAR(state.z2, z2, kTolerance);
    }
  }
}

TEST(TPT, StaysFiniteFromTheLowestToTheHighestCutoff) {
  for (const float cutoff : {0.01F, 20000.0F, 22049.0F}) {
    for (const int type : {0, 1, 2}) {
      tpt state;
      initTPT(&state);
      setTPTCutoff2(&state, type, cutoff, 1, 44100);
      float y = 0;
      for (const float x : makeNoise(5000)) y = runTPT2(&state, type, x, 44100);
      EXPECT_TRUE(std::isfinite(y)) << cutoff << " " << type;
    }
  }
}

}  // namespace
}  // namespace morv
