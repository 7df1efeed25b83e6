// The reverb's stages one by one.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "tests/effects/DigiVerbStages.h"

namespace morv {
namespace {

TEST(ZRDigiVerbStages, TheSwingsTurnAtTheirRates) {
  ZRDigiVerb verb(kStageRate);
  verb.lfoRate = 3.0F;
  Stereo silence(30000);

  runStage(&verb, &silence, [](const Modulation&, float*, float*, int) {});

  // 2.25 and 1.875 turns; the steps' rounding adds up.
  EXPECT_NEAR(verb.phase, 2 * kPi * 0.25, 5e-3);
  EXPECT_NEAR(verb.phase2, 2 * kPi * 0.875, 5e-3);
}

TEST(ZRDigiVerbStages, TheSidesSwingTheSpreadApart) {
  ZRDigiVerb verb(kStageRate);
  verb.spread = verb.spreadSmoothed = 0.3F;
  verb.phase = 1.0F;
  verb.phase2 = 2.0F;
  verb.lfoRate = 0.0F;
  Modulation m;

  verb.smooth(&m, 1);
  verb.runLFO(&m, 1);

  const double two = 2.0 + 2 * kPi * 2.5 / static_cast<double>(kStageRate);
  EXPECT_NEAR(m.sinL[0], std::sin(1.0 - 0.3 * kPi), kKernels);
  EXPECT_NEAR(m.sinR[0], std::sin(1.0 + 0.3 * kPi), kKernels);
  EXPECT_NEAR(m.sin2L[0], std::sin(two - 0.3 * kPi), kKernels);
  EXPECT_NEAR(m.sin2R[0], std::sin(two + 0.3 * kPi), kKernels);
  EXPECT_NEAR(m.springSwing[0], std::sin(two * kPi), kKernels);
}

// White noise of variance 1/3 behind a one-pole low-pass, which keeps g / (1 + g) of it.
TEST(ZRDigiVerbStages, TheSlowNoiseIsLowPassedAt500Hz) {
  ZRDigiVerb verb(kStageRate);
  Modulation m;
  double sum = 0;
  constexpr int kFrames = 200000;

  for (int i = 0; i < kFrames; ++i) {
    verb.runLFO(&m, 1);
    sum += static_cast<double>(verb.noise) * static_cast<double>(verb.noise);
  }

  const double g = std::tan(kPi * 500.0 / static_cast<double>(kStageRate));
  EXPECT_NEAR(sum / kFrames / (g / (1 + g) / 3.0), 1.0, 0.05);  // some 15000 independent values
}

// out = x + (x + A x) (G - 1) / 2 with A = (1/z - a) / (1 - a/z), far below the saturation.
void expectShelf(bool isHigh, float gainDb, float frequencyHz) {
  const double rate = static_cast<double>(kStageRate);
  const double t =
      isHigh ? std::tan(kPi * static_cast<double>(frequencyHz) / rate / 2) : std::tan(kPi * 250.0 / rate);
  const double G = std::pow(10.0, static_cast<double>(gainDb) / 20);
  const double a = gainDb > 0 ? (t - 1) / (t + 1) : (t - G) / (t + G);
  for (const double hz : {30.0, 250.0, 1000.0, 12000.0}) {
    const auto verb = settled(0);
    (isHigh ? verb->highShelfGain : verb->lowShelfGain) = gainDb;
    verb->highShelfFrequency = frequencyHz;
    Stereo s = stereoSine(80000, hz, rate, 1e-3);
    const Stereo in = s;
    runStage(verb.get(), &s, [&](const Modulation&, float* L, float* R, int n) {
      isHigh ? verb->doHighShelf(L, R, n) : verb->doLowShelf(L, R, n);
    });
    const std::complex<double> z1 = std::polar(1.0, -2 * kPi * hz / rate);
    const std::complex<double> pass = (z1 - a) / (1.0 - a * z1);
    const double expected = std::abs(1.0 + (1.0 + pass) * (G - 1) / 2.0);
    const std::vector<float> inEnd(in.left.end() - 40000, in.left.end());
    const std::vector<float> outEnd(s.left.end() - 40000, s.left.end());
    EXPECT_NEAR(std::sqrt(energy(outEnd) / energy(inEnd)) / expected, 1.0, 1e-3) << hz << " " << gainDb;
    EXPECT_EQ(s.left, s.right);
  }
}

TEST(ZRDigiVerbStages, TheLowShelfLiftsAndCutsBelow250Hz) {
  expectShelf(false, 12.0F, 500.0F);
  expectShelf(false, -12.0F, 500.0F);
  expectShelf(false, 0.0F, 500.0F);
}

TEST(ZRDigiVerbStages, TheHighShelfIsTheSameAtHalfItsFrequency) {
  expectShelf(true, 9.0F, 4000.0F);
  expectShelf(true, -9.0F, 4000.0F);
  expectShelf(true, 0.0F, 4000.0F);
}

TEST(ZRDigiVerbStages, TheShelvesSaturate) {
  const auto verb = settled(0);
  Stereo s(3);
  s.left = {0.3F, -2.0F, 1.0F};

  runStage(verb.get(), &s, [&](const Modulation&, float* L, float* R, int n) { verb->doLowShelf(L, R, n); });

  EXPECT_NEAR(s.left[0], std::tanh(0.3), kKernels);
  EXPECT_NEAR(s.left[1], std::tanh(-2.0), kKernels);
  EXPECT_NEAR(s.left[2], std::tanh(1.0), kKernels);
}

TEST(ZRDigiVerbStages, ThePreDelayIsInMilliseconds) {
  const auto verb = settled(0);
  verb->preDelay = verb->preDelaySmoothed = 20.0F;
  Stereo s = stereoImpulse(900, 1.0F, 0.5F);

  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doPreDelay(m, L, R, n); });

