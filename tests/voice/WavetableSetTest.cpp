#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "tests/voice/HarmonicTesting.h"
#include "voice/WavetableSet.h"

namespace morv {
namespace {

using testing::harmonicsOf;
using testing::lanczos;

constexpr int kSize = 1024;
constexpr int kCopies = 13;
constexpr double kRounding = 5e-6;  // sums of some hundred floats, and an FFT in single precision
// Bins from which on copies 1 to 12 are empty at 44.1 kHz: 232 over 1.444^k.
constexpr std::array kFirstRemoved = {160, 111, 76, 53, 36, 25, 17, 12, 8, 5, 4, 2};

using Spectrum = std::vector<std::complex<double>>;

std::size_t at(int i) { return static_cast<std::size_t>(i); }

// One cycle by its series, with the angle rounded to float and the largest value at one.
std::vector<double> series(int harmonics, int firstOmitted, int stride, int exponent, double phase) {
  std::vector<double> cycle(kSize, 0.0);
  for (int k = 1; k <= harmonics && k < firstOmitted; k += stride) {
    const double a = lanczos(k, harmonics) / std::pow(k, exponent);
    for (int n = 0; n < kSize; ++n) {
      const auto angle =
          static_cast<float>(k * 2.0 * n * std::numbers::pi / kSize + 2 * std::numbers::pi * phase);
      cycle[at(n)] += a * std::cos(static_cast<double>(angle));
    }
  }
  const double peak = *std::max_element(cycle.begin(), cycle.end());
  for (double& x : cycle) x /= peak;
  return cycle;
}

constexpr int kAll = 1 << 20;

void expectCycle(const float* cycle, const std::vector<double>& expected, double sign = 1.0) {
  double worst = 0;
  for (int n = 0; n < kSize; ++n)
    worst = std::max(worst, std::abs(static_cast<double>(cycle[n]) - sign * expected[at(n)]));
  EXPECT_LT(worst, kRounding);
}

void expectCopies(const float* wave) {
  const Spectrum base = harmonicsOf(wave, kSize);
  for (int copy = 1; copy < kCopies; ++copy) {
    SCOPED_TRACE(copy);
    const Spectrum spectrum = harmonicsOf(wave + copy * kSize, kSize);
    const int firstRemoved = kFirstRemoved[at(copy - 1)];
    EXPECT_LT(std::abs(spectrum[0]), kRounding);
    double keptError = 0;
    double removedLevel = 0;
    for (int k = 1; k <= kSize / 2; ++k) {
      if (k < firstRemoved) {
        keptError = std::max(keptError, std::abs(spectrum[at(k)] - base[at(k)]));
      } else {
        removedLevel = std::max(removedLevel, std::abs(spectrum[at(k)]));
      }
    }
    EXPECT_LT(keptError, kRounding);
    EXPECT_LT(removedLevel, kRounding);
  }
}

class WavetableSetTest : public ::testing::Test {
 protected:
  std::shared_ptr<const WavetableSet> voiceSet = WavetableSet::sharedVoiceSet(44100.0F);
};

TEST_F(WavetableSetTest, TheVoicesSawHasAllHarmonicsUpTo20Kilohertz) {
  expectCycle(voiceSet->wave(1), series(464, kAll, 1, 1, 0.25));
  expectCopies(voiceSet->wave(1));
}

TEST_F(WavetableSetTest, TheSubsSineIsATriangle) {
  expectCycle(voiceSet->wave(0), series(464, kAll, 2, 2, 0.0));
  expectCopies(voiceSet->wave(0));
}

TEST_F(WavetableSetTest, TheSquareIsMadeWithOneHarmonicLess) {
  expectCycle(voiceSet->wave(4), series(463, kAll, 2, 1, 0.25));
  expectCopies(voiceSet->wave(4));
}

TEST_F(WavetableSetTest, TheReversedSawIsTheSawBackwards) {
  for (int n = 0; n < kSize; ++n) ASSERT_EQ(voiceSet->wave(3)[n], voiceSet->wave(1)[kSize - 1 - n]);
  expectCopies(voiceSet->wave(3));
}

TEST_F(WavetableSetTest, TheThirdWaveAndAllUnusedOnesAreSilent) {
  for (int wave : {2, 5, 6, 50, 113})
    EXPECT_TRUE(std::all_of(voiceSet->wave(wave), voiceSet->wave(wave) + kCopies * kSize, [](float x) {
      return x == 0.0F;
    })) << wave;
}

TEST_F(WavetableSetTest, TheSquareDoesNotCountAsAFifthWave) { EXPECT_EQ(voiceSet->tableCount, 4); }

TEST_F(WavetableSetTest, OscillatorsOfOneRateShareOneSet) {
  EXPECT_EQ(WavetableSet::sharedVoiceSet(44100.0F), voiceSet);
  const auto other = WavetableSet::sharedVoiceSet(48000.0F);
  EXPECT_NE(other, voiceSet);
  EXPECT_EQ(other->sampleRate, 48000.0F);
}

TEST_F(WavetableSetTest, AnotherRateMovesTheLimits) {
  const auto other = WavetableSet::sharedVoiceSet(96000.0F);

  expectCycle(other->wave(1), series(213, kAll, 1, 1, 0.25));  // 1024 x 20000 / 96000
  const Spectrum copy = harmonicsOf(other->wave(1) + kSize, kSize);
  EXPECT_GT(std::abs(copy[72]), 1e-4);  // 106 / 1.444 = 73.4
  EXPECT_LT(std::abs(copy[73]), kRounding);
}

TEST_F(WavetableSetTest, ALowRateAsksForMoreHarmonicsThanTheCycleHoldsAndFoldsThem) {
  const auto other = WavetableSet::sharedVoiceSet(8000.0F);

  expectCycle(other->wave(1), series(2560, kAll, 1, 1, 0.25));
}

TEST_F(WavetableSetTest, AReadBeyondACopyMeetsTheNextOneAndBeyondTheLastTheNextWave) {
  for (int wave : {0, 1, 3, 4}) {
    for (int copy = 0; copy < kCopies; ++copy)
      EXPECT_EQ(voiceSet->wave(wave) + (copy + 1) * kSize,
                copy + 1 < kCopies ? &voiceSet->wave(wave)[(copy + 1) * kSize] : voiceSet->wave(wave + 1));
  }
  EXPECT_EQ(voiceSet->wave(1)[kCopies * kSize], 0.0F);
  EXPECT_EQ(voiceSet->wave(4)[kCopies * kSize], 0.0F);
  EXPECT_EQ(voiceSet->wave(3)[kCopies * kSize], voiceSet->wave(4)[0]);
}

struct WaveCase {
  ZROscillatorWave wave;
  int firstOmitted, stride, exponent;
  double phase, sign;
};

class WaveByHarmonics : public ::testing::TestWithParam<WaveCase> {};

TEST_P(WaveByHarmonics, HasItsSeriesUpTo10KilohertzAndItsCopies) {
  const WaveCase& c = GetParam();
  WavetableSet set(44100.0F);
  std::fill_n(set.wave(2), kSize, 3.0F);

  set.generateWaveInTable(c.wave, set.wave(2), nullptr);

  expectCycle(set.wave(2), series(232, c.firstOmitted, c.stride, c.exponent, c.phase), c.sign);
  expectCopies(set.wave(2));
  EXPECT_EQ(set.tableCount, 1);
}

INSTANTIATE_TEST_SUITE_P(Waves, WaveByHarmonics,
                         ::testing::Values(WaveCase{ZROscillatorWave::sine, 2, 1, 1, 0.0, 1},
                                           WaveCase{ZROscillatorWave::saw, kAll, 1, 1, -0.25, 1},
                                           WaveCase{ZROscillatorWave::square, kAll, 2, 1, -0.25, 1},
                                           WaveCase{ZROscillatorWave::triangle, kAll, 2, 2, 0.0, 1},
                                           WaveCase{ZROscillatorWave::shiftedSine, 2, 1, 1, -0.25, 1},
                                           WaveCase{ZROscillatorWave::invertedSine, 2, 1, 1, 0.0, -1},
                                           WaveCase{ZROscillatorWave::invertedSaw, kAll, 1, 1, -0.25, -1},
                                           WaveCase{ZROscillatorWave::invertedTriangle, kAll, 2, 2, 0.0,
                                                    -1}));

TEST(WavetableSetWaves, AGivenNumberOfHarmonicsIsTheLimit) {
  WavetableSet set(44100.0F);

  set.generateWaveInTable(ZROscillatorWave::saw, set.wave(0), 9, nullptr);

  expectCycle(set.wave(0), series(9, kAll, 1, 1, -0.25));
}

TEST(WavetableSetWaves, NoiseIsGaussianInAllCopiesAndRepeatsForItsSeed) {
  constexpr double kExpectedDeviation = 0.25;
  constexpr double kSpread = 0.01;  // five standard errors of 13312 draws
  WavetableSet set(44100.0F);
  Random random(7);
  set.generateWaveInTable(ZROscillatorWave::noise, set.wave(0), &random);
  Random again(7);
  set.generateWaveInTable(ZROscillatorWave::noise, set.wave(1), &again);

  double sum = 0;
  double squares = 0;
  for (int n = 0; n < kCopies * kSize; ++n) {
    const auto x = static_cast<double>(set.wave(0)[n]);
    sum += x;
    squares += x * x;
    ASSERT_EQ(set.wave(0)[n], set.wave(1)[n]);
  }
  EXPECT_NEAR(sum / (kCopies * kSize), 0.0, kSpread);
  EXPECT_NEAR(std::sqrt(squares / (kCopies * kSize)), kExpectedDeviation, kSpread);
  EXPECT_EQ(set.tableCount, 2);
}

TEST(RemovingPartials, TakesTheMeanTheLastBinsAndAllFromTheFirstRemovedOn) {
  Random random(3);
  std::array<float, 256> cycle;
  for (float& x : cycle) x = random.unit31();
  const Spectrum before = harmonicsOf(cycle.data(), 256);

  for (const int first : {200, 40, 1, 0}) {
    SCOPED_TRACE(first);
    auto kept = cycle;
    _removePartialsFromWaveform(kept.data(), 256, first);
    const Spectrum after = harmonicsOf(kept.data(), 256);
    for (int k = 0; k <= 128; ++k) {
      const bool stays = k > 0 && k < first && k < 127;
      EXPECT_LT(std::abs(after[at(k)] - (stays ? before[at(k)] : 0.0)), 1e-6) << k;
    }
  }
}

}  // namespace
}  // namespace morv
