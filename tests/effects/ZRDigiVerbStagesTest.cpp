// The reverb's stages one by one.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/ZRDigiVerb.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 40000.0F;  // comb and all-pass times come to whole samples
constexpr double kPi = std::numbers::pi;
constexpr float kKernels = 2e-6F;   // sines and tangents within 4e-7, and a gain taken to its second power
constexpr float kPosition = 0.01F;  // of a sample: where a long line's position is rounded

using Modulation = ZRDigiVerb::Modulation;

// A unit whose followers stand at their targets.
std::unique_ptr<ZRDigiVerb> settled(int mode, float rate = kRate) {
  auto verb = std::make_unique<ZRDigiVerb>(rate);
  verb->mode = mode;
  verb->size = verb->sizeSmoothed = 0.0F;
  verb->preDelay = verb->preDelaySmoothed = 0.0F;
  verb->lfoRate = 0.0F;
  return verb;
}

// `signal` through one stage, after the followers and the swings.
template <typename Stage>
void runStage(ZRDigiVerb* verb, Stereo* signal, Stage stage) {
  const auto m = std::make_unique<Modulation>();
  for (int start = 0; start < signal->frames(); start += ZRDigiVerb::kStretch) {
    const int n = std::min(ZRDigiVerb::kStretch, signal->frames() - start);
    verb->smooth(m.get(), n);
    verb->runLFO(m.get(), n);
    stage(*m, signal->left.data() + start, signal->right.data() + start, n);
  }
}

TEST(ZRDigiVerbStages, TheSwingsTurnAtTheirRates) {
  ZRDigiVerb verb(kRate);
  verb.lfoRate = 3.0F;
  Stereo silence(30000);

  runStage(&verb, &silence, [](const Modulation&, float*, float*, int) {});

  // 2.25 and 1.875 turns; the steps' rounding adds up.
  EXPECT_NEAR(verb.phase, 2 * kPi * 0.25, 5e-3);
  EXPECT_NEAR(verb.phase2, 2 * kPi * 0.875, 5e-3);
}

TEST(ZRDigiVerbStages, TheSidesSwingTheSpreadApart) {
  ZRDigiVerb verb(kRate);
  verb.spread = verb.spreadSmoothed = 0.3F;
  verb.phase = 1.0F;
  verb.phase2 = 2.0F;
  verb.lfoRate = 0.0F;
  Modulation m;

  verb.smooth(&m, 1);
  verb.runLFO(&m, 1);

  const double two = 2.0 + 2 * kPi * 2.5 / static_cast<double>(kRate);
  EXPECT_NEAR(m.sinL[0], std::sin(1.0 - 0.3 * kPi), kKernels);
  EXPECT_NEAR(m.sinR[0], std::sin(1.0 + 0.3 * kPi), kKernels);
  EXPECT_NEAR(m.sin2L[0], std::sin(two - 0.3 * kPi), kKernels);
  EXPECT_NEAR(m.sin2R[0], std::sin(two + 0.3 * kPi), kKernels);
  EXPECT_NEAR(m.springSwing[0], std::sin(two * kPi), kKernels);
}

// White noise of variance 1/3 behind a one-pole low-pass, which keeps g / (1 + g) of it.
TEST(ZRDigiVerbStages, TheSlowNoiseIsLowPassedAt500Hz) {
  ZRDigiVerb verb(kRate);
  Modulation m;
  double sum = 0;
  constexpr int kFrames = 200000;

  for (int i = 0; i < kFrames; ++i) {
    verb.runLFO(&m, 1);
    sum += static_cast<double>(verb.noise) * static_cast<double>(verb.noise);
  }

  const double g = std::tan(kPi * 500.0 / static_cast<double>(kRate));
  EXPECT_NEAR(sum / kFrames / (g / (1 + g) / 3.0), 1.0, 0.05);  // some 15000 independent values
}