  EXPECT_NEAR(s.left[800], std::tanh(0.95), 1e-3);  // of a position's rounding
  EXPECT_NEAR(s.right[800], std::tanh(0.475), 1e-3);
  EXPECT_LT(peakOf({s.left.begin(), s.left.begin() + 799}), 1e-3F);
}

TEST(ZRDigiVerbStages, APreDelayOfATenthOfAMillisecondPasses) {
  const Stereo in = stereoNoise(200, 1);
  const auto run = [&in](float ms) {
    const auto verb = settled(0);
    verb->preDelay = verb->preDelaySmoothed = ms;
    Stereo s = in;
    runStage(verb.get(), &s,
             [&](const Modulation& m, float* L, float* R, int n) { verb->doPreDelay(m, L, R, n); });
    return s.left;
  };

  EXPECT_EQ(run(0.0999F), in.left);
  EXPECT_EQ(run(-3.0F), in.left);
  EXPECT_NE(run(0.11F), in.left);
}

TEST(ZRDigiVerbStages, TheChorusAddsAnEchoAtFiveMillisecondsAndItsSwing) {
  for (const float depth : {0.0F, 1.0F}) {
    const auto verb = settled(0);
    verb->modDepth = verb->modDepthSmoothed = depth;
    verb->phase = static_cast<float>(kPi / 2);
    Stereo s = stereoImpulse(600, 0.5F, 0.5F);

    runStage(verb.get(), &s,
             [&](const Modulation& m, float* L, float* R, int n) { verb->doChorus(m, L, R, n); });

    const double swing = 0.03 * (0.01 + static_cast<double>(depth)) * 0.1;
    const double at = (0.005 + swing) * 40000;
    const auto i = static_cast<std::size_t>(at + 1e-3);
    const double share = at - static_cast<double>(i);
    EXPECT_NEAR(s.left[0], std::tanh(0.475), kKernels);
    EXPECT_NEAR(s.left[i], std::tanh(0.7 * 0.475 * (1 - share)), kPosition);
    EXPECT_NEAR(s.left[i + 1], std::tanh(0.7 * 0.475 * share), kPosition);
    EXPECT_EQ(s.left, s.right);
  }
}

TEST(ZRDigiVerbStages, TheTremoloCrossesTheSides) {
  const auto verb = settled(0);
  verb->modDepth = verb->modDepthSmoothed = 0.25F;
  verb->spread = verb->spreadSmoothed = 0.2F;
  verb->phase = 0.7F;
  Stereo s = stereoImpulse(1, 0.5F, -0.3F);

  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doTremolo(m, L, R, n); });

  EXPECT_NEAR(s.left[0], 0.75 * 0.5 + 0.25 * std::sin(0.7 - 0.2 * kPi) * -0.3, kKernels);
  EXPECT_NEAR(s.right[0], 0.75 * -0.3 + 0.25 * std::sin(0.7 + 0.2 * kPi) * 0.5, kKernels);
}

TEST(ZRDigiVerbStages, ThePostFilterHalvesThePowerAtItsCutoff) {
  for (const float damping : {0.0F, 0.5F, 0.9F}) {
    const auto verb = settled(0);
    verb->damping = damping;
    const double cutoffHz = (1 - static_cast<double>(damping)) * 0.34 * 40000;
    Stereo s = stereoSine(40000, cutoffHz, 40000.0);
    const Stereo in = s;

    runStage(verb.get(), &s,
             [&](const Modulation&, float* L, float* R, int n) { verb->doPostFilter(L, R, n); });

    EXPECT_NEAR(energy(s.left) / energy(in.left), 0.5, 2e-3) << damping;
    EXPECT_EQ(s.left, s.right);
  }
}

TEST(ZRDigiVerbStages, TheNoiseLies85dBBelowOneAndIsTheSameOnBothSides) {
  const auto verb = settled(4);
  Stereo s(40000);

  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doNoise(m, L, R, n); });

  EXPECT_EQ(s.left, s.right);
  EXPECT_NEAR(20 * std::log10(static_cast<double>(peakOf(s.left))), -85.0, 0.1);
  // Every other frame, uniform over the peak's range.
  EXPECT_NEAR(10 * std::log10(energy(s.left) / 20000.0), -85.0 - 10 * std::log10(3.0), 0.2);
}

}  // namespace
}  // namespace morv
