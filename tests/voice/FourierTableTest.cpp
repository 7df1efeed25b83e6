#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/voice/HarmonicTesting.h"
#include "voice/FourierTable.h"

namespace morv {
namespace {

using testing::harmonicsOf;
using testing::lanczos;

constexpr int kSize = 256;
constexpr double kRounding = 2e-6;  // sums of floats around one

using Table = std::array<float, kSize>;
using Table16 = std::array<std::int16_t, kSize>;

TEST(FourierTable, HarmonicsHaveTheirAmplitudesLanczosFactorsAndPhase) {
  constexpr std::array<float, 6> kAmplitudes = {1.0F, 0.5F, 0.0F, -0.3F, 0.2F, 0.9F};
  constexpr double kPhase = 0.1;
  Table table;
  table.fill(7.0F);

  fourierTableFloat(6, kAmplitudes.data(), kSize, table.data(), 1, static_cast<float>(kPhase));

  const auto spectrum = harmonicsOf(table.data(), kSize);
  const double scale = std::abs(spectrum[1]) / lanczos(1, 6);
  EXPECT_NEAR(std::abs(spectrum[0]), 0.0, kRounding);
  for (int k = 1; k <= kSize / 2; ++k) {
    const auto i = static_cast<std::size_t>(k);
    const double expected = k <= 6 ? scale * lanczos(k, 6) * static_cast<double>(kAmplitudes[i - 1]) : 0.0;
    const std::complex<double> wanted = std::polar(1.0, 2.0 * std::numbers::pi * kPhase) * expected;
    EXPECT_NEAR(std::abs(spectrum[i] - wanted), 0.0, kRounding) << k;
  }
  EXPECT_EQ(*std::max_element(table.begin(), table.end()), 1.0F);
}

TEST(FourierTable, TheLastHarmonicIsTakenOutByItsFactor) {
  Table table{};
  fourierTableFloat(4, nullptr, kSize, table.data(), 1, 0.0F);

  const auto spectrum = harmonicsOf(table.data(), kSize);

  EXPECT_NEAR(std::abs(spectrum[2]) / std::abs(spectrum[1]), lanczos(2, 4) / lanczos(1, 4), kRounding);
  EXPECT_NEAR(std::abs(spectrum[3]) / std::abs(spectrum[1]), lanczos(3, 4) / lanczos(1, 4), kRounding);
  EXPECT_NEAR(std::abs(spectrum[4]), 0.0, kRounding);
}

TEST(FourierTable, TheAngleIsRoundedToSinglePrecision) {
  constexpr int kHarmonic = 100;
  std::array<float, 128> amplitudes{};
  amplitudes[kHarmonic - 1] = 1.0F;
  Table table{};
  fourierTableFloat(128, amplitudes.data(), kSize, table.data(), 1, 0.25F);

  double peak = 0;
  std::array<double, kSize> expected{};
  for (int n = 0; n < kSize; ++n) {
    const double angle = kHarmonic * 2.0 * n * std::numbers::pi / kSize + 2.0 * std::numbers::pi * 0.25;
    const double c = std::cos(static_cast<double>(static_cast<float>(angle)));
    expected[static_cast<std::size_t>(n)] = c;
    peak = std::max(peak, c);
  }

  for (std::size_t n = 0; n < expected.size(); ++n) EXPECT_NEAR(table[n], expected[n] / peak, 3e-7) << n;
}

TEST(FourierTable, WithoutClearingTheHarmonicsJoinWhatTheTableHolds) {
  Table table;
  table.fill(1.0F);

  fourierTableFloat(2, nullptr, kSize, table.data(), 0, 0.0F);

  const auto spectrum = harmonicsOf(table.data(), kSize);
  EXPECT_NEAR(std::abs(spectrum[1]) / std::abs(spectrum[0]), lanczos(1, 2), kRounding);
  EXPECT_EQ(*std::max_element(table.begin(), table.end()), 1.0F);
}

TEST(FourierTable, NormalisingDividesByTheLargestValueAndIgnoresNegativePeaks) {
  std::array<float, 4> table = {0.5F, -8.0F, 2.0F, 1.0F};

  normalise_table(table.data(), 4, 100.0F);

  EXPECT_EQ(table, (std::array{0.25F, -4.0F, 1.0F, 0.5F}));
}

TEST(FourierTable, NormalisingATableWithoutAPositiveValueDoesNothing) {
  std::array<float, 3> negative = {-0.5F, -8.0F, 0.0F};
  std::array<float, 3> silent{};

  normalise_table(negative.data(), 3, 1.0F);
  normalise_table(silent.data(), 3, 1.0F);

  EXPECT_EQ(negative, (std::array{-0.5F, -8.0F, 0.0F}));
  EXPECT_EQ(silent, (std::array<float, 3>{}));
}

TEST(FourierTable, SixteenBitTablesHoldTheSameAtFullScaleWithinTheirRange) {
  Table table{};
  Table16 shorts;
  shorts.fill(1234);
  fourierTableFloat(5, nullptr, kSize, table.data(), 1, 0.3F);

  fourierTableInt16(5, nullptr, kSize, shorts.data(), 1, 0.3F);

  // At this phase the negative peaks are the higher ones.
  for (std::size_t n = 0; n < table.size(); ++n)
    EXPECT_NEAR(shorts[n], std::max(static_cast<double>(table[n]) * 32767.0, -32768.0), 1.0) << n;
  EXPECT_EQ(*std::max_element(shorts.begin(), shorts.end()), 32767);
  EXPECT_EQ(*std::min_element(shorts.begin(), shorts.end()), -32768);
}

TEST(FourierTable, SixteenBitTablesWithoutClearingAddToWhatTheyHold) {
  Table16 shorts;
  shorts.fill(32767);
  fourierTableInt16(1, nullptr, kSize, shorts.data(), 0, 0.0F);

  // The only harmonic is taken out by its factor, so the mean stands alone.
  for (const std::int16_t value : shorts) EXPECT_NEAR(value, 32767, 1);
}

TEST(FourierTable, HarmonicsAreAddedToShortsWithoutNormalisingAndHeldInSixteenBits) {
  constexpr std::array<float, 2> kQuarter = {0.25F, 0.0F};
  constexpr std::array<float, 2> kTen = {10.0F, 0.0F};
  Table16 shorts;
  shorts.fill(1000);
  Table16 full{};

  fourierTableInt16AddHarmonics(2, kQuarter.data(), kSize, shorts.data(), 0.0F);
  fourierTableInt16AddHarmonics(2, kTen.data(), kSize, full.data(), 0.0F);

  for (int n = 0; n < kSize; ++n) {
    const double c = std::cos(2.0 * std::numbers::pi * n / kSize);
    EXPECT_NEAR(shorts[static_cast<std::size_t>(n)], 1000 + 0.25 * lanczos(1, 2) * 32767.0 * c, 1.01);
  }
  EXPECT_EQ(full[0], 32767);
  EXPECT_EQ(full[kSize / 2], -32768);
}

}  // namespace
}  // namespace morv
