#include <gtest/gtest.h>

#include <algorithm>
#include <numbers>
#include <vector>

#include "effects/PhaseRamp.h"

namespace morv {
namespace {

constexpr float kTurn = 2.0F * std::numbers::pi_v<float>;
constexpr float kUntouched = 77.0F;

float plainStep(float at, float step) {
  at += step;
  if (at >= kTurn) at -= kTurn;
  if (at <= -kTurn) at += kTurn;
  return at;
}

TEST(PhaseRamp, HoldsTheBitsOfSingleStepsOverManyTurns) {
  for (const float step : {1.3e-5F, 1.3089969e-4F, 0.01F, 0.9F, 3.2F, kTurn, -1.3089969e-4F, -0.9F, 0.0F}) {
    for (const float start : {0.0F, 1e-30F, 6.28F, -0.5F, -6.2F, 7.0F}) {
      float plain = start;
      float ramp = start;
      int frames = 0;
      for (int stretch = 0; stretch < 300; ++stretch) {
        frames = (frames + 23) % 65;
        std::vector<float> out(65, kUntouched);
        fillPhaseRamp(&ramp, step, kTurn, out.data(), frames);
        for (int k = 0; k < frames; ++k) {
          plain = plainStep(plain, step);
          ASSERT_EQ(out[static_cast<std::size_t>(k)], plain) << step << " from " << start;
        }
        ASSERT_EQ(ramp, plain);
        ASSERT_TRUE(std::all_of(out.begin() + frames, out.end(), [](float v) { return v == kUntouched; }));
      }
    }
  }
}

}  // namespace
}  // namespace morv
