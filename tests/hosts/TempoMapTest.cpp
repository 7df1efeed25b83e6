#include <gtest/gtest.h>

#include "hosts/cli/TempoMap.h"

namespace morv::cli {
namespace {

TEST(TempoMap, RunsAtHalfASecondPerQuarterUntilToldOtherwise) {
  const TempoMap map = TempoMap::ofQuarterNotes(480);

  EXPECT_EQ(map.secondsAt(0), 0.0);
  EXPECT_EQ(map.secondsAt(480), 0.5);
  EXPECT_EQ(map.secondsAt(4800), 5.0);
  EXPECT_EQ(map.changes().front().tempo, 120.0);
}

TEST(TempoMap, LetsTheLaterOfTwoChangesAtOneTickCount) {
  TempoMap map = TempoMap::ofQuarterNotes(100);
  map.addChange(0, 250000);
  map.addChange(0, 1000000);
  map.addChange(100, 250000);
  map.addChange(100, 2000000);

  EXPECT_EQ(map.secondsAt(100), 1.0);
  EXPECT_EQ(map.secondsAt(200), 3.0);
  EXPECT_EQ(map.changes().size(), 2U);
}

TEST(TempoMap, AnswersTicksBetweenChanges) {
  TempoMap map = TempoMap::ofQuarterNotes(100);
  map.addChange(100, 1000000);
  map.addChange(200, 100000);

  EXPECT_EQ(map.secondsAt(50), 0.25);
  EXPECT_EQ(map.secondsAt(150), 1.0);
  EXPECT_EQ(map.secondsAt(300), 1.6);
}

TEST(TempoMap, DoesNotDriftOverThousandsOfChanges) {
  // 5000 quarters that differ by a microsecond each: the sum of 500000 to 504999 microseconds.
  TempoMap map = TempoMap::ofQuarterNotes(96);
  for (int i = 0; i < 5000; ++i) map.addChange(96 * i, static_cast<std::uint32_t>(500000 + i));

  EXPECT_DOUBLE_EQ(map.secondsAt(96 * 5000), (500000.0 * 5000 + 4999.0 * 2500) / 1e6);
}

TEST(TempoMap, KeepsTicksOfSecondsFreeOfTheTempo) {
  TempoMap map = TempoMap::ofSeconds(1000.0);
  map.addChange(500, 1000000);

  EXPECT_EQ(map.secondsAt(2000), 2.0);
  EXPECT_EQ(map.changes().back().seconds, 0.5);
  EXPECT_EQ(map.changes().back().tempo, 60.0);
}

}  // namespace
}  // namespace morv::cli
