#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/Random.h"

namespace morv {
namespace {

constexpr int kDraws = 100000;

TEST(Random, RepeatsItselfForTheSameSeedAndAfterReseeding) {
  Random first(7);
  Random second(1);
  second.nextBits();
  second.reseed(7);

  for (int i = 0; i < 100; ++i) ASSERT_EQ(first.nextBits(), second.nextBits());
}

TEST(Random, DrawsOtherwiseForAnotherSeed) {
  Random first(7);
  Random second(8);
  int equal = 0;

  for (int i = 0; i < 100; ++i) equal += first.nextBits() == second.nextBits() ? 1 : 0;

  EXPECT_LT(equal, 3);
}

TEST(Random, DrawsIntegersOf31BitsThatAreTheUnitDrawsBeforeTheirDivision) {
  Random integers(5);
  Random units(5);
  std::int32_t all = 0;

  for (int i = 0; i < 1000; ++i) {
    const std::int32_t draw = integers.integer31();
    ASSERT_GE(draw, 0);
    ASSERT_EQ(units.unit31(), static_cast<float>(draw) / 2147483648.0F);
    all |= draw;
  }

  EXPECT_EQ(all, 2147483647);
}

TEST(Random, FillsTheUnitRangeEvenly) {
  // 100000 draws over ten tenths: 10000 each, standard deviation 95.
  constexpr double kTolerance = 5 * 95.0;
  Random random(3);
  std::array<int, 10> floats{};
  std::array<int, 10> doubles{};

  for (int i = 0; i < kDraws; ++i) {
    const float single = random.unit31();
    const double wide = random.unitDouble();
    ASSERT_GE(single, 0.0F);
    ASSERT_LE(single, 1.0F);
    ASSERT_GE(wide, 0.0);
    ASSERT_LT(wide, 1.0);
    ++floats.at(std::min<std::size_t>(9, static_cast<std::size_t>(single * 10.0F)));
    ++doubles.at(static_cast<std::size_t>(wide * 10.0));
  }

  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_NEAR(floats.at(i), kDraws / 10, kTolerance);
    EXPECT_NEAR(doubles.at(i), kDraws / 10, kTolerance);
  }
}

TEST(Random, GivesEachOwnerBelowOneSeedASeedOfItsOwn) {
  EXPECT_NE(Random::derive(1, 0), Random::derive(1, 1));
  EXPECT_NE(Random::derive(1, 0), Random::derive(2, 0));
  EXPECT_EQ(Random::derive(5, 3), Random::derive(5, 3));
}

TEST(Random, SkippingLeavesOutThatManyDraws) {
  for (const int draws : {0, 1, 2, 3, 64, 1000, 12345}) {
    Random skipped(7);
    Random drawn(7);
    for (int i = 0; i < draws; ++i) drawn.nextBits();

    skipped.skip(static_cast<std::uint64_t>(draws));

    for (int i = 0; i < 5; ++i) ASSERT_EQ(skipped.nextBits(), drawn.nextBits()) << draws;
  }
}

}  // namespace
}  // namespace morv
