#include <gtest/gtest.h>

#include <algorithm>

#include "effects/ZRDSPEffect.h"

namespace morv {
namespace {

// Halves what comes in; nothing else.
class HalvingEffect : public ZRDSPEffect {
 public:
  HalvingEffect() : ZRDSPEffect(44100.0F) {}
  using ZRDSPEffect::runEffect;
  void runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                 float /*tempo*/) noexcept override {
    for (int i = 0; i < frames; ++i) {
      outL[i] = inL[i] * 0.5F;
      outR[i] = inR[i] * 0.5F;
    }
  }
  void reset() override {}
};

TEST(ZRDSPEffect, StartsAsAnInsertWithEmptySpares) {
  const HalvingEffect effect;

  EXPECT_EQ(effect.routing, 0);
  EXPECT_EQ(effect.spareInt, 0);
  EXPECT_TRUE(std::all_of(effect.spareInts.begin(), effect.spareInts.end(), [](int v) { return v == 0; }));
  for (const auto& function : effect.spareFunctions) EXPECT_FALSE(static_cast<bool>(function));
  for (const auto& parameter : effect.spareParameters) EXPECT_EQ(parameter.address, -1);
  EXPECT_EQ(effect.bypass.value.load(), 0.0F);
}

TEST(ZRDSPEffect, PrepareStoresRateAndBlockSize) {
  HalvingEffect effect;

  effect.prepare(48000.0F, 256);

  EXPECT_EQ(effect.sampleRate, 48000.0F);
  EXPECT_EQ(effect.blockSize, 256);
}

TEST(ZRDSPEffect, TheFormWithASideChainLeavesItsOutputsAlone) {
  HalvingEffect effect;
  const float in[2] = {1.0F, -1.0F};
  float left[2] = {0.25F, 0.5F};
  float right[2] = {0.75F, 1.0F};

  effect.runEffect(in, in, in, left, right, 2, 120.0F);

  EXPECT_EQ(left[0], 0.25F);
  EXPECT_EQ(left[1], 0.5F);
  EXPECT_EQ(right[0], 0.75F);
  EXPECT_EQ(right[1], 1.0F);
}

TEST(ZRDSPEffect, GateSequencerAndTimelineDoNothing) {
  HalvingEffect effect;
  const float in[1] = {1.0F};
  float left[1] = {};
  float right[1] = {};

  effect.setGateWithNote(1, 60, 100);
  effect.runSequencer();
  effect.resetTimeline(1);
  effect.runEffect(in, in, left, right, 1, 120.0F);

  EXPECT_EQ(left[0], 0.5F);
  EXPECT_EQ(right[0], 0.5F);
}

}  // namespace
}  // namespace morv