// out = x + (x + A x) (G - 1) / 2 with A = (1/z - a) / (1 - a/z), far below the saturation.
void expectShelf(bool isHigh, float gainDb, float frequencyHz) {
  const double rate = static_cast<double>(kRate);
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

// The mode's constants, which a run of it sets, and the comb's first echoes.
TEST(ZRDigiVerbStages, ACombRepeatsAtItsTimeWithTheGainOfItsDecay) {
  struct Row {
    int mode;
    float a, b, c, d;
  };
  for (const Row& row : {Row{1, 3, 0.3F, 0.3F, 5}, Row{2, 5, 0.5F, 0.3F, 20}, Row{3, 5, 0.5F, 0.3F, 20},
                         Row{6, 10, 0.5F, 0.3F, 20}, Row{0, 3, 0.3F, 0.3F, 10}, Row{5, 5, 0.5F, 0.3F, 20},
                         Row{7, 10, 0.5F, 0.3F, 15}}) {
    for (const float size : {0.0F, 0.1F}) {
      const auto verb = settled(row.mode);
      runInBlocks(*verb, Stereo(1), 1);
      verb->size = verb->sizeSmoothed = size;
      verb->decay = verb->decaySmoothed = 0.1F;
      Stereo s = stereoImpulse(8200);

      runStage(verb.get(), &s,
               [&](const Modulation& m, float* L, float* R, int n) { verb->doCombStage(m, L, R, 1, n); });

      const double seconds = 0.05 * static_cast<double>(size * row.a + row.b);
      const double g = std::pow(0.001, seconds / static_cast<double>(0.1F * row.d + row.c));
      const auto at = static_cast<std::size_t>(std::lround(seconds * static_cast<double>(kRate)));
      EXPECT_NEAR(s.left[0], 0.95, kKernels) << row.mode;
      EXPECT_NEAR(s.left[at], 0.95 * (0.7 + g), 1e-3) << row.mode << " " << size;
      EXPECT_NEAR(s.left[2 * at], 0.95 * g * (0.7 + g), 2e-3) << row.mode << " " << size;
      EXPECT_EQ(s.left, s.right);
      EXPECT_EQ(verb->combs[0][1].writeIndex,
                row.mode == 1 || row.mode == 2 || row.mode == 3 || row.mode == 6 ? 1 : 0);
    }
  }
}

TEST(ZRDigiVerbStages, TheCombsHaveTheirTimes) {
  constexpr double kSeconds[] = {0.05, 0.056, 0.061, 0.068, 0.072, 0.078, 0.087, 0.091};
  const auto verb = settled(1);
  runInBlocks(*verb, Stereo(1), 1);
  verb->damping = 1.0F;
  Stereo s = stereoImpulse(2000);

  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doCombStage(m, L, R, 8, n); });

  // Without feedback one echo of 0.7 each, and the direct sound of all eight; between two samples it is the
  // cosine's shares of both.
  Stereo expected(2000);
  expected.left[0] = 8 * 0.95F;
  for (const double seconds : kSeconds) {
    const double at = seconds * 0.3 * static_cast<double>(kRate);
    const auto i = static_cast<std::size_t>(at + 1e-6);
    const double share = (1 - std::cos(kPi * (at - static_cast<double>(i)))) / 2;
    expected.left[i] += static_cast<float>(0.7 * 0.95 * (1 - share));
    expected.left[i + 1] += static_cast<float>(0.7 * 0.95 * share);
  }
  for (std::size_t i = 0; i < 2000; ++i) ASSERT_NEAR(s.left[i], expected.left[i], kPosition) << i;
}

TEST(ZRDigiVerbStages, AtHalfRateTheCombsTimesAreHalfAsManySamples) {
  const auto verb = settled(4);
  runInBlocks(*verb, Stereo(1), 1);
  verb->damping = 1.0F;
  Stereo s = stereoImpulse(700);

  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doCombStage(m, L, R, 1, n); });

  EXPECT_NEAR(s.left[300], 0.7 * 0.95, 1e-3);  // 0.05 x 0.3 x 20000
  EXPECT_LT(std::abs(s.left[600]), 1e-6F);
}

