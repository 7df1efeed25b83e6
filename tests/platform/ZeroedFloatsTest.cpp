#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "platform/ZeroedFloats.h"

namespace morv {
namespace {

bool isZero(const ZeroedFloats& floats) {
  return std::all_of(floats.data(), floats.data() + floats.size(), [](float v) { return v == 0.0F; });
}

TEST(ZeroedFloats, AreZeroInEverySizeAndEveryTime) {
  for (const std::size_t count : {0U, 1U, 1000U, 16383U, 16384U, 300000U}) {
    for (int round = 0; round < 3; ++round) {
      ZeroedFloats floats(count);
      ASSERT_EQ(floats.size(), count);
      ASSERT_TRUE(isZero(floats)) << count;
      std::fill_n(floats.data(), count, 1.0F);
    }
  }
}

TEST(ZeroedFloats, MoveWithTheirContent) {
  for (const std::size_t count : {10U, 20000U}) {
    ZeroedFloats first(count);
    first[count - 1] = 5.0F;
    ZeroedFloats second(std::move(first));
    ZeroedFloats third(7);

    third = std::move(second);

    EXPECT_EQ(third.size(), count);
    EXPECT_EQ(third[count - 1], 5.0F);
  }
}

TEST(ZeroedFloats, HaveNothingUntilTheyAreMade) {
  const ZeroedFloats none;

  EXPECT_EQ(none.data(), nullptr);
  EXPECT_EQ(none.size(), 0U);
}

TEST(ZeroedFloats, RefuseWhatNoMachineHas) {
  EXPECT_THROW(ZeroedFloats{std::numeric_limits<std::size_t>::max()}, std::bad_alloc);
  EXPECT_THROW(ZeroedFloats{std::numeric_limits<std::size_t>::max() / 8}, std::bad_alloc);
}

}  // namespace
}  // namespace morv
