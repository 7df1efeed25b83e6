#include <gtest/gtest.h>

#include <cstdint>

#include "hosts/player/CycleWatch.h"

namespace morv::player {
namespace {

constexpr double kRateHz = 48000;
constexpr double kTurn = 0.01;  // seconds between looks of the player

// Lets a device ask at so many times its pace, and gives whether the watch takes it for gone.
bool isGoneWithin(CycleWatch& watch, double start, double seconds, double pace, std::uint64_t* frames) {
  for (double now = start + kTurn; now < start + seconds; now += kTurn) {
    *frames += static_cast<std::uint64_t>(pace * kTurn * kRateHz);
    if (watch.isGone(now, *frames)) return true;
  }
  return false;
}

class CycleWatchTest : public testing::Test {
 protected:
  CycleWatchTest() { watch_.begin(10, kRateHz, 500); }
  CycleWatch watch_;
  std::uint64_t frames_ = 500;
};

TEST_F(CycleWatchTest, LeavesADeviceAloneThatKeepsItsPace) {
  EXPECT_FALSE(isGoneWithin(watch_, 10, 60, 1.0, &frames_));
}

TEST_F(CycleWatchTest, LeavesADeviceAloneThatIsSlowOrHurriesALittle) {
  EXPECT_FALSE(isGoneWithin(watch_, 10, 20, 0.2, &frames_));
  EXPECT_FALSE(isGoneWithin(watch_, 30, 20, 3.0, &frames_));
}

TEST_F(CycleWatchTest, SeesADeviceThatAsksNoMore) {
  EXPECT_FALSE(isGoneWithin(watch_, 10, 1.9, 0.0, &frames_));
  EXPECT_TRUE(isGoneWithin(watch_, 11.9, 0.2, 0.0, &frames_));
}

TEST_F(CycleWatchTest, SeesADeviceThatAsksWithoutEnd) {
  EXPECT_TRUE(isGoneWithin(watch_, 10, 2.1, 50.0, &frames_));
}

TEST_F(CycleWatchTest, BeginsAnewBehindEachLook) {
  EXPECT_TRUE(isGoneWithin(watch_, 10, 2.1, 0.0, &frames_));
  watch_.begin(20, kRateHz, frames_);

  EXPECT_FALSE(isGoneWithin(watch_, 20, 10, 1.0, &frames_));
}

}  // namespace
}  // namespace morv::player
