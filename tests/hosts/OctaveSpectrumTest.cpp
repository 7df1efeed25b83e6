#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "hosts/cli/OctaveSpectrum.h"

namespace morv::cli {
namespace {

constexpr double kRateHz = 44100.0;
// The start of a tone is a small part of a second.
constexpr double kStartDb = 0.1;

OctaveSpectrum::Levels levelsOf(const std::vector<double>& frequenciesHz) {
  std::vector<float> samples(static_cast<std::size_t>(2 * kRateHz));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    for (const double each : frequenciesHz) {
      samples[i] +=
          static_cast<float>(0.1 * std::sin(2 * std::numbers::pi * each * static_cast<double>(i) / kRateHz));
    }
  }
  OctaveSpectrum spectrum(kRateHz);
  spectrum.add(samples.data(), samples.data(), samples.size());
  return spectrum.levelsDb();
}

// Squared magnitude of a band-pass with Q = sqrt(2) twice in a row, `octaves` from its centre; the bilinear
// transform bends it where the frequency is near half the rate.
double twoBandPassesDb(double octaves) {
  const double x = std::exp2(octaves) - std::exp2(-octaves);
  return -20.0 * std::log10(1.0 + 2.0 * x * x);
}

TEST(OctaveSpectrum, GivesAToneToItsOctaveAndLittleToTheNext) {
  const auto levels = levelsOf({500});

  double total = 0;
  for (int octave = -5; octave <= 4; ++octave) total += std::pow(10.0, twoBandPassesDb(octave) / 10.0);
  const double scaleDb = -10.0 * std::log10(total);
  EXPECT_NEAR(levels[4], scaleDb, kStartDb);
  EXPECT_NEAR(levels[3], scaleDb + twoBandPassesDb(1), kStartDb);
  EXPECT_NEAR(levels[5], scaleDb + twoBandPassesDb(1), kStartDb);
}

TEST(OctaveSpectrum, SharesOutEqualTonesEqually) {
  const auto levels = levelsOf({125, 2000});

  EXPECT_NEAR(levels[2], levels[6], kStartDb);
  EXPECT_NEAR(levels[2], -3.0, 1.0);
}

TEST(OctaveSpectrum, DoesNotDependOnTheLevelOrThePieces) {
  std::vector<float> samples(44100);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = (i / 50) % 2 == 0 ? 0.5F : -0.5F;
  std::vector<float> half = samples;
  for (float& each : half) each *= 0.5F;
  OctaveSpectrum whole(kRateHz);
  OctaveSpectrum soft(kRateHz);
  OctaveSpectrum pieces(kRateHz);

  whole.add(samples.data(), samples.data(), samples.size());
  soft.add(half.data(), half.data(), half.size());
  for (std::size_t i = 0; i < samples.size(); i += 441) pieces.add(&samples[i], &samples[i], 441);

  // Only the order of the sums differs.
  EXPECT_LT(OctaveSpectrum::distanceDb(whole.levelsDb(), pieces.levelsDb()), 1e-9);
  EXPECT_LT(OctaveSpectrum::distanceDb(whole.levelsDb(), soft.levelsDb()), 1e-9);
}

TEST(OctaveSpectrum, KeepsEmptyBandsAtTheFloor) {
  OctaveSpectrum spectrum(8000);
  const std::vector<float> silence(8000);
  spectrum.add(silence.data(), silence.data(), silence.size());
  for (const double level : spectrum.levelsDb()) EXPECT_EQ(level, OctaveSpectrum::kFloorDb);

  std::vector<float> click(8000);
  click[0] = 1;
  spectrum.add(click.data(), click.data(), click.size());
  EXPECT_EQ(spectrum.levelsDb()[7], OctaveSpectrum::kFloorDb);  // 4 kHz at a rate of 8 kHz
  EXPECT_GT(spectrum.levelsDb()[6], OctaveSpectrum::kFloorDb);
}

TEST(OctaveSpectrum, MeasuresTheRootMeanSquareOfDifferences) {
  OctaveSpectrum::Levels a{};
  OctaveSpectrum::Levels b{};
  b[0] = 3;
  b[9] = -4;

  EXPECT_DOUBLE_EQ(OctaveSpectrum::distanceDb(a, b), std::sqrt(2.5));
  EXPECT_EQ(OctaveSpectrum::distanceDb(a, a), 0);
}

}  // namespace
}  // namespace morv::cli
