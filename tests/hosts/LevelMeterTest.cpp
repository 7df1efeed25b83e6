#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "hosts/cli/LevelMeter.h"

namespace morv::cli {
namespace {

constexpr double kRounding = 1e-9;  // decibels; the levels here are sums of few exact numbers

TEST(LevelMeter, ReadsSilenceAsMinusInfinity) {
  LevelMeter meter;
  EXPECT_TRUE(std::isinf(meter.peakDb()) && meter.peakDb() < 0);
  EXPECT_TRUE(std::isinf(meter.rmsDb()) && meter.rmsDb() < 0);

  const std::vector<float> silence(64, 0.0F);
  meter.add(silence.data(), silence.size());

  EXPECT_TRUE(std::isinf(meter.peakDb()) && meter.peakDb() < 0);
  EXPECT_TRUE(std::isinf(meter.rmsDb()) && meter.rmsDb() < 0);
}

TEST(LevelMeter, MeasuresPeakAndRootMeanSquareOverAllThatPasses) {
  LevelMeter meter;
  const std::vector<float> left(100, 0.5F);
  const std::vector<float> right(100, -0.25F);

  meter.add(left.data(), left.size());
  meter.add(right.data(), right.size());

  EXPECT_NEAR(meter.peakDb(), 20.0 * std::log10(0.5), kRounding);
  EXPECT_NEAR(meter.rmsDb(), 10.0 * std::log10((0.25 + 0.0625) / 2.0), kRounding);
}

TEST(LevelMeter, TakesANegativePeakForWhatItIs) {
  LevelMeter meter;
  const float sample = -2.0F;

  meter.add(&sample, 1);

  EXPECT_NEAR(meter.peakDb(), 20.0 * std::log10(2.0), kRounding);
}

}  // namespace
}  // namespace morv::cli
