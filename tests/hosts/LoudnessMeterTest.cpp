#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <vector>

#include "hosts/cli/LoudnessMeter.h"

namespace morv::cli {
namespace {

// The Recommendation gives its readings in hundredths; its own constant of -0.691 dB is rounded to
// thousandths.
constexpr double kReadingDb = 0.01;
// A shelf that is moved from 48 kHz to another rate bends a little below half of that rate.
constexpr double kMovedReadingDb = 0.02;

std::vector<float> sine(double frequencyHz, double levelDb, double seconds, double rateHz) {
  std::vector<float> samples(static_cast<std::size_t>(seconds * rateHz));
  const double amplitude = std::pow(10.0, levelDb / 20.0);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double phase = 2.0 * std::numbers::pi * frequencyHz * static_cast<double>(i) / rateHz;
    samples[i] = static_cast<float>(amplitude * std::sin(phase));
  }
  return samples;
}

double loudnessOf(const std::vector<float>& left, const std::vector<float>& right, double rateHz) {
  LoudnessMeter meter(rateHz);
  meter.add(left.data(), right.data(), left.size());
  return meter.integratedLufs();
}

// ITU-R BS.1770-4, Annex 1: "0 dB FS, 997 Hz, in one channel: -3.01". The mean square of a sine is half its
// peak's square, 3.01 dB below; two channels add up to 3.01 dB more, so both together read the peak level.
TEST(LoudnessMeter, ReadsTheReferenceSineOfTheRecommendation) {
  const std::vector<float> tone = sine(997, 0, 5, 48000);
  const std::vector<float> silence(tone.size());

  EXPECT_NEAR(loudnessOf(tone, silence, 48000), -3.01, kReadingDb);
  EXPECT_NEAR(loudnessOf(silence, tone, 48000), -3.01, kReadingDb);
  EXPECT_NEAR(loudnessOf(tone, tone, 48000), 0.0, kReadingDb);
}

TEST(LoudnessMeter, FollowsTheLevel) {
  const std::vector<float> tone = sine(997, -20, 5, 48000);

  EXPECT_NEAR(loudnessOf(tone, tone, 48000), -20.0, kReadingDb);
}

TEST(LoudnessMeter, ReadsTheSameAtOtherRates) {
  for (const double rateHz : {44100.0, 96000.0}) {
    const std::vector<float> tone = sine(997, -20, 5, rateHz);
    EXPECT_NEAR(loudnessOf(tone, tone, rateHz), -20.0, kMovedReadingDb) << rateHz;
  }
}

// The response of the two tabled filters at 48 kHz, worked out from the tables at z = exp(2 pi i f / 48000),
// less the 0.691 dB.
TEST(LoudnessMeter, WeighsFrequenciesByTheTabledFilters) {
  const auto gainDb = [](double frequencyHz) {
    const double w = 2.0 * std::numbers::pi * frequencyHz / 48000.0;
    const auto squared = [w](double c0, double c1, double c2) {
      const double re = c0 + c1 * std::cos(w) + c2 * std::cos(2 * w);
      const double im = c1 * std::sin(w) + c2 * std::sin(2 * w);
      return re * re + im * im;
    };
    const double shelf = squared(1.53512485958697, -2.69169618940638, 1.19839281085285) /
                         squared(1, -1.69065929318241, 0.73248077421585);
    const double highPass = squared(1, -2, 1) / squared(1, -1.99004745483398, 0.99007225036621);
    return 10.0 * std::log10(shelf * highPass) - 0.691;
  };
  for (const double frequencyHz : {40.0, 100.0, 500.0, 2000.0, 8000.0}) {
    const std::vector<float> tone = sine(frequencyHz, -20, 5, 48000);
    EXPECT_NEAR(loudnessOf(tone, tone, 48000), -20.0 + gainDb(frequencyHz), kReadingDb) << frequencyHz;
    const std::vector<float> slower = sine(frequencyHz, -20, 5, 44100);
    EXPECT_NEAR(loudnessOf(slower, slower, 44100), -20.0 + gainDb(frequencyHz), 0.05) << frequencyHz;
  }
}

TEST(LoudnessMeter, LeavesOutSilence) {
  std::vector<float> tone = sine(997, -20, 10, 48000);
  tone.resize(tone.size() * 3);

  // Three blocks of four reach over the tone's end; they read 1.2, 3 and 6 dB less.
  const double mean = (97 + 0.75 + 0.5 + 0.25) / 100;
  EXPECT_NEAR(loudnessOf(tone, tone, 48000), -20.0 + 10 * std::log10(mean), kReadingDb);
}

TEST(LoudnessMeter, LeavesOutWhatIsMoreThanTenUnitsBelowTheMean) {
  std::vector<float> tone = sine(997, -20, 10, 48000);
  const std::vector<float> soft = sine(997, -40, 10, 48000);
  tone.insert(tone.end(), soft.begin(), soft.end());

  // Of the three blocks that reach over the change all are within ten units of the mean.
  const double softer = 0.01;
  const double mean = (97 + 0.75 + 0.5 + 0.25 + 1.5 * softer) / 100;
  EXPECT_NEAR(loudnessOf(tone, tone, 48000), -20.0 + 10 * std::log10(mean), kReadingDb);
}

TEST(LoudnessMeter, ReadsTheSameInPieces) {
  const std::vector<float> tone = sine(440, -12, 3, 44100);
  LoudnessMeter meter(44100);

  for (std::size_t i = 0; i < tone.size(); i += 7) {
    const std::size_t count = std::min<std::size_t>(7, tone.size() - i);
    meter.add(tone.data() + i, tone.data() + i, count);
  }

  EXPECT_EQ(meter.integratedLufs(), loudnessOf(tone, tone, 44100));
}

TEST(LoudnessMeter, ReadsMinusInfinityForSilenceAndForLessThanABlock) {
  constexpr double kNothing = -std::numeric_limits<double>::infinity();
  const std::vector<float> silence(48000);
  const std::vector<float> brief = sine(997, 0, 0.39, 48000);

  EXPECT_EQ(loudnessOf(silence, silence, 48000), kNothing);
  EXPECT_EQ(loudnessOf(brief, brief, 48000), kNothing);
  EXPECT_EQ(loudnessOf({}, {}, 48000), kNothing);
}

}  // namespace
}  // namespace morv::cli
