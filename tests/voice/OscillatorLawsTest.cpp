#include <gtest/gtest.h>

#include <cmath>

#include "voice/OscillatorLaws.h"

namespace morv {
namespace {

constexpr float kFloatRounding = 2e-6F;  // a few float steps at values near 4

TEST(OscillatorLaws, GaussianNoiseFollowsItsTwoDraws) {
  // ln(e^-2) = -2, so the radius is 2 and the value a half times the cosine.
  const auto r1 = static_cast<float>(std::exp(-2.0));

  EXPECT_NEAR(gaussianNoise(r1, 0.0F), 0.5F, kFloatRounding);
  EXPECT_NEAR(gaussianNoise(r1, 0.5F), -0.5F, kFloatRounding);
  EXPECT_NEAR(gaussianNoise(r1, 0.25F), 0.0F, kFloatRounding);
  EXPECT_NEAR(gaussianNoise(r1, 0.125F), 0.5F * std::sqrt(0.5F), kFloatRounding);
}

TEST(OscillatorLaws, GaussianNoiseStaysFiniteForADrawOfZero) {
  const float extreme = gaussianNoise(0.0F, 0.0F);

  EXPECT_FLOAT_EQ(extreme, static_cast<float>(0.25 * std::sqrt(62.0 * std::log(2.0))));
  EXPECT_EQ(gaussianNoise(1.0F, 0.3F), 0.0F);
}

TEST(OscillatorLaws, GaussianNoiseTakesTheRadiusDrawFirst) {
  Random drawn(99);
  Random reference(99);

  const float value = gaussianNoise(drawn);

  const float r1 = reference.unit31();
  const float r2 = reference.unit31();
  EXPECT_EQ(value, gaussianNoise(r1, r2));
  EXPECT_EQ(drawn.nextBits(), reference.nextBits());
}

TEST(OscillatorLaws, GaussianNoiseHasNoMeanAndAQuarterOfDeviation) {
  constexpr int kDraws = 100000;
  Random random(5);
  double sum = 0;
  double squares = 0;

  for (int i = 0; i < kDraws; ++i) {
    const auto w = static_cast<double>(gaussianNoise(random));
    sum += w;
    squares += w * w;
  }

  // Four standard errors of the mean and of the deviation over this many draws.
  EXPECT_NEAR(sum / kDraws, 0.0, 4 * 0.25 / std::sqrt(kDraws));
  EXPECT_NEAR(std::sqrt(squares / kDraws), 0.25, 4 * 0.25 / std::sqrt(2.0 * kDraws));
}

TEST(OscillatorLaws, OctaveModulationCountsWholeOctavesTowardsZero) {
  EXPECT_FLOAT_EQ(octaveFactor(1.0F, 0.0F), 2.0F);
  EXPECT_FLOAT_EQ(octaveFactor(-3.0F, 0.0F), 0.125F);
  EXPECT_FLOAT_EQ(octaveFactor(0.5F, 0.0F), std::sqrt(2.0F));
  EXPECT_FLOAT_EQ(octaveFactor(0.0F, 1.9F), 2.0F);
  EXPECT_FLOAT_EQ(octaveFactor(0.0F, -1.9F), 0.5F);
  EXPECT_FLOAT_EQ(octaveFactor(1.0F, -0.99F), 2.0F);
}

TEST(OscillatorLaws, SemitoneModulationCountsWholeSemitonesTowardsZero) {
  EXPECT_FLOAT_EQ(semitoneFactor(12.0F, 0.0F), 2.0F);
  EXPECT_NEAR(semitoneFactor(7.0F, 0.0F), 1.4983071F, kFloatRounding);
  EXPECT_NEAR(semitoneFactor(0.0F, 7.99F), 1.4983071F, kFloatRounding);
  EXPECT_NEAR(semitoneFactor(-5.0F, -7.99F), 0.5F, kFloatRounding);
}

TEST(OscillatorLaws, AHundredCentsAreASemitone) {
  EXPECT_NEAR(centsFactor(100.0F), 1.0594631F, kFloatRounding);
  EXPECT_FLOAT_EQ(centsFactor(-1200.0F), 0.5F);
}

}  // namespace
}  // namespace morv