TEST(ZRDigiVerbStages, TheSpreadSetsTheSidesCombsApart) {
  const auto verb = settled(3);
  runInBlocks(*verb, Stereo(1), 1);
  verb->damping = 1.0F;
  verb->spread = verb->spreadSmoothed = 10.0F;
  Stereo s = stereoImpulse(1200);

  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doCombStage(m, L, R, 1, n); });

  const auto centre = [](const std::vector<float>& x) {
    double moment = 0;
    double sum = 0;
    for (std::size_t i = 1; i < x.size(); ++i) {
      moment += static_cast<double>(i) * static_cast<double>(x[i]);
      sum += static_cast<double>(x[i]);
    }
    return moment / sum;
  };
  // 990.2 and 1009.8 samples, each with the cosine's share of its fraction.
  EXPECT_NEAR(centre(s.left), 990.0 + (1 - std::cos(0.2 * kPi)) / 2, static_cast<double>(kPosition));
  EXPECT_NEAR(centre(s.right), 1009.0 + (1 - std::cos(0.8 * kPi)) / 2, static_cast<double>(kPosition));
}

TEST(ZRDigiVerbStages, AnAllpassPassesItsGainAndTheRestLater) {
  constexpr double kSeconds[] = {0.0025, 0.0076, 0.0087, 0.0103, 0.0211, 0.0377};
  for (std::size_t k = 0; k < 6; ++k) {
    const auto verb = settled(0);
    verb->diffusion = 0.5F;
    Stereo s = stereoImpulse(2000, 0.5F, 0.25F);
    runStage(verb.get(), &s, [&](const Modulation&, float* L, float* R, int n) {
      verb->doAllpass2(L, R, static_cast<int>(k) + 1, n);
    });
    const auto at = static_cast<std::size_t>(std::lround(kSeconds[k] * 40000));
    // Each has g = 0.1 + 0.8 x 0.5 and writes 0.95 of its input; they lie side by side.
    EXPECT_NEAR(s.left[0], static_cast<double>(k + 1) * std::tanh(0.5 * 0.475), 1e-5);
    EXPECT_NEAR(s.left[at], std::tanh((1 - 0.25) * 0.475), 1.5e-2) << k;  // and echoes of shorter ones
    EXPECT_NEAR(s.right[at], std::tanh((1 - 0.25) * 0.2375), 1.5e-2) << k;
  }
}

TEST(ZRDigiVerbStages, TheSeriesOfAllpassesSwingsByATenthOfAMillisecond) {
  const auto verb = settled(0);
  verb->diffusion = 0.0F;
  verb->spread = verb->spreadSmoothed = 0.5F;
  Stereo s = stereoImpulse(300, 0.5F, 0.5F);

  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doAllpass(m, L, R, 1, n); });

  // The second phase moves on while the echo comes: 100 frames of 2.5 Hz.
  const double turn = 2 * kPi * 2.5 * 100 / 40000;
  const auto peakAt = [](const std::vector<float>& x) {
    return std::distance(x.begin(), std::max_element(x.begin() + 50, x.end()));
  };
  EXPECT_NEAR(static_cast<double>(peakAt(s.left)), 100 + 4 * std::sin(turn - kPi / 2), 0.6);
  EXPECT_NEAR(static_cast<double>(peakAt(s.right)), 100 + 4 * std::sin(turn + kPi / 2), 0.6);
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

// Each stage is s - g x with s the sample before of x + g y. The line is read over more than one of its laps,
// at rates whose reciprocal rounds up and down.
TEST(ZRDigiVerbStages, TheFastSpringIsAChainOfOneSampleAllpassesWithoutASeam) {
  for (const float rate : {8000.0F, 44100.0F, 48000.0F, 96000.0F, 192000.0F}) {
    const auto verb = settled(5, rate);
    verb->diffusion = 0.6F;
    Modulation m;
    verb->smooth(&m, 1);
    const double g = -0.95 * 0.6;
    std::vector<double> states(50);
    const int frames = static_cast<int>(0.5F * rate);
    for (int i = 0; i < frames; ++i) {
      const double in = 0.5 * std::sin(0.01 * i);
      double x = in;
      for (double& s : states) {
        const double y = s - g * x;
        s = x + g * y;
        x = y;
      }
      ASSERT_NEAR(verb->doSpringHF(static_cast<float>(in)), x, 2e-5) << rate << " " << i;
    }
  }
}

