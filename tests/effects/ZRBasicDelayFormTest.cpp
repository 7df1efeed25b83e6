// The echo against its plain form: times that glide and come round, the high-pass, changes of rate, settings
// that are lost for a while.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/effects/PlainEcho.h"

namespace morv {
namespace {

TEST(ZRBasicDelayForm, GivesTheSameAsSampleBySample) {
  const Stereo in = stereoNoise(60000, 7);
  PlainEcho plain(kRate);
  plain.timeMs = 3.0F;
  plain.spread = 0.2F;
  plain.feedback = 0.7F;
  plain.highpass = 200.0F;
  const Stereo expected = plain.run(in);

  for (const int block : {1, 64, 512, 4096}) {
    const auto delay = wokenDelay();
    delay->echoTime = 3.0F;
    delay->echoSpread = 20.0F;
    delay->echoFeedback = 0.7F;
    delay->highpass = 200.0F;
    EXPECT_LT(differenceDb(expected, runInBlocks(*delay, in, block)), kSameFormDb) << block;
  }
}

TEST(ZRBasicDelayForm, TimesThatRiseFromShortToLongGiveTheSameAsSampleBySample) {
  const Stereo in = stereoNoise(60000, 10);
  for (const float rate : {8000.0F, 44100.0F}) {
    for (const float timeMs : {3.0F, 20.0F, 200.0F}) {  // slower than the writes, and faster
      const auto delay = wokenDelay(rate);
      PlainEcho plain(rate);
      delay->timeL = plain.times[0] = 0.0002F;
      delay->timeR = plain.times[1] = 0.001F;
      delay->echoTime = plain.timeMs = timeMs;
      delay->echoFeedback = plain.feedback = 0.6F;

      EXPECT_LT(differenceDb(plain.run(in), runInBlocks(*delay, in, 512)), kSameFormDb)
          << rate << " " << timeMs;
    }
  }
}

TEST(ZRBasicDelayForm, GivesTheSameForEveryBlockSize) {
  const Stereo in = stereoNoise(30000, 8);
  for (const float timeMs : {0.0F, 1.0F, 1.6F, 200.0F}) {
    const auto reference = wokenDelay();
    reference->echoTime = timeMs;
    const Stereo expected = runInBlocks(*reference, in, 1);
    for (const int block : {7, 64, 65, 4096}) {
      const auto delay = wokenDelay();
      delay->echoTime = timeMs;
      EXPECT_LT(differenceDb(expected, runInBlocks(*delay, in, block)), kSameFormDb)
          << timeMs << " " << block;
    }
  }
}

TEST(ZRBasicDelayForm, ATimeBeyondTheLineComesRoundInIt) {
  // Two beats at 20 are six seconds, one more than the line has.
  const auto delay = wokenDelay(8000.0F);
  delay->syncTempo = 1.0F;
  delay->echoTime = 500.0F;
  delay->mix = 100.0F;
  delay->echoFeedback = 0.0F;
  delay->timeL = delay->timeR = 6.0F;

  const Stereo out = runInBlocks(*delay, stereoImpulse(48100), 64, 20.0F);

  EXPECT_NEAR(out.left[8000], 1.0F, 1e-2F);
}

// Two beats last a little more or less than the line: reads stand next to the writes, on either side.
TEST(ZRBasicDelayForm, TimesAboutTheLinesLengthGiveTheSameAsSampleBySample) {
  const Stereo in = stereoNoise(90000, 11);
  for (const float seconds : {4.995F, 4.9999F, 5.001F, 5.006F}) {
    for (const float from : {4.99F, 5.01F}) {
      const auto delay = wokenDelay(8000.0F);
      PlainEcho plain(8000.0F);
      delay->syncTempo = 1.0F;
      plain.sync = true;
      delay->echoTime = plain.timeMs = 500.0F;
      delay->echoFeedback = plain.feedback = 0.5F;
      delay->timeL = delay->timeR = plain.times[0] = plain.times[1] = from;
      const float tempo = 120.0F / seconds;

      EXPECT_LT(differenceDb(plain.run(in, tempo), runInBlocks(*delay, in, 512, tempo)), kSameFormDb)
          << seconds << " " << from;
    }
  }
}

TEST(ZRBasicDelayForm, ANegativeTempoPinsTheTimesAtATenthOfAMillisecond) {
  const Stereo in = stereoNoise(60000, 12);
  const auto delay = wokenDelay(8000.0F);
  PlainEcho plain(8000.0F);
  delay->syncTempo = 1.0F;
  plain.sync = true;

  const Stereo out = runInBlocks(*delay, in, 64, -120.0F);

  EXPECT_LT(differenceDb(plain.run(in, -120.0F), out), kSameFormDb);
  EXPECT_NEAR(delay->timeL, 0.0001F, 1e-7F);
  EXPECT_NEAR(delay->timeR, 0.0001F, 1e-7F);
}

// What the filter held when it was closed stays in the line's input as an offset.
TEST(ZRBasicDelayForm, AHighpassThatClosesLeavesWhatItHeldInTheLinesInput) {
  const Stereo in = stereoNoise(9000, 13);
  Stereo lifted = in;
  for (std::vector<float>* side : {&lifted.left, &lifted.right}) {
    for (float& x : *side) x += 0.5F;
  }
  const auto delay = settledDelay(20.0F);
  PlainEcho plain(kRate);
  plain.timeMs = 20.0F;
  plain.times[0] = plain.times[1] = 0.02F;
  delay->highpass = plain.highpass = 1000.0F;
  runInBlocks(*delay, lifted, 512);
  plain.run(lifted);
  delay->highpass = plain.highpass = 0.0F;

  const Stereo out = runInBlocks(*delay, in, 512);

  EXPECT_GT(std::abs(delay->highpassL.z1), 0.1F);
  EXPECT_LT(differenceDb(plain.run(in), out), kSameFormDb);
}

TEST(ZRBasicDelayForm, PrepareKeepsTimesAndFiltersAndTheirCoefficients) {
  const Stereo in = stereoNoise(20000, 14);
  for (const float rate : {22050.0F, 96000.0F}) {
    const auto delay = wokenDelay();
    PlainEcho plain(kRate);
    delay->highpass = plain.highpass = 800.0F;
    delay->echoTime = plain.timeMs = 40.0F;
    ASSERT_LT(differenceDb(plain.run(in), runInBlocks(*delay, in, 512)), kSameFormDb);
    const float timeL = delay->timeL;
    const tpt highpassL = delay->highpassL;

    delay->prepare(rate, 512);
    plain.prepare(rate);

    EXPECT_EQ(delay->timeL, timeL);
    EXPECT_LT(timeL, 0.12F);
    EXPECT_EQ(delay->highpassL.z1, highpassL.z1);
    EXPECT_NE(highpassL.z1, 0.0F);
    const Stereo out = runInBlocks(*delay, in, 512);
    EXPECT_EQ(delay->highpassL.G, highpassL.G);
    EXPECT_LT(differenceDb(plain.run(in), out), kSameFormDb) << rate;
  }
}

TEST(ZRBasicDelayForm, AHighpassAboveHalfTheRateIsHeldBelowIt) {
  const Stereo in = stereoNoise(20000, 15);
  const auto delay = wokenDelay(8000.0F);
  PlainEcho plain(8000.0F);
  for (const float cutoffHz : {20000.0F, 4000.0F, 3000.0F}) {
    delay->highpass = plain.highpass = cutoffHz;
    const Stereo out = runInBlocks(*delay, in, 512);

    EXPECT_LT(differenceDb(plain.run(in), out), kSameFormDb) << cutoffHz;
  }
}

TEST(ZRBasicDelayForm, EachSettingMayBeLostForAWhile) {
  for (const float rate : {8000.0F, 44100.0F}) {
    for (const float sync : {0.0F, 1.0F}) {
      const auto make = [&] {
        auto delay = wokenDelay(rate);
        delay->syncTempo = sync;
        delay->highpass = 100.0F;
        return delay;
      };
      expectEachSettingMayBeLostForAWhile(make, rate, 6.0F, false, [](ZRBasicDelay& delay) {
        EXPECT_NEAR(delay.timeL, delay.syncTempo.value > 0.0F ? 0.125F : 0.25F, 1e-3F);
        EXPECT_NEAR(delay.timeR, delay.timeL, 1e-3F);
      });
    }
  }
}

TEST(ZRBasicDelayForm, OnOneBufferForBothSidesTheRightSideStays) {
  const Stereo in = stereoNoise(9000, 16);
  Stereo both = in;
  both.right = both.left;
  for (const float timeMs : {1.0F, 20.0F}) {
    const auto apart = settledDelay(timeMs);
    const auto inOne = settledDelay(timeMs);
    for (ZRBasicDelay* d : {apart.get(), inOne.get()}) d->echoSpread = 5.0F;

    EXPECT_EQ(runInOneBuffer(*inOne, in.left, 700), runInBlocks(*apart, both, 700).right) << timeMs;
  }
}

}  // namespace
}  // namespace morv
