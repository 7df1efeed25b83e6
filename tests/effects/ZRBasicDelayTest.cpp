#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/ZRBasicDelay.h"
#include "tests/effects/EffectTesting.h"
#include "tests/effects/PlainEcho.h"

namespace morv {
namespace {

// A float that follows so slowly stands still this near to its target.
constexpr double kFollowerStall = 3e-4;

TEST(ZRBasicDelay, HasItsParametersInOrder) {
  ZRBasicDelay delay(kRate);
  using U = ZRDSPParameterUnit;

  expectParameters(delay, {{"echoBypass", "Bypass", 0, 1, 1, U::boolean},
                           {"echoMix", "Echo Mix", 0, 100, 50, U::percent, {"DRY", "WET"}},
                           {"echoTime", "Time", 0, 500, 250, U::milliseconds},
                           {"echoRelative", "Relative Time", -1, 1, 0, U::generic},
                           {"echoFeedback", "Feedback", 0, 1, 0.25F, U::generic},
                           {"syncTempo", "BPM Sync", 0, 1, 0, U::boolean},
                           {"highpass", "Highpass", 0, 20000, 0, U::hertz},
                           {"echoSpread", "Spread", 0, 100, 0, U::percent}});
  EXPECT_EQ(delay.identifier, "basicdelay");
  EXPECT_EQ(delay.name, "Echo");
}

TEST(ZRBasicDelay, StartsWithLinearLinesOfFiveSeconds) {
  const ZRBasicDelay delay(kRate);

  EXPECT_EQ(delay.delayL.size, 220500);
  EXPECT_EQ(delay.delayR.size, 220500);
  EXPECT_EQ(delay.delayL.linear, 1);
  EXPECT_EQ(delay.delayR.linear, 1);
  EXPECT_EQ(delay.timeL, 0.125F);
  EXPECT_EQ(delay.timeR, 0.125F);
  // To -40 dB in 500 ms.
  EXPECT_NEAR(std::pow(static_cast<double>(delay.smoothing), 22050.0), 0.01, 1e-4);
}

TEST(ZRBasicDelay, PrepareRebuildsTheLinesAndKeepsTheFollowersRate) {
  ZRBasicDelay delay(kRate);
  const float smoothing = delay.smoothing;

  delay.prepare(48000.0F, 64);

  EXPECT_EQ(delay.delayL.size, 240000);
  EXPECT_EQ(delay.delayR.linear, 1);
  EXPECT_EQ(delay.smoothing, smoothing);
  EXPECT_EQ(delay.sampleRate, 48000.0F);
}

TEST(ZRBasicDelay, RepeatsAnImpulseAtItsTimeWithItsFeedback) {
  const auto delay = settledDelay(100.0F);
  delay->echoFeedback = 0.5F;
  delay->mix = 40.0F;

  const Stereo out = runInBlocks(*delay, stereoImpulse(20000), 64);

  EXPECT_NEAR(out.left[0], 0.6F, 1e-6F);
  EXPECT_NEAR(out.left[4410], 0.4F, 2e-3F);
  EXPECT_NEAR(out.left[8820], 0.2F, 2e-3F);
  EXPECT_NEAR(out.left[13230], 0.1F, 2e-3F);
  EXPECT_EQ(out.left, out.right);
}

TEST(ZRBasicDelay, AsASendKeepsTheDrySignal) {
  const auto delay = settledDelay(100.0F);
  delay->routing = 2;

  const Stereo out = runInBlocks(*delay, stereoImpulse(5000), 64);

  EXPECT_NEAR(out.left[0], 1.0F, 1e-6F);
  EXPECT_NEAR(out.left[4410], 0.5F, 2e-3F);
}

TEST(ZRBasicDelay, FullFeedbackNeitherGrowsNorDecays) {
  // A time that is a whole number of samples in floats.
  constexpr float kBinaryRate = 32768.0F;
  auto delay = wokenDelay(kBinaryRate);
  delay->echoTime = 125.0F;
  delay->echoFeedback = 1.0F;
  delay->mix = 100.0F;

  const Stereo out = runInBlocks(*delay, stereoImpulse(4096 * 1000 + 1), 512);

  for (std::size_t repeat = 1; repeat <= 1000; ++repeat) ASSERT_EQ(out.left[repeat * 4096], 1.0F) << repeat;
  EXPECT_EQ(energy(out.left), 1000.0);
}

TEST(ZRBasicDelay, FeedbackIsHeldBetweenNoneAndFull) {
  for (const float feedback : {-3.0F, 7.0F}) {
    const auto delay = settledDelay(100.0F);
    delay->mix = 100.0F;
    delay->echoFeedback = feedback;

    const Stereo out = runInBlocks(*delay, stereoImpulse(20000), 64);

    EXPECT_NEAR(out.left[4410], 1.0F, 2e-3F);
    EXPECT_NEAR(out.left[8820], feedback < 0 ? 0.0F : 1.0F, 4e-3F);
  }
}

TEST(ZRBasicDelay, SpreadPullsTheSidesTenMillisecondsApart) {
  const auto delay = settledDelay(100.0F);
  delay->mix = 100.0F;
  delay->echoSpread = 100.0F;
  delay->timeL = 0.11F;
  delay->timeR = 0.09F;

  const Stereo out = runInBlocks(*delay, stereoImpulse(6000), 64);

  EXPECT_NEAR(out.left[4851], 1.0F, 3e-3F);
  EXPECT_NEAR(out.right[3969], 1.0F, 3e-3F);
  EXPECT_NEAR(out.left[4410], 0.0F, 1e-3F);
}

TEST(ZRBasicDelay, NoTimeWithSpreadPinsTheRightSideAtATenthOfAMillisecond) {
  const auto delay = wokenDelay();
  delay->echoTime = 0.0F;
  delay->echoSpread = 50.0F;

  runInBlocks(*delay, stereoNoise(100000, 1), 64);

  EXPECT_NEAR(delay->timeL, 0.005F, 0.005F * kFollowerStall);
  EXPECT_NEAR(delay->timeR, 0.0001F, 0.0001F * kFollowerStall);
}

TEST(ZRBasicDelay, TimesGlideAndOnlyWhileItRuns) {
  const auto delay = wokenDelay();
  delay->bypass = 1.0F;
  runInBlocks(*delay, stereoNoise(10000, 1), 64);
  EXPECT_EQ(delay->timeL, 0.125F);
  delay->bypass = 0.0F;

  runInBlocks(*delay, stereoNoise(22050, 1), 64);

  // After half a second a hundredth of the way from 0.125 to 0.25 is left.
  EXPECT_NEAR(delay->timeL, 0.25F - 0.00125F, 2e-5F);
}

TEST(ZRBasicDelay, TempoTurnsTheKnobIntoSixSteps) {
  struct Step {
    float timeMs;
    double beats;
  };
  for (const Step step : {Step{0, 1.0 / 16}, Step{99, 1.0 / 16}, Step{100, 1.0 / 8}, Step{250, 1.0 / 4},
                          Step{300, 1.0 / 2}, Step{499, 1.0}, Step{500, 2.0}}) {
    const auto delay = wokenDelay();
    delay->syncTempo = 1.0F;
    delay->echoTime = step.timeMs;
    delay->echoSpread = 20.0F;

    runInBlocks(*delay, stereoNoise(200000, 1), 512, 150.0F);

    const double seconds = step.beats * 60 / 150;
    EXPECT_NEAR(delay->timeL, seconds + 0.002, seconds * kFollowerStall) << step.timeMs;
    EXPECT_NEAR(delay->timeR, seconds - 0.002, seconds * kFollowerStall) << step.timeMs;
  }
}

TEST(ZRBasicDelay, ATempoThatIsNoneLeavesTheTimes) {
  const auto delay = settledDelay(125.0F);
  delay->syncTempo = 1.0F;

  for (const float tempo : {0.0F, std::nanf(""), 1e-38F}) {
    EXPECT_TRUE(isFinite(runInBlocks(*delay, stereoNoise(2000, 1), 64, tempo)));
    EXPECT_NEAR(delay->timeL, 0.125F, 1e-6F) << tempo;
  }
}

TEST(ZRBasicDelay, RelativeTimeTakesNoPart) {
  const Stereo in = stereoNoise(20000, 2);
  const auto one = wokenDelay();
  const auto other = wokenDelay();
  other->echoRelative = 1.0F;

  EXPECT_EQ(runInBlocks(*one, in, 64).left, runInBlocks(*other, in, 64).left);
}

TEST(ZRBasicDelay, HighpassStandsBeforeTheLineAndNotInTheDryPath) {
  const double rate = static_cast<double>(kRate);
  const auto delay = settledDelay(100.0F);
  delay->highpass = 1000.0F;
  delay->echoFeedback = 0.0F;
  const Stereo in = stereoSine(44100, 1000.0, rate);

  delay->mix = 0.0F;
  const Stereo dry = runInBlocks(*delay, in, 64);
  delay->mix = 100.0F;
  const Stereo wet = runInBlocks(*delay, in, 64);

  EXPECT_EQ(dry.left, in.left);
  // A one-pole stands 3.01 dB down at its cutoff.
  EXPECT_NEAR(10 * std::log10(energy(wet.left) / energy(in.left)), -3.01, 0.05);
}

TEST(ZRBasicDelay, NoHighpassPassesTheInputUnchanged) {
  constexpr float kBinaryRate = 32768.0F;
  const auto delay = wokenDelay(kBinaryRate);
  delay->echoTime = 125.0F;
  delay->echoFeedback = 0.0F;
  delay->mix = 100.0F;
  const Stereo in = stereoNoise(20000, 3);

  const Stereo out = runInBlocks(*delay, in, 64);

  for (std::size_t i = 4096; i < 20000; ++i) ASSERT_EQ(out.left[i], in.left[i - 4096]) << i;
}

TEST(ZRBasicDelay, WithoutARightInputTheRightSideIsSilent) {
  const auto delay = settledDelay(10.0F);
  const Stereo in = stereoNoise(2000, 4);
  std::vector<float> left(2000);
  std::vector<float> right(2000, 9.0F);

  delay->runEffect(in.left.data(), nullptr, left.data(), right.data(), 2000, 120.0F);

  EXPECT_GT(energy(left), 1.0);
  EXPECT_EQ(energy(right), 0.0);
}

TEST(ZRBasicDelay, LeavesItsOutputsAloneWhileBypassed) {
  const auto delay = wokenDelay();
  delay->bypass = 1.0F;
  const float in[1] = {0.5F};
  float left[1] = {0.1F};
  float right[1] = {0.3F};

  delay->runEffect(in, in, left, right, 1, 120.0F);

  EXPECT_EQ(left[0], 0.1F);
  EXPECT_EQ(right[0], 0.3F);
}

TEST(ZRBasicDelay, ResetEmptiesTheLines) {
  const auto delay = settledDelay(50.0F);
  runInBlocks(*delay, stereoNoise(30000, 6), 64);

  delay->reset();

  EXPECT_EQ(delay->delayL.position, 0.0F);
  EXPECT_EQ(energy(runInBlocks(*delay, Stereo(10000), 64).left), 0.0);
}

TEST(ZRBasicDelay, WorksInPlace) {
  const Stereo in = stereoNoise(6400, 9);
  const auto apart = settledDelay(20.0F);
  const auto inPlace = settledDelay(20.0F);
  const Stereo expected = runInBlocks(*apart, in, 6400);
  Stereo s = in;

  inPlace->runEffect(s.left.data(), s.right.data(), s.left.data(), s.right.data(), 6400, 120.0F);

  EXPECT_EQ(s.left, expected.left);
  EXPECT_EQ(s.right, expected.right);
}

TEST(ZRBasicDelay, StaysFiniteAtTheExtremesOfItsSettings) {
  for (const float rate : {8000.0F, 32000.0F, 192000.0F}) {
    for (const float cutoff : {-100.0F, 0.0F, 20000.0F, 1e9F, std::nanf("")}) {
      for (const float timeMs : {-50.0F, 0.0F, 500.0F, 1e9F, std::nanf("")}) {
        const auto delay = wokenDelay(rate);
        delay->highpass = cutoff;
        delay->echoTime = timeMs;
        delay->echoFeedback = 1.0F;
        const Stereo out = runInBlocks(*delay, stereoNoise(20000, 13, 1.0F), 64);
        EXPECT_TRUE(isFinite(out)) << rate << " " << cutoff << " " << timeMs;
      }
    }
  }
}

}  // namespace
}  // namespace morv
