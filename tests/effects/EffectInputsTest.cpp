// A single sample that no signal has, on its way through an effect.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZREcoVerb.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kLowRate = 16000.0F;
constexpr int kFrames = 24000;  // a second and a half
constexpr std::size_t kLostFrame = 1003;
constexpr float kHeld = 1e6F;

struct Lost {
  float sample;
  float countsAs;
};
const std::vector<Lost> kLost = {
    {std::nanf(""), 0.0F}, {INFINITY, kHeld}, {-INFINITY, -kHeld}, {3e38F, kHeld}, {-3e38F, -kHeld}};

// The effect takes the sample on either side as the one that it counts as, in blocks of any size, and stays
// finite.
void expectLostSamplesToBeHeld(const std::function<std::unique_ptr<ZRDSPEffect>()>& make) {
  for (const Lost& lost : kLost) {
    for (const bool isLeft : {true, false}) {
      SCOPED_TRACE(std::to_string(lost.sample) + (isLeft ? " left" : " right"));
      Stereo in = stereoNoise(kFrames, 31);
      Stereo held = in;
      (isLeft ? in.left : in.right)[kLostFrame] = lost.sample;
      (isLeft ? held.left : held.right)[kLostFrame] = lost.countsAs;

      const Stereo out = runInBlocks(*make(), in, 64);

      EXPECT_TRUE(isFinite(out));
      const Stereo expected = runInBlocks(*make(), held, 64);
      EXPECT_EQ(out.left, expected.left);
      EXPECT_EQ(out.right, expected.right);
    }
  }
}

TEST(ZRBasicChorusInputs, AreHeldWhereTheyAreNoSignal) {
  expectLostSamplesToBeHeld([] {
    auto chorus = std::make_unique<ZRBasicChorus>(kLowRate);
    chorus->inputVolume = 100.0F;
    return chorus;
  });
}

TEST(ZREcoVerbInputs, AreHeldWhereTheyAreNoSignal) {
  for (const float highpass : {0.0F, 0.5F}) {
    expectLostSamplesToBeHeld([highpass] {
      auto reverb = std::make_unique<ZREcoVerb>(kLowRate);
      reverb->highpass = highpass;
      reverb->reverbDecay = 0.9F;
      return reverb;
    });
  }
}

TEST(ZRBasicDelayInputs, AreHeldWhereTheyAreNoSignal) {
  expectLostSamplesToBeHeld([] {
    auto delay = std::make_unique<ZRBasicDelay>(kLowRate);
    delay->bypass = 0.0F;
    delay->highpass = 200.0F;
    return delay;
  });
}

TEST(ZRBasicDelayInputs, AreHeldAlsoWithoutARightOne) {
  Stereo in = stereoNoise(kFrames, 31);
  in.left[kLostFrame] = std::nanf("");
  ZRBasicDelay delay(kLowRate);
  delay.bypass = 0.0F;
  Stereo out(kFrames);

  for (int start = 0; start < kFrames; start += 500) {
    delay.runEffect(in.left.data() + start, nullptr, out.left.data() + start, out.right.data() + start, 500,
                    120.0F);
  }

  EXPECT_TRUE(isFinite(out));
  EXPECT_GT(energy(out.left), 1.0);
}

class ZRDigiVerbInputs : public testing::TestWithParam<int> {};

TEST_P(ZRDigiVerbInputs, AreHeldWhereTheyAreNoSignal) {
  expectLostSamplesToBeHeld([] {
    auto verb = std::make_unique<ZRDigiVerb>(kLowRate);
    verb->mode = GetParam();
    verb->mix = 0.6F;
    verb->dryGain = 0.5F;
    verb->earlyGain = 0.5F;
    verb->lowShelfGain = 3.0F;
    verb->preDelay = 5.0F;
    verb->decay = 0.5F;
    return verb;
  });
}

INSTANTIATE_TEST_SUITE_P(Modes, ZRDigiVerbInputs, testing::Range(0, ZRDigiVerb::kModes),
                         [](const auto& mode) { return "Mode" + std::to_string(mode.param); });

}  // namespace
}  // namespace morv
