#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hosts/cli/NearestNames.h"

namespace morv::cli {
namespace {

using testing::ElementsAre;

TEST(NearestNames, CountsInsertedDroppedAndReplacedLetters) {
  EXPECT_EQ(editDistance("volume", "volume"), 0U);
  EXPECT_EQ(editDistance("", "abc"), 3U);
  EXPECT_EQ(editDistance("abc", ""), 3U);
  EXPECT_EQ(editDistance("kitten", "sitting"), 3U);
  EXPECT_EQ(editDistance("flaw", "lawn"), 2U);
}

TEST(NearestNames, TakesCapitalsForSmallLetters) {
  EXPECT_EQ(editDistance("FILTERcutoff", "filterCutoff"), 0U);
}

TEST(NearestNames, ListsTheNearestFirstAndTiesInTheirOrder) {
  EXPECT_THAT(nearestNames("oscWav", {"lfoShape", "oscWave", "oscSub", "oscSaw"}),
              ElementsAre("oscWave", "oscSaw", "oscSub"));
  EXPECT_THAT(nearestNames("x", {"b", "a"}), ElementsAre("b", "a"));
  EXPECT_TRUE(nearestNames("x", {}).empty());
}

TEST(NearestNames, ListsEachNameOnce) {
  EXPECT_THAT(nearestNames("deep", {"Deep", "Deep", "Deer", "Deep", "Beer"}),
              ElementsAre("Deep", "Deer", "Beer"));
}

TEST(NearestNames, JoinsNamesForAMessage) {
  EXPECT_EQ(joined({"a", "b"}), "a, b");
  EXPECT_EQ(joined({}), "");
}

}  // namespace
}  // namespace morv::cli
