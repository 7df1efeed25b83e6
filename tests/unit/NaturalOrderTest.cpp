#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "unit/NaturalOrder.h"

namespace morv {
namespace {

TEST(NaturalOrder, ComparesNumbersAsNumbersAndLettersWithoutCase) {
  std::vector<std::string> names = {"Pad 10", "pad 2",    "Pad 2b",  "bass",
                                    "Pad",    "Bass 007", "Bass 7a", "Pad 1"};

  std::sort(names.begin(), names.end(), isNaturallyBefore);

  EXPECT_THAT(names, testing::ElementsAre("bass", "Bass 007", "Bass 7a", "Pad", "Pad 1", "pad 2", "Pad 2b",
                                          "Pad 10"));
}

TEST(NaturalOrder, IsAnOrder) {
  EXPECT_FALSE(isNaturallyBefore("a", "a"));
  EXPECT_TRUE(isNaturallyBefore("A", "a"));
  EXPECT_FALSE(isNaturallyBefore("a", "A"));
  EXPECT_TRUE(isNaturallyBefore("", "a"));
  EXPECT_TRUE(isNaturallyBefore("7", "07") != isNaturallyBefore("07", "7"));
  EXPECT_TRUE(isNaturallyBefore("99999999999999999999998", "99999999999999999999999"));
}

}  // namespace
}  // namespace morv
