// The reverb's combs, all-passes, springs and early reflections.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/effects/DigiVerbStages.h"

namespace morv {
namespace {

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
      const auto at = static_cast<std::size_t>(std::lround(seconds * static_cast<double>(kStageRate)));
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
    const double at = seconds * 0.3 * static_cast<double>(kStageRate);
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
