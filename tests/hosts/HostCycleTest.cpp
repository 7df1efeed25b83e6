#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "hosts/HostCycle.h"
#include "tests/hosts/WritingUnit.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HostCycleTest : public testing::Test {
 protected:
  using Bytes = std::vector<std::uint8_t>;

  void begin(std::uint32_t frames) {
    left_.assign(frames, 0.0F);
    right_.assign(frames, 0.0F);
    cycle_.begin(frames, left_.data(), right_.data());
  }
  void note(std::uint32_t frame, std::uint8_t number) { cycle_.addMidi(frame, Bytes{0x90, number, 100}); }
  std::vector<std::uint32_t> lengths() const {
    std::vector<std::uint32_t> lengths;
    for (const auto& block : unit_.blocks) lengths.push_back(block.frames);
    return lengths;
  }

  UnitSurroundings surroundings_;
  WritingUnit unit_{surroundings_};
  HostCycle cycle_{unit_};
  std::vector<float> left_;
  std::vector<float> right_;
};

TEST_F(HostCycleTest, CutsACycleIntoBlocksWhateverHappensInIt) {
  begin(200);
  note(10, 60);
  note(70, 61);
  note(130, 62);
  cycle_.end();
  EXPECT_THAT(lengths(), ElementsAre(64, 64, 64, 8));
  EXPECT_EQ(cycle_.position(), 200U);
}

TEST_F(HostCycleTest, GivesEachBlockTheEventsOfItsOwnFrames) {
  begin(192);
  note(0, 1);
  note(63, 2);
  note(64, 3);
  note(191, 4);
  cycle_.end();
  ASSERT_EQ(unit_.blocks.size(), 3U);
  EXPECT_THAT(unit_.blocks[0].notes, ElementsAre(1, 2));
  EXPECT_THAT(unit_.blocks[1].notes, ElementsAre(3));
  EXPECT_THAT(unit_.blocks[2].notes, ElementsAre(4));
}

TEST_F(HostCycleTest, GoesOnInTimeFromCycleToCycle) {
  begin(64);
  cycle_.end();
  begin(0);
  cycle_.end();
  begin(10);
  note(3, 60);
  cycle_.end();
  ASSERT_EQ(unit_.blocks.size(), 2U);
  EXPECT_EQ(unit_.blocks[1].sampleTime, 64.0);
  EXPECT_THAT(unit_.blocks[1].times, ElementsAre(67));
}

TEST_F(HostCycleTest, KeepsWhatFallsIntoACycleWithoutFramesForTheNextOne) {
  begin(0);
  note(5, 60);
  cycle_.end();
  EXPECT_THAT(unit_.blocks, IsEmpty());
  begin(64);
  cycle_.end();
  ASSERT_EQ(unit_.blocks.size(), 1U);
  EXPECT_THAT(unit_.blocks[0].notes, ElementsAre(60));
  EXPECT_THAT(unit_.blocks[0].times, ElementsAre(0));
}

TEST_F(HostCycleTest, PutsWhatLiesBehindTheEndIntoTheLastBlock) {
  begin(100);
  note(1000, 60);
  cycle_.end();
  ASSERT_EQ(unit_.blocks.size(), 2U);
  EXPECT_THAT(unit_.blocks[1].notes, ElementsAre(60));
  EXPECT_THAT(unit_.blocks[1].times, ElementsAre(99));
}

TEST_F(HostCycleTest, TellsTheTempoFromTheBlockOnThatHoldsIt) {
  begin(192);
  cycle_.addTempo(64 + 5, 90.0);
  cycle_.end();
  ASSERT_EQ(unit_.blocks.size(), 3U);
  EXPECT_FALSE(unit_.blocks[0].tempo.has_value());
  EXPECT_EQ(unit_.blocks[1].tempo, 90.0);
  EXPECT_EQ(unit_.blocks[2].tempo, 90.0);
}

TEST_F(HostCycleTest, PassesOverATempoThatIsNone) {
  begin(64);
  cycle_.addTempo(0, 90.0);
  for (const double none :
       {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    cycle_.addTempo(0, none);
  }
  cycle_.end();
  EXPECT_EQ(unit_.blocks.at(0).tempo, 90.0);
}

TEST_F(HostCycleTest, PassesOverWhatIsNoWholeChannelMessage) {
  begin(64);
  for (const Bytes& message : std::vector<Bytes>{{},
                                                 {0x90, 60},
                                                 {0x90, 60, 100, 0},
                                                 {60, 100, 0},
                                                 {0x90, 0x80, 100},
                                                 {0x90, 60, 0xFF},
                                                 {0xC0, 1, 2},
                                                 {0xF0, 1, 0xF7},
                                                 {0xF8}}) {
    cycle_.addMidi(0, message);
  }
  cycle_.addMidi(0, Bytes{0xC0, 7});
  cycle_.addMidi(0, Bytes{0xE3, 8, 64});
  cycle_.end();
  EXPECT_THAT(unit_.blocks.at(0).notes, ElementsAre(7, 8));
}

TEST_F(HostCycleTest, CountsTheEventsThatABlockCannotHold) {
  begin(64);
  for (std::size_t i = 0; i < HostCycle::kEventsInBlock + 3; ++i) note(0, 60);
  cycle_.end();
  EXPECT_EQ(unit_.blocks.at(0).notes.size(), HostCycle::kEventsInBlock);
  EXPECT_EQ(cycle_.droppedEvents(), 3U);
}

TEST_F(HostCycleTest, RendersAheadOfAChangeUpToTheBlockThatHoldsIt) {
  begin(256);
  cycle_.renderUpTo(130);
  EXPECT_THAT(lengths(), ElementsAre(64, 64));
  cycle_.renderUpTo(20);
  EXPECT_THAT(lengths(), ElementsAre(64, 64));
  cycle_.end();
  EXPECT_THAT(lengths(), ElementsAre(64, 64, 64, 64));
}

}  // namespace
}  // namespace morv
