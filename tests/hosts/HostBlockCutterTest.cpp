#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "hosts/HostBlockCutter.h"
#include "tests/hosts/WritingUnit.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

using testing::ElementsAre;

class HostBlockCutterTest : public testing::Test {
 protected:
  static AURenderEvent note(AUEventSampleTime time, std::uint8_t number) {
    AURenderEvent event{};
    event.MIDI = {nullptr, time, AURenderEventMIDI, 3, 0, {0x90, number, 100}};
    return event;
  }
  std::vector<std::uint32_t> frames() const {
    std::vector<std::uint32_t> list;
    for (const auto& block : unit_.blocks) list.push_back(block.frames);
    return list;
  }

  UnitSurroundings around_;
  WritingUnit unit_{around_};
  std::vector<float> left_ = std::vector<float>(1024, -1.0F);
  std::vector<float> right_ = std::vector<float>(1024, -1.0F);
};

TEST_F(HostBlockCutterTest, CutsACycleIntoBlocksOf64AndAShorterRest) {
  HostBlockCutter cutter(unit_);

  cutter.render(1000, 150, left_.data(), right_.data(), {});

  EXPECT_THAT(frames(), ElementsAre(64, 64, 22));
  EXPECT_EQ(unit_.blocks[0].sampleTime, 1000.0);
  EXPECT_EQ(unit_.blocks[1].sampleTime, 1064.0);
  EXPECT_EQ(unit_.blocks[2].sampleTime, 1128.0);
}

TEST_F(HostBlockCutterTest, LeavesNoRestBehindWholeBlocks) {
  HostBlockCutter cutter(unit_);

  cutter.render(0, 128, left_.data(), right_.data(), {});
  cutter.render(128, 10, left_.data(), right_.data(), {});
  cutter.render(138, 0, left_.data(), right_.data(), {});

  EXPECT_THAT(frames(), ElementsAre(64, 64, 10));
}

TEST_F(HostBlockCutterTest, CutsByTheSizeAskedFor) {
  HostBlockCutter cutter(unit_, 500);

  cutter.render(0, 1024, left_.data(), right_.data(), {});

  EXPECT_THAT(frames(), ElementsAre(500, 500, 24));
}

TEST_F(HostBlockCutterTest, WritesEachBlockToItsPlace) {
  HostBlockCutter cutter(unit_);

  cutter.render(0, 100, left_.data(), right_.data(), {});

  for (const auto* samples : {&left_, &right_}) {
    EXPECT_EQ((*samples)[0], 1.0F);
    EXPECT_EQ((*samples)[63], 1.0F);
    EXPECT_EQ((*samples)[64], 2.0F);
    EXPECT_EQ((*samples)[99], 2.0F);
    EXPECT_EQ((*samples)[100], -1.0F);
  }
}

TEST_F(HostBlockCutterTest, GivesEachBlockTheEventsOfItsOwnFramesInTheirOrder) {
  HostBlockCutter cutter(unit_);
  std::vector<AURenderEvent> events = {note(1000, 1), note(1063, 2), note(1063, 3), note(1064, 4),
                                       note(1149, 5)};

  cutter.render(1000, 150, left_.data(), right_.data(), events);

  EXPECT_THAT(unit_.blocks[0].notes, ElementsAre(1, 2, 3));
  EXPECT_THAT(unit_.blocks[1].notes, ElementsAre(4));
  EXPECT_THAT(unit_.blocks[2].notes, ElementsAre(5));
}

TEST_F(HostBlockCutterTest, LosesNoEventFromOutsideTheCycle) {
  HostBlockCutter cutter(unit_);
  std::vector<AURenderEvent> events = {note(0, 1), note(999, 2), note(1128, 3), note(5000, 4)};

  cutter.render(1000, 128, left_.data(), right_.data(), events);

  EXPECT_THAT(unit_.blocks[0].notes, ElementsAre(1, 2));
  EXPECT_THAT(unit_.blocks[1].notes, ElementsAre(3, 4));
}

TEST_F(HostBlockCutterTest, BreaksOldLinksBetweenEvents) {
  HostBlockCutter cutter(unit_);
  std::vector<AURenderEvent> events = {note(0, 1), note(70, 2)};
  events[0].head.next = &events[1];
  events[1].head.next = &events[0];

  cutter.render(0, 128, left_.data(), right_.data(), events);

  EXPECT_THAT(unit_.blocks[0].notes, ElementsAre(1));
  EXPECT_THAT(unit_.blocks[1].notes, ElementsAre(2));
}

TEST_F(HostBlockCutterTest, PassesTheTempoOnFromTheNextBlock) {
  HostBlockCutter cutter(unit_);

  cutter.render(0, 64, left_.data(), right_.data(), {});
  cutter.setTempo(97.5);
  cutter.render(64, 128, left_.data(), right_.data(), {});
  cutter.setTempo(0);
  cutter.render(192, 64, left_.data(), right_.data(), {});

  EXPECT_EQ(unit_.blocks[0].tempo, std::nullopt);
  EXPECT_EQ(unit_.blocks[1].tempo, 97.5);
  EXPECT_EQ(unit_.blocks[2].tempo, 97.5);
  EXPECT_EQ(unit_.blocks[3].tempo, std::nullopt);
}

TEST_F(HostBlockCutterTest, StopsAnsweringForTheTempoWhenItGoes) {
  { const HostBlockCutter cutter(unit_); }

  EXPECT_FALSE(unit_.musicalContextBlock);
}

TEST_F(HostBlockCutterTest, HoldsLevelsThatNoSoundHas) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const std::vector<std::pair<float, float>> heldValues = {{1.0F, 1.0F},
                                                           {-1.0F, -1.0F},
                                                           {15.8F, 15.8F},
                                                           {16.0F, 15.848932F},
                                                           {0.0F, 0.0F},
                                                           {-1e20F, -15.848932F},
                                                           {kInfinity, 15.848932F},
                                                           {-kInfinity, -15.848932F},
                                                           {std::numeric_limits<float>::quiet_NaN(), 0.0F}};
  HostBlockCutter cutter(unit_);
  for (const auto& [given, held] : heldValues) {
    unit_.sample = given;
    cutter.render(0, 64, left_.data(), right_.data(), {});
    EXPECT_THAT(std::span(left_.data(), 64), testing::Each(held)) << given;
    EXPECT_EQ(right_[63], held) << given;
  }
}

TEST_F(HostBlockCutterTest, MakesTheSoundOfACycleTheSameWhateverItsLength) {
  const auto rendered = [](const std::vector<std::uint32_t>& cycles) {
    UnitSurroundings around;
    OpenUnit unit(around);
    unit.setRandomSeed(5);
    unit.setMaximumFramesToRender(64);
    EXPECT_TRUE(unit.allocateRenderResources(nullptr));
    HostBlockCutter cutter(unit);
    std::vector<float> left(4096);
    std::vector<float> right(4096);
    std::uint32_t done = 0;
    std::vector<AURenderEvent> on = {note(0, 60)};
    for (const std::uint32_t frames : cycles) {
      cutter.render(done, frames, left.data() + done, right.data() + done,
                    done == 0 ? on : std::span<AURenderEvent>{});
      done += frames;
    }
    EXPECT_EQ(done, 4096U);
    left.insert(left.end(), right.begin(), right.end());
    return left;
  };

  const auto inOne = rendered({4096});

  EXPECT_EQ(inOne, rendered({64, 128, 1024, 64 * 45}));
  EXPECT_THAT(inOne, testing::Contains(testing::Ne(0.0F)));
}

}  // namespace
}  // namespace morv
