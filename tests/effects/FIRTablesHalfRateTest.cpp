// The filters behind what runs at half the rate.

#include <gtest/gtest.h>

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
  double minus3dB;  // parts of the sample rate
  double rippleDb;  // of the pass band, from peak to peak
  double passEdge;  // parts of the sample rate
  double rejectionDb;
};

constexpr std::array<Table, 2> kTables = {{
    {"Spring", BSpring, BLSpring, 49, 0.9132, 0.220710, 1.52, 9400.0 / 44100.0, -55.0},
    {"LoFi", BLoFi, BLLoFi, 113, 0.9423, 0.237285, 1.01, 10300.0 / 44100.0, -54.0},
}};

class FIRTablesHalfRate : public testing::TestWithParam<Table> {};

double gain(const Table& table, double frequency) {
  double sum = 0;
  for (int n = 0; n < table.length; ++n) {
    sum += static_cast<double>(table.taps[n]) *
           std::cos(2.0 * std::numbers::pi * frequency * (n - 0.5 * (table.length - 1)));
  }
  return std::abs(sum);
}

TEST_P(FIRTablesHalfRate, HasItsLengthAndSumAndIsSymmetric) {
  const Table& table = GetParam();

  ASSERT_EQ(table.length, table.expectedLength);
  EXPECT_NEAR(gain(table, 0), table.sum, 5e-5);  // as far as the sum is known
  for (int n = 0; n < table.length / 2; ++n) EXPECT_EQ(table.taps[n], table.taps[table.length - 1 - n]);
}

TEST_P(FIRTablesHalfRate, ItsPassBandRipplesAroundOne) {
  const Table& table = GetParam();
  const double peak = std::pow(10.0, table.rippleDb / 40.0);

  for (double f = 0; f <= table.passEdge; f += 0.0005) {
    ASSERT_LT(gain(table, f), peak) << f;
    ASSERT_GT(gain(table, f), 1 / peak * 0.99) << f;  // the ripple is even in steps, not in dB
  }
}

TEST_P(FIRTablesHalfRate, IsDownByAQuarterOfTheRateAndStaysThere) {
  const Table& table = GetParam();
  const double level = std::pow(10.0, table.rejectionDb / 20.0);

  EXPECT_NEAR(gain(table, table.minus3dB), table.sum * std::sqrt(0.5), 1e-4);
  for (double f = 0.25; f <= 0.5; f += 0.0005) ASSERT_LT(gain(table, f), level) << f;
}

INSTANTIATE_TEST_SUITE_P(Both, FIRTablesHalfRate, testing::ValuesIn(kTables),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace morv
