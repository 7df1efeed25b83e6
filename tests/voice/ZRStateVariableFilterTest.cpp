#include <gtest/gtest.h>

#include <cmath>

#include "tests/voice/FilterTesting.h"
#include "voice/ZRStateVariableFilter.h"

namespace morv {
namespace {

using testing::filterGainDb;
using testing::makeNoise;
using testing::runInBlocks;

TEST(ZRStateVariableFilter, MatchesThePlainChamberlinForm) {
  constexpr double kTolerance = 1e-5;  // float states, a ringing of some hundred samples
  const auto in = makeNoise(1000);
  for (const float resonance : {0.0F, 0.3F, 1.0F}) {
    ZRStateVariableFilter filter(44100.0F);
    filter.filterCutoff = 0.2F;
    filter.filterResonance = resonance;
    const auto out = runInBlocks(filter, in, in, 64);

    const double m =
        std::sqrt(1 - 2 * std::atan(std::sqrt(100.0 * static_cast<double>(resonance))) / std::numbers::pi);
    double low = 0;
    double band = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
      low += 0.2 * band;
      band += 0.2 * (std::sqrt(m) * static_cast<double>(in[i]) - low - m * band);
      ASSERT_NEAR(out.left[i], low, kTolerance) << resonance << " " << i;
    }
    EXPECT_EQ(out.left, out.right);
    EXPECT_FLOAT_EQ(filter.notch, filter.high + filter.low);
  }
}

TEST(ZRStateVariableFilter, ResonanceLowersTheGainAtDc) {
  ZRStateVariableFilter filter(44100.0F);
  filter.filterCutoff = 0.3F;
  EXPECT_NEAR(filterGainDb(filter, 10, 44100), 0.0, 0.05);

  filter.filterResonance = 1.0F;
  const double m = std::sqrt(1 - 2 * std::atan(10.0) / std::numbers::pi);
  EXPECT_NEAR(filterGainDb(filter, 10, 44100), 20 * std::log10(std::sqrt(m)), 0.05);
}

TEST(ZRStateVariableFilter, RunsInPlaceWithoutSecondChannelAndInAnyBlockSize) {
  const auto in = makeNoise(256);
  ZRStateVariableFilter whole(44100.0F);
  whole.filterCutoff = 0.2F;
  const auto expected = runInBlocks(whole, in, in, 256);
  ZRStateVariableFilter filter(44100.0F);
  filter.filterCutoff = 0.2F;
  auto samples = in;

  for (int at = 0; at < 256; at += 8)
    filter.runFilter(samples.data() + at, nullptr, samples.data() + at, nullptr, 8);

  EXPECT_EQ(samples, expected.left);
}

TEST(ZRStateVariableFilter, ResetEqualsFresh) {
  const auto in = makeNoise(64);
  ZRStateVariableFilter filter(44100.0F);
  filter.filterCutoff = 0.2F;
  const auto first = runInBlocks(filter, in, in, 64);

  filter.reset();

  EXPECT_EQ(runInBlocks(filter, in, in, 64).left, first.left);
}

}  // namespace
}  // namespace morv
