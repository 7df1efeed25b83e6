// The digital delay, the phaser and the spring reverb ask nothing of the system while they render, whatever
// their controls do and however many messages they post.

#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRSpringVerb.h"
#include "tests/realtime/EffectCalls.h"

namespace morv {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

TEST(DelayAndSpringRender, TheDelaysModesAndMessagesCallNothingOfTheSystem) {
  const auto delay = std::make_unique<ZRDigiDelay>(44100.0F);
  delay->modAmount = delay->modFeedback = 0.5F;

  const long caught = callsCaught(*delay, 16, [&](int round) {
    delay->modType = round % 8;
    delay->modPosition = round % 3;
    delay->syncTempo = round % 2 != 0;
    delay->time = round == 12 ? kNaN : 2.0F;
    delay->lowpass = 1000.0F * static_cast<float>(round);
  });

  EXPECT_EQ(caught, 0) << RenderTrap::lastCaught();
}

TEST(DelayAndSpringRender, ThePhasersSweepAndMessagesCallNothingOfTheSystem) {
  const auto phaser = std::make_unique<ZRDigiPhaser>(44100.0F);
  phaser->mix = 0.1F;

  const long caught = callsCaught(*phaser, 8, [&](int round) {
    phaser->depth = static_cast<float>(round % 3);
    phaser->feedback = 0.1F * static_cast<float>(round);
  });

  EXPECT_EQ(caught, 0) << RenderTrap::lastCaught();
}

TEST(DelayAndSpringRender, TheSpringCallsNothingOfTheSystem) {
  const auto spring = std::make_unique<ZRSpringVerb>(44100.0F);

  const long caught = callsCaught(*spring, 8, [&](int round) {
    spring->setParameterValueForAddress(spring->program.address, round == 5 ? 1.0F : 0.0F);
    spring->setParameterValueForAddress(spring->decay.address, 12.5F * static_cast<float>(round));
  });

  EXPECT_EQ(caught, 0) << RenderTrap::lastCaught();
}

}  // namespace
}  // namespace morv
