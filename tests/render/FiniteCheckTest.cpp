#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "render/FiniteCheck.h"

namespace morv {
namespace {

using Limits = std::numeric_limits<float>;

constexpr float kBad[] = {Limits::quiet_NaN(), -Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity()};
constexpr float kGood[] = {
    0.0F, -0.0F, 1.0F, Limits::max(), -Limits::max(), Limits::min(), Limits::denorm_min()};

TEST(FiniteCheck, FindsASampleThatIsNoNumberAtAnyPlaceOfAnyLength) {
  for (const int frames : {1, 2, 7, 8, 15, 16, 33, 64}) {
    for (int at = 0; at < frames; ++at) {
      for (const float bad : kBad) {
        std::vector<float> samples(static_cast<std::size_t>(frames), 0.5F);
        const std::vector<float> others(samples);
        samples[static_cast<std::size_t>(at)] = bad;

        EXPECT_FALSE(areFinite(samples.data(), frames));
        EXPECT_FALSE(areFinite(samples.data(), others.data(), frames));
        EXPECT_FALSE(areFinite(others.data(), samples.data(), frames));
        EXPECT_TRUE(areFinite(others.data(), others.data(), frames));
        EXPECT_TRUE(areFinite(samples.data(), at));
      }
    }
  }
}

TEST(FiniteCheck, LetsEveryNumberPass) {
  for (const float good : kGood) {
    const std::vector<float> samples(19, good);

    EXPECT_TRUE(areFinite(samples.data(), 19));
    EXPECT_TRUE(areFinite(samples.data(), samples.data(), 19));
    EXPECT_TRUE(areNumbers(good, 1.0F, static_cast<double>(good)));
  }
  EXPECT_TRUE(areFinite(nullptr, 0));
}

TEST(FiniteCheck, MendsWhatIsNoNumberAlone) {
  for (const float bad : kBad) {
    float mended = bad;
    double wide = static_cast<double>(bad);
    mendNumber(mended, 0.25F);
    mendNumber(wide, 0.5);

    EXPECT_FALSE(areNumbers(0.0F, bad));
    EXPECT_EQ(mended, 0.25F);
    EXPECT_EQ(wide, 0.5);
  }
  for (float good : kGood) {
    const float before = good;
    mendNumber(good, 0.25F);
    EXPECT_EQ(good, before);
  }
}

}  // namespace
}  // namespace morv