// At 1000 Hz each stage reads 0.15 x 500 samples back, and one for each of its two neighbours; one less where
// the read goes across the line's turn. The chain turns the sound round.
TEST(ZRDigiVerbStages, TheSlowSpringIsAChainOfLongAllpasses) {
  const auto verb = settled(5, 1000.0F);
  Modulation m;
  verb->diffusion = 0.0F;
  verb->smooth(&m, 1);
  std::vector<float> out;

  for (int i = 0; i < 2500; ++i) out.push_back(verb->doSpringLF(i == 0 ? 1.0F : 0.0F));

  const auto echo = std::min_element(out.begin(), out.end());
  EXPECT_NEAR(*echo, -1.0F, 1e-5F);
  EXPECT_GE(echo - out.begin(), 25 * 76);
  EXPECT_LE(echo - out.begin(), 25 * 77);
  EXPECT_NEAR(energy(out), 1.0, 1e-5);
}

TEST(ZRDigiVerbStages, TheSlowSpringPassesAllThatEntersIt) {
  const auto verb = settled(5, 1000.0F);
  Modulation m;
  verb->diffusion = 0.3F;
  verb->smooth(&m, 1);
  const double g = 0.95 * 0.3;
  std::vector<float> out;

  for (int i = 0; i < 20000; ++i) out.push_back(verb->doSpringLF(i == 0 ? 1.0F : 0.0F));

  EXPECT_NEAR(out[0], std::pow(g, 25), 1e-9);
  EXPECT_NEAR(energy(out), 1.0, 1e-3);
}

std::vector<float> reflections(float size, float* firstRight) {
  const auto verb = settled(0);
  verb->size = verb->sizeSmoothed = size;
  Stereo s = stereoImpulse(20000, 1.0F, 0.0F);
  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doEarlyReflections(m, L, L, R, n); });
  EXPECT_EQ(s.left, s.right);
  *firstRight = s.right[0];
  return s.left;
}

TEST(ZRDigiVerbStages, TheEarlyReflectionsComeOneBehindTheOther) {
  constexpr int kDistances[] = {190, 759, 44, 190, 9, 123, 706, 119, 384,
                                66,  35,  75, 419, 4, 79,  66,  53,  194};
  constexpr float kGains[] = {0.841F, 0.504F, 0.49F,  0.379F, 0.38F,  0.346F, 0.289F, 0.272F, 0.192F,
                              0.193F, 0.217F, 0.181F, 0.18F,  0.181F, 0.176F, 0.142F, 0.167F, 0.134F};
  float right = 0;
  for (const float size : {0.2F, 1.0F, 0.6F}) {
    const std::vector<float> actual = reflections(size, &right);
    const int count = static_cast<int>(1 + 17 * size);
    std::vector<float> expected(20000);
    std::size_t at = 0;
    for (int k = 0; k < count; ++k) {
      at += static_cast<std::size_t>(static_cast<float>(kDistances[k]) * 5.0F * size);
      expected[at] += kGains[k];
    }
    EXPECT_EQ(actual, expected) << size;
  }
}

TEST(ZRDigiVerbStages, ARoomOfNoSizeHasOneReflectionAtOnce) {
  float right = 0;
  const std::vector<float> out = reflections(0.0F, &right);

  EXPECT_EQ(out[0], 0.841F);
  EXPECT_EQ(right, 0.841F);
  EXPECT_NEAR(energy(out), 0.841 * 0.841, 1e-6);
}

TEST(ZRDigiVerbStages, TheReflectionsComeRoundTheirBuffer) {
  const auto verb = settled(0, 1000.0F);
  verb->size = verb->sizeSmoothed = 0.2F;
  Stereo s(4100);
  s.left[1990] = 1.0F;

  runStage(verb.get(), &s,
           [&](const Modulation& m, float* L, float* R, int n) { verb->doEarlyReflections(m, L, L, R, n); });

  EXPECT_EQ(verb->earlyBuffer.size(), 2000U);
  EXPECT_EQ(s.left[1990 + 190], 0.841F);
  EXPECT_EQ(s.left[1990 + 949], 0.504F);
  EXPECT_EQ(s.left[1990 + 993], 0.49F);
  EXPECT_EQ(s.left[1990 + 1183], 0.379F);
}

}  // namespace
}  // namespace morv
