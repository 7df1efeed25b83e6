// An echo that sleeps empties its lines piece by piece; however it wakes, what it held before is never heard.

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/effects/PlainEcho.h"

namespace morv {
namespace {

constexpr float kLowRate = 8000.0F;
constexpr int kLowLine = 40000;  // samples of a line at that rate

void sleepFor(ZRBasicDelay& delay, int blocks, int blockFrames = 64) {
  delay.bypass = 1.0F;
  runInBlocks(delay, Stereo(blocks * blockFrames), blockFrames);
  delay.bypass = 0.0F;
}

// Two echoes sound the same from here on, bit by bit.
void expectSame(ZRBasicDelay& expected, ZRBasicDelay& actual, int frames, int blockFrames) {
  Stereo in = stereoNoise(frames, 22);
  // Sound for a while, then the lines alone.
  std::fill(in.left.begin() + frames / 4, in.left.end(), 0.0F);
  std::fill(in.right.begin() + frames / 4, in.right.end(), 0.0F);
  const Stereo out = runInBlocks(actual, in, blockFrames);
  const Stereo fresh = runInBlocks(expected, in, blockFrames);
  ASSERT_EQ(out.left, fresh.left);
  ASSERT_EQ(out.right, fresh.right);
}

bool isEmpty(const uniComb& line) {
  for (int i = 0; i < line.size; ++i) {
    if (line.buffer[static_cast<std::size_t>(i)] != 0.0F) return false;
  }
  return true;
}

// However long it slept: one block, or long enough to have emptied everything.
TEST(ZRBasicDelaySleep, WakesUpWithEmptyLines) {
  for (const int sleepFrames : {1, 64, 5000, 400000}) {
    for (const int playedFrames : {100, 30000, 300000}) {
      const auto fresh = settledDelay(100.0F);
      const auto delay = settledDelay(100.0F);
      for (ZRBasicDelay* d : {fresh.get(), delay.get()}) d->echoFeedback = 0.9F;
      runInBlocks(*delay, stereoNoise(playedFrames, 5), 64);
      delay->bypass = 1.0F;
      runInBlocks(*delay, stereoNoise(sleepFrames, 5), 64);
      delay->bypass = 0.0F;

      const Stereo in = stereoImpulse(250000);
      const Stereo out = runInBlocks(*delay, in, 512);
      const Stereo expected = runInBlocks(*fresh, in, 512);
      ASSERT_EQ(out.left, expected.left) << sleepFrames << " " << playedFrames;
      ASSERT_EQ(out.right, expected.right);
    }
  }
}

// From times of less than a sample to times that reach back to what the line held last.
TEST(ZRBasicDelaySleep, WakesUpEmptyWhileItStillErases) {
  for (const int blockFrames : {1, 64, 4096}) {
    for (const float timeMs : {0.0F, 0.2F, 5.0F, 500.0F, 4990.0F}) {
      for (const int playedFrames : {3000, kLowLine - 2, kLowLine - 1, kLowLine + 50}) {
        for (const int sleptBlocks : {1, 2, 3}) {
          SCOPED_TRACE(::testing::Message()
                       << blockFrames << " " << timeMs << " " << playedFrames << " " << sleptBlocks);
          const auto fresh = settledDelay(timeMs, kLowRate);
          const auto delay = settledDelay(timeMs, kLowRate);
          for (ZRBasicDelay* d : {fresh.get(), delay.get()}) d->echoFeedback = 0.9F;
          runInBlocks(*delay, stereoNoise(playedFrames, 5), 512);
          delay->timeL = delay->timeR = fresh->timeL;
          sleepFor(*delay, sleptBlocks, blockFrames);

          expectSame(*fresh, *delay, kLowLine + 9000, blockFrames);
        }
      }
    }
  }
}

TEST(ZRBasicDelaySleep, WakesUpEmptyWhileItStillErasesALongerLine) {
  for (const int blockFrames : {64, 4096}) {
    for (const int sleptBlocks : {1, 5, 13}) {
      const auto fresh = settledDelay(500.0F);
      const auto delay = settledDelay(500.0F);
      for (ZRBasicDelay* d : {fresh.get(), delay.get()}) d->echoFeedback = 0.9F;
      runInBlocks(*delay, stereoNoise(220499, 5), 512);
      delay->timeL = delay->timeR = fresh->timeL;
      sleepFor(*delay, sleptBlocks, blockFrames);

      expectSame(*fresh, *delay, 240000, blockFrames);
    }
  }
}

// The second sleep begins before what the first one left is erased.
TEST(ZRBasicDelaySleep, WakesUpEmptyFromTwoSleepsInARow) {
  for (const int between : {1, 64, 5000}) {
    for (const float timeMs : {0.2F, 300.0F, 4990.0F}) {
      SCOPED_TRACE(::testing::Message() << between << " " << timeMs);
      const auto fresh = settledDelay(timeMs, kLowRate);
      const auto delay = settledDelay(timeMs, kLowRate);
      runInBlocks(*delay, stereoNoise(kLowLine - 1, 5), 512);
      sleepFor(*delay, 1);
      runInBlocks(*delay, stereoNoise(between, 6), 64);
      delay->timeL = delay->timeR = fresh->timeL;
      sleepFor(*delay, 1);

      expectSame(*fresh, *delay, kLowLine + 9000, 64);
    }
  }
}

TEST(ZRBasicDelaySleep, EverySleepEmptiesTheLines) {
  const auto delay = settledDelay(100.0F, kLowRate);
  for (int sleep = 0; sleep < 3; ++sleep) {
    runInBlocks(*delay, stereoNoise(3000, 5), 64);
    sleepFor(*delay, 1);

    EXPECT_EQ(energy(runInBlocks(*delay, Stereo(kLowLine + 3000), 64).left), 0.0) << sleep;
  }
}

TEST(ZRBasicDelaySleep, SendsTheLinesToTheirStartAtOnce) {
  const auto delay = settledDelay(100.0F, kLowRate);
  runInBlocks(*delay, stereoNoise(3000, 5), 64);

  sleepFor(*delay, 1);

  for (const uniComb* line : {&delay->delayL, &delay->delayR}) {
    EXPECT_EQ(line->position, 0.0F);
    EXPECT_EQ(line->writeIndex, 0);
  }
}

TEST(ZRBasicDelaySleep, ALongSleepLeavesNothingInTheLines) {
  for (const float rate : {kLowRate, kRate}) {
    for (const int blockFrames : {1, 64, 4096}) {
      for (const int playedFrames : {1, 3, 64, 6400, 30001, 300000}) {
        const auto delay = settledDelay(100.0F, rate);
        delay->echoFeedback = 0.5F;
        runInBlocks(*delay, stereoNoise(playedFrames, 5), blockFrames);
        ASSERT_FALSE(isEmpty(delay->delayL));

        sleepFor(*delay, 20);

        EXPECT_TRUE(isEmpty(delay->delayL)) << rate << " " << blockFrames << " " << playedFrames;
        EXPECT_TRUE(isEmpty(delay->delayR)) << rate << " " << blockFrames << " " << playedFrames;
      }
    }
  }
}

TEST(ZRBasicDelaySleep, ATimeBeyondTheLineReadsNothingOfWhatWasThere) {
  const float tempo = 120.0F / 5.001F;
  const Stereo in = stereoNoise(60000, 8);
  for (const int blockFrames : {1, 64, 4096}) {
    const auto delay = wokenDelay(kLowRate);
    PlainEcho plain(kLowRate);
    delay->syncTempo = 1.0F;
    plain.sync = true;
    delay->echoTime = plain.timeMs = 500.0F;
    delay->timeL = delay->timeR = 5.001F;
    runInBlocks(*delay, stereoNoise(kLowLine + 77, 5), 512, tempo);
    delay->timeL = delay->timeR = plain.times[0] = plain.times[1] = 5.001F;
    sleepFor(*delay, 1);

    EXPECT_LT(differenceDb(plain.run(in, tempo), runInBlocks(*delay, in, blockFrames, tempo)), kSameFormDb)
        << blockFrames;
  }
}

TEST(ZRBasicDelaySleep, WithoutARightInputTheRightSideIsSilentWhileItErases) {
  const auto fresh = settledDelay(10.0F, kLowRate);
  const auto delay = settledDelay(10.0F, kLowRate);
  runInBlocks(*delay, stereoNoise(kLowLine, 5), 512);
  sleepFor(*delay, 1);
  const Stereo in = stereoNoise(4096, 4);
  Stereo out(4096);
  Stereo expected(4096);

  for (const auto& [echo, to] : {std::pair(fresh.get(), &expected), std::pair(delay.get(), &out)}) {
    for (int block = 0; block < 2; ++block) {
      const int at = block * 2048;
      echo->runEffect(in.left.data() + at, nullptr, to->left.data() + at, to->right.data() + at, 2048,
                      120.0F);
    }
  }

  EXPECT_EQ(out.left, expected.left);
  EXPECT_EQ(energy(out.right), 0.0);
}

// The shorter line is erased to its own end.
TEST(ZRBasicDelaySleep, WakesUpEmptyAfterAPrepareAtALowerRate) {
  for (const bool sleepsBefore : {false, true}) {
    const auto fresh = settledDelay(100.0F, kRate);
    const auto delay = settledDelay(100.0F, kRate);
    runInBlocks(*delay, stereoNoise(220500, 5), 512);
    if (sleepsBefore) sleepFor(*delay, 1);

    for (ZRBasicDelay* d : {fresh.get(), delay.get()}) d->prepare(1000.0F, 512);
    delay->timeL = delay->timeR = fresh->timeL;
    sleepFor(*delay, 20);

    EXPECT_EQ(delay->delayL.size, 5000);
    EXPECT_TRUE(isEmpty(delay->delayL));
    EXPECT_TRUE(isEmpty(delay->delayR));
    expectSame(*fresh, *delay, 9000, 64);
  }
}

}  // namespace
}  // namespace morv
