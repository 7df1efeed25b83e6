#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "hosts/player/MidiArrivals.h"

namespace morv::player {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr double kRateHz = 1000;  // so that a frame is a millisecond
constexpr std::uint32_t kCycle = 100;

class MidiArrivalsTest : public testing::Test {
 protected:
  void arrive(double seconds, std::uint8_t number) { arrivals_.push(seconds, {{0x90, number, 100}, 3}); }
  // Frames and notes of the cycle that begins then.
  std::vector<std::pair<std::uint32_t, int>> cycle(double seconds) {
    arrivals_.beginCycle(seconds, kCycle, kRateHz);
    std::vector<std::pair<std::uint32_t, int>> taken;
    std::uint32_t frame = 0;
    MidiMessage message;
    while (arrivals_.take(&frame, &message)) taken.emplace_back(frame, message.bytes[1]);
    return taken;
  }

  MidiArrivals arrivals_;
};

TEST_F(MidiArrivalsTest, PlaysOneCycleLaterAtTheSameDistance) {
  cycle(1.0);
  arrive(1.0205, 60);
  arrive(1.0505, 61);

  EXPECT_THAT(cycle(1.1), ElementsAre(Pair(20, 60), Pair(50, 61)));
  EXPECT_THAT(cycle(1.2), IsEmpty());
}

TEST_F(MidiArrivalsTest, KeepsForTheNextCycleWhatComesBehindTheBeginning) {
  cycle(1.0);
  arrive(1.0995, 60);
  arrive(1.1305, 61);

  EXPECT_THAT(cycle(1.1), ElementsAre(Pair(99, 60)));
  EXPECT_THAT(cycle(1.2), ElementsAre(Pair(30, 61)));
}

TEST_F(MidiArrivalsTest, HoldsFramesInsideTheCycleWhenCyclesComeLate) {
  cycle(1.0);
  arrive(0.5, 60);
  arrive(1.7, 61);

  EXPECT_THAT(cycle(2.0), ElementsAre(Pair(0, 60), Pair(99, 61)));
}

TEST_F(MidiArrivalsTest, LosesOnlyWhatIsTooMuch) {
  cycle(1.0);
  for (std::size_t i = 0; i < MidiArrivals::kMessages + 10; ++i) arrive(1.05, 60);

  EXPECT_EQ(cycle(1.1).size(), MidiArrivals::kMessages);
}

TEST_F(MidiArrivalsTest, GivesNothingToACycleWithoutFrames) {
  cycle(1.0);
  arrive(1.05, 60);
  arrivals_.beginCycle(1.1, 0, kRateHz);
  std::uint32_t frame = 0;
  MidiMessage message;

  EXPECT_FALSE(arrivals_.take(&frame, &message));
  EXPECT_THAT(cycle(1.2), ElementsAre(Pair(0, 60)));
}

}  // namespace
}  // namespace morv::player
