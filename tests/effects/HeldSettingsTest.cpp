#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "effects/HeldSettings.h"

namespace morv {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kCoefficientError = 1e-6F;

// g / (1 + g) with g the prewarped tangent.
double coefficientOf(double cutoffHz, double rateHz) {
  const double g = std::tan(std::numbers::pi * cutoffHz / rateHz);
  return g / (1.0 + g);
}

TEST(HeldSettings, AValueIsHeldInsideItsBoundsAndNoNumberIsNothing) {
  EXPECT_EQ(heldSetting(0.3F, -1.0F, 1.0F), 0.3F);
  EXPECT_EQ(heldSetting(7.0F, -1.0F, 1.0F), 1.0F);
  EXPECT_EQ(heldSetting(-kInfinity, -1.0F, 1.0F), -1.0F);
  EXPECT_EQ(heldSetting(kInfinity, -1.0F, 1.0F), 1.0F);
  EXPECT_EQ(heldSetting(std::nanf(""), -1.0F, 1.0F), 0.0F);
  EXPECT_EQ(heldSetting(std::nanf(""), 2.0F, 3.0F), 2.0F);
}

TEST(HeldSettings, AnInputIsHeldFarAboveFullScaleAndNoNumberIsSilence) {
  EXPECT_EQ(heldInput(0.3F), 0.3F);
  EXPECT_EQ(heldInput(-4.0F), -4.0F);
  EXPECT_EQ(heldInput(3e38F), 1e6F);
  EXPECT_EQ(heldInput(kInfinity), 1e6F);
  EXPECT_EQ(heldInput(-kInfinity), -1e6F);
  EXPECT_EQ(heldInput(std::nanf("")), 0.0F);
}

TEST(HeldSettings, AStretchOfInputsIsHeldSampleBySample) {
  const float some[] = {0.3F, -4.0F, 3e38F, kInfinity, -kInfinity, std::nanf(""), -1e6F, 1e6F};
  for (int frames = 0; frames <= 64; ++frames) {
    float in[64];
    for (int k = 0; k < frames; ++k) in[k] = some[(k * 3) % 8];
    float out[64];
    heldInputs(in, out, frames);
    for (int k = 0; k < frames; ++k) ASSERT_EQ(out[k], heldInput(in[k])) << k << " of " << frames;
  }
}

TEST(HeldSettings, ACutoffStaysJustBelowHalfTheRate) {
  EXPECT_EQ(heldCutoff(1000.0F, 8000.0F), 1000.0F);
  EXPECT_FLOAT_EQ(heldCutoff(4000.0F, 8000.0F), 3992.0F);
  EXPECT_FLOAT_EQ(heldCutoff(kInfinity, 8000.0F), 3992.0F);
}

TEST(HeldSettings, AOnePoleIsSetToTheHeldCutoffAndRemembersTheOneAskedFor) {
  tpt filter;
  initTPT(&filter);

  setHeldTPTCutoff(&filter, 20000.0F, 8000.0F);

  EXPECT_EQ(filter.cutoff, 20000.0F);
  EXPECT_NEAR(filter.G, coefficientOf(3992.0, 8000.0), 1e-4);  // steep there
  setHeldTPTCutoff(&filter, 1000.0F, 8000.0F);
  EXPECT_EQ(filter.cutoff, 1000.0F);
  EXPECT_NEAR(filter.G, coefficientOf(1000.0, 8000.0), kCoefficientError);
}

TEST(HeldSettings, ACutoffThatIsAskedForAgainChangesNothingEvenAtAnotherRate) {
  tpt filter;
  initTPT(&filter);
  setHeldTPTCutoff(&filter, 20000.0F, 8000.0F);
  const float G = filter.G;

  setHeldTPTCutoff(&filter, 20000.0F, 96000.0F);

  EXPECT_EQ(filter.G, G);
}

// What it is held at may be what another rate was asked for before.
TEST(HeldSettings, AHeldCutoffIsSetAlsoWhereItsValueIsTheLastOneOfAnotherRate) {
  tpt filter;
  initTPT(&filter);
  setHeldTPTCutoff(&filter, heldCutoff(kInfinity, 8000.0F), 96000.0F);

  setHeldTPTCutoff(&filter, 20000.0F, 8000.0F);

  EXPECT_NEAR(filter.G, coefficientOf(3992.0, 8000.0), 1e-4);
}

}  // namespace
}  // namespace morv
