// What a reset leaves, settings that are lost for a while, one buffer for everything.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "tests/effects/PlainReverb.h"

namespace morv {
namespace {

TEST(ZREcoVerb, ResetEmptiesTheTankAndKeepsTheDiffusers) {
  const auto reverb = preparedReverb();
  runInBlocks(*reverb, stereoNoise(20000, 9), 64);

  reverb->reset();

  for (const ap* line : {&reverb->loopAP1, &reverb->loopAP2, &reverb->loopAP3, &reverb->loopAP4}) {
    EXPECT_EQ(line->position, 0.0F);
    for (int i = 0; i < line->size; ++i) ASSERT_EQ(line->buffer[static_cast<std::size_t>(i)], 0.0F);
  }
  for (const uniComb* line : {&reverb->loopD1, &reverb->loopD2, &reverb->loopD3, &reverb->loopD4}) {
    EXPECT_EQ(line->position, 0.0F);
    for (int i = 0; i < line->size; ++i) ASSERT_EQ(line->buffer[static_cast<std::size_t>(i)], 0.0F);
  }
  EXPECT_NE(reverb->diffusers[0].position, 0.0F);
  EXPECT_NE(reverb->diffusers[0].buffer[100], 0.0F);
}

TEST(ZREcoVerb, ResetKeepsThePhaseTheLowpassesAndTheInputFilters) {
  const auto reverb = preparedReverb();
  runInBlocks(*reverb, stereoNoise(20000, 9), 64);
  const float phase = reverb->phase;
  const tpt lowpassA = reverb->lowpassA;
  const tpt lowpassB = reverb->lowpassB;

  reverb->reset();

  EXPECT_NE(phase, 0.0F);
  EXPECT_EQ(reverb->phase, phase);
  EXPECT_NE(lowpassA.z1, 0.0F);
  EXPECT_NE(lowpassB.z1, 0.0F);
  EXPECT_EQ(reverb->lowpassA.z1, lowpassA.z1);
  EXPECT_EQ(reverb->lowpassB.z1, lowpassB.z1);
  EXPECT_EQ(reverb->lowpassA.G, lowpassA.G);
  for (ZRBiquadFilter* filter : {&reverb->variableHighpass, &reverb->fixedHighpass, &reverb->fixedLowpass}) {
    const float silence = 0;
    float left = 0;
    float right = 0;
    filter->runFilter(&silence, &silence, &left, &right, 1);
    EXPECT_NE(left, 0.0F);
    EXPECT_NE(right, 0.0F);
  }
}

TEST(ZREcoVerb, EachSettingMayBeLostForAWhile) {
  for (const float rate : {8000.0F, 44100.0F}) {
    for (const bool resets : {true, false}) {
      // Without a reset the loop has to die away, some ten times round.
      const float seconds = resets ? 1.0F : 100000.0F / rate;
      const auto make = [rate] { return preparedReverb(rate); };
      expectEachSettingMayBeLostForAWhile(make, rate, seconds, resets, [](ZREcoVerb& reverb) {
        const float phase = reverb.phase;
        EXPECT_LE(std::abs(phase), 2 * std::numbers::pi_v<float>);
        runInBlocks(reverb, Stereo(64), 64);
        EXPECT_NE(reverb.phase, phase);
      });
    }
  }
}

TEST(ZREcoVerb, OnOneBufferForBothSidesTheRightSideStays) {
  const Stereo in = stereoNoise(9000, 19);
  const auto apart = preparedReverb();
  const auto inOne = preparedReverb();
  Stereo both = in;
  both.right = both.left;

  EXPECT_EQ(runInOneBuffer(*inOne, in.left, 700), runInBlocks(*apart, both, 700).right);
}

}  // namespace
}  // namespace morv
