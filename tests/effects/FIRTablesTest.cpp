#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "effects/FIRTables.h"

namespace morv {
namespace {

struct Table {
  const char* name;
  const float* taps;
  int length;
  int expectedLength;
  double sum;
  double centre;
  double minus3dB;   // parts of the sample rate
  double minus60dB;  // likewise
  double rate;       // Hz
  double rejectionDb;
};

constexpr std::array<Table, 4> kTables = {{
    {"B2x", B2x, BL2x, 169, 0.99397, 0.47013104, 0.2334, 0.2480, 88200, -95},
    {"B4x", B4x, BL4x, 301, 0.99920, 0.23809229, 0.1182, 0.1250, 176400, -61.5},
    {"B8x", B8x, BL8x, 674, 1.00601, 0.11687520, 0.0586, 0.0625, 352800, -95},
    {"B8x2", B8x2, BL8x2, 763, 1.00424, 0.10809512, 0.0537, 0.0576, 384000, -95},
}};

// The response points are those of a measurement at every 1024th of the sample rate, given to four digits:
// each is the first at which the response has fallen so far.
constexpr int kMeasuringPoints = 1024;
constexpr double kPrintedDigits = 0.00005;

class FIRTables : public testing::TestWithParam<Table> {};

// Gain at a frequency in parts of the sample rate, against that at 0.
double gain(const Table& table, double frequency) {
  double sum = 0;
  double all = 0;
  for (int n = 0; n < table.length; ++n) {
    const double c = static_cast<double>(table.taps[n]);
    sum += c * std::cos(2.0 * std::numbers::pi * frequency * (n - 0.5 * (table.length - 1)));
    all += c;
  }
  return std::abs(sum / all);
}

int firstPointBelow(const Table& table, double level) {
  int k = 0;
  while (gain(table, static_cast<double>(k) / kMeasuringPoints) > level) ++k;
  return k;
}

TEST_P(FIRTables, HasItsLengthAndIsSymmetric) {
  const Table& table = GetParam();

  ASSERT_EQ(table.length, table.expectedLength);
  for (int n = 0; n < table.length / 2; ++n) {
    EXPECT_EQ(table.taps[n], table.taps[table.length - 1 - n]) << n;
  }
}

TEST_P(FIRTables, HasItsSumAndCentre) {
  const Table& table = GetParam();
  double sum = 0;
  for (int n = 0; n < table.length; ++n) sum += static_cast<double>(table.taps[n]);

  EXPECT_NEAR(sum, table.sum, 5e-6);  // as far as the sum is known
  EXPECT_NEAR(table.taps[table.length / 2], table.centre,
              1e-8);  // a float's step at the greatest of them is 3e-8
  EXPECT_EQ(*std::max_element(table.taps, table.taps + table.length), table.taps[table.length / 2]);
}

TEST_P(FIRTables, FallsBy3And60dBWhereItIsMeasured) {
  const Table& table = GetParam();

  EXPECT_NEAR(firstPointBelow(table, std::sqrt(0.5)) / 1024.0, table.minus3dB, kPrintedDigits);
  EXPECT_NEAR(firstPointBelow(table, 0.001) / 1024.0, table.minus60dB, kPrintedDigits);
}

TEST_P(FIRTables, StaysBelow60dBBehindThatPoint) {
  const Table& table = GetParam();
  const double step = 0.1 / table.length;

  for (double f = table.minus60dB; f <= 0.5; f += step) ASSERT_LT(gain(table, f), 0.001) << f;
}

TEST_P(FIRTables, PassesEverythingTo20kHzWithinATenthOfADecibel) {
  const Table& table = GetParam();
  constexpr double kRipple = 0.0125;  // 0.1 dB from peak to peak, and 1e-3 for rounding and the grid
  const double step = 0.1 / table.length;

  for (double f = 0; f <= 20000.0 / table.rate; f += step) ASSERT_NEAR(gain(table, f), 1.0, kRipple) << f;
}

TEST_P(FIRTables, RejectsEverythingFrom22kHz) {
  const Table& table = GetParam();
  const double step = 0.1 / table.length;
  const double level = std::pow(10.0, table.rejectionDb / 20.0);

  for (double f = 22000.0 / table.rate; f <= 0.5; f += step) ASSERT_LT(gain(table, f), level) << f;
}

INSTANTIATE_TEST_SUITE_P(All, FIRTables, testing::ValuesIn(kTables),
                         [](const auto& row) { return row.param.name; });

TEST(FIRTablesDesign, BeginsWithTheExpectedTaps) {
  // To half a unit of the last digit that is known, and a float's step.
  EXPECT_NEAR(B2x[0], -0.0000960359, 1e-10);
  EXPECT_NEAR(B2x[1], -0.00049766665, 5e-11);
  EXPECT_NEAR(B2x[2], -0.0010969753, 1e-10);
  EXPECT_NEAR(B2x[3], -0.0013228554, 1e-10);
}

}  // namespace
}  // namespace morv
