// Chorus and reverb that slept against ones that ran on. What runs on is kept awake by an input just above
// what counts as silence.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>

#include "effects/DelayBlocks.h"
#include "effects/ZRBasicChorus.h"
#include "tests/effects/PlainReverb.h"

namespace morv {
namespace {

constexpr int kBlock = 64;
constexpr float kAwakePeak = 2.0F * kQuietLevel;
// Of what keeps the other awake, and of what the sleeper left in its lines: some ten taps of either.
constexpr float kDifference = 40.0F * kQuietLevel;

Stereo silence(int frames, bool keepsAwake) {
  Stereo in(frames);
  if (!keepsAwake) return in;
  for (int i = 0; i < frames; i += kBlock) {
    in.left[static_cast<std::size_t>(i)] = i % (2 * kBlock) == 0 ? kAwakePeak : -kAwakePeak;
  }
  return in;
}

void expectNear(const Stereo& actual, const Stereo& expected, float difference) {
  for (std::size_t i = 0; i < expected.left.size(); ++i) {
    ASSERT_NEAR(actual.left[i], expected.left[i], difference) << i;
    ASSERT_NEAR(actual.right[i], expected.right[i], difference) << i;
  }
}

std::unique_ptr<ZRBasicChorus> preparedChorus() {
  auto chorus = std::make_unique<ZRBasicChorus>(kRate);
  chorus->bypass = 0.0F;
  chorus->prepare(kRate, kBlock);
  return chorus;
}

template <typename Effect>
void soundAndRest(Effect& sleeper, Effect& awake, int restFrames) {
  for (Effect* effect : {&sleeper, &awake}) {
    runInBlocks(*effect, stereoNoise(20 * kBlock, 4), kBlock);
    runInBlocks(*effect, silence(restFrames, effect == &awake), kBlock);
  }
}

TEST(EffectSleep, AReverbWakesWhereItWouldBe) {
  const auto sleeper = preparedReverb();
  const auto awake = preparedReverb();
  for (ZREcoVerb* reverb : {sleeper.get(), awake.get()}) {
    reverb->reverbDecay = 0.3F;
    reverb->modFrequency = 3.3F;
  }
  soundAndRest(*sleeper, *awake, 16 * 44100 / kBlock * kBlock);
  const Stereo in = stereoNoise(300 * kBlock, 8);

  const Stereo actual = runInBlocks(*sleeper, in, kBlock);
  const Stereo expected = runInBlocks(*awake, in, kBlock);

  expectNear(actual, expected, kDifference);
  EXPECT_EQ(sleeper->phase, awake->phase);
  EXPECT_EQ(sleeper->loopD2.writeIndex, awake->loopD2.writeIndex);
  EXPECT_EQ(sleeper->loopD2.position, awake->loopD2.position);
  EXPECT_EQ(sleeper->loopAP4.position, awake->loopAP4.position);
}

TEST(EffectSleep, AReverbAsleepWritesNothingAndPassesItsDrySignal) {
  const auto reverb = preparedReverb();
  reverb->reverbDecay = 0.1F;
  reverb->mix = 25.0F;
  runInBlocks(*reverb, stereoNoise(20 * kBlock, 4), kBlock);
  runInBlocks(*reverb, silence(16 * 44100, false), kBlock);
  Stereo in(kBlock);
  in.right.assign(kBlock, 0.5F * kQuietLevel);
  const auto position = static_cast<std::size_t>(reverb->loopAP3.position);
  reverb->loopAP3.buffer[position] = 7.0F;

  const Stereo out = runInBlocks(*reverb, in, kBlock);

  EXPECT_EQ(reverb->loopAP3.buffer[position], 7.0F);
  EXPECT_EQ(out.left, std::vector<float>(kBlock, 0.0F));
  EXPECT_EQ(out.right, std::vector<float>(kBlock, 0.75F * 0.5F * kQuietLevel));
}

TEST(EffectSleep, AReverbStaysAwakeWhileItsTailIsAboveTheLevel) {
  const auto reverb = preparedReverb();
  reverb->reverbDecay = 0.9F;
  runInBlocks(*reverb, stereoNoise(200 * kBlock, 4), kBlock);

  const Stereo out = runInBlocks(*reverb, silence(10 * 44100, false), kBlock);

  float peak = 0;
  for (std::size_t i = out.left.size() - 4410; i < out.left.size(); ++i) {
    peak = std::max(peak, std::fabs(out.left[i]));
  }
  EXPECT_GT(peak, kQuietLevel);
}

TEST(EffectSleep, AChorusWakesWhereItWouldBe) {
  for (const float shape : {0.0F, 1.0F}) {
    for (const float hertz : {0.25F, 4.7F}) {
      const auto sleeper = preparedChorus();
      const auto awake = preparedChorus();
      for (ZRBasicChorus* chorus : {sleeper.get(), awake.get()}) {
        chorus->modShape = shape;
        chorus->chorusModFreq = hertz;
      }
      soundAndRest(*sleeper, *awake, 9 * 44100 / kBlock * kBlock);
      const Stereo in = stereoNoise(300 * kBlock, 8);

      const Stereo actual = runInBlocks(*sleeper, in, kBlock);
      const Stereo expected = runInBlocks(*awake, in, kBlock);

      expectNear(actual, expected, kDifference);
      EXPECT_EQ(sleeper->phase1, awake->phase1);
      EXPECT_EQ(sleeper->phase2, awake->phase2);
      EXPECT_EQ(sleeper->noiseTargetL, awake->noiseTargetL);
      EXPECT_EQ(sleeper->noiseTargetR, awake->noiseTargetR);
      EXPECT_EQ(sleeper->noiseL, awake->noiseL);
      EXPECT_EQ(sleeper->delayL.position, awake->delayL.position);
      EXPECT_EQ(sleeper->delayL.writeIndex, awake->delayL.writeIndex);
    }
  }
}

TEST(EffectSleep, AChorusAsleepWritesNothing) {
  const auto chorus = preparedChorus();
  runInBlocks(*chorus, stereoNoise(20 * kBlock, 4), kBlock);
  runInBlocks(*chorus, silence(2 * 44100, false), kBlock);
  const auto position = static_cast<std::size_t>(chorus->delayR.position);
  chorus->delayR.buffer[position] = 7.0F;

  runInBlocks(*chorus, Stereo(kBlock), kBlock);

  EXPECT_EQ(chorus->delayR.buffer[position], 7.0F);
}

TEST(EffectSleep, SilenceIsWhatLiesWithinTheLevelAndIsANumber) {
  std::array<float, 3> samples = {0.0F, kQuietLevel, -kQuietLevel};
  EXPECT_TRUE(isQuiet(samples.data(), 3));
  samples[1] = std::nextafter(kQuietLevel, 1.0F);
  EXPECT_FALSE(isQuiet(samples.data(), 3));
  samples[1] = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FALSE(isQuiet(samples.data(), 3));
}

}  // namespace
}  // namespace morv
