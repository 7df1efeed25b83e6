#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZREcoVerb.h"
#include "effects/ZRSpringVerb.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVADelay.h"
#include "platform/DiagnosticRing.h"
#include "tests/realtime/EffectCalls.h"
#include "tests/realtime/RenderTrap.h"
#include "tests/render/PoisonedEngine.h"

namespace morv {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// Poisons the effect again and again; each block, also those in which it forgets, is watched.
template <typename Effect>
void expectRecoveryToBeRealTime(void (*poison)(Effect&)) {
  const auto effect = std::make_unique<Effect>(48000.0F);
  effect->bypass = 0.0F;

  const long calls = callsCaught(*effect, 40, [&](int round) {
    if (round % 10 == 0) poison(*effect);
  });

  EXPECT_EQ(calls, 0) << RenderTrap::lastCaught();
  EXPECT_GE(effect->recoveryCount(), 4U);
}

TEST(PoisonedRender, EffectsForgetWithoutACallOfTheSystem) {
  expectRecoveryToBeRealTime<ZRBasicChorus>([](ZRBasicChorus& e) { e.crossL.z1 = kNaN; });
  expectRecoveryToBeRealTime<ZRBasicDelay>([](ZRBasicDelay& e) { e.timeL = kNaN; });
  expectRecoveryToBeRealTime<ZREcoVerb>([](ZREcoVerb& e) { e.lowpassA.z1 = kNaN; });
  expectRecoveryToBeRealTime<ZRDigiVerb>([](ZRDigiVerb& e) { e.postFilter[0].z1 = kNaN; });
  expectRecoveryToBeRealTime<ZRVAChorus>([](ZRVAChorus& e) { e.split5kLeft.z1 = kNaN; });
  expectRecoveryToBeRealTime<ZRVADelay>([](ZRVADelay& e) { e.lowpassFilter.z1 = kNaN; });
  expectRecoveryToBeRealTime<ZRDigiDelay>([](ZRDigiDelay& e) { e.lowpassLeft.z1 = kNaN; });
  expectRecoveryToBeRealTime<ZRDigiPhaser>([](ZRDigiPhaser& e) { e.lastLeft = kNaN; });
  expectRecoveryToBeRealTime<ZRSpringVerb>([](ZRSpringVerb& e) { e.allpasses[0].state = kNaN; });
}

TEST(PoisonedRender, TheEngineRecoversWithoutACallOfTheSystem) {
  constexpr int kRounds = 40;
  PoisonedEngine engine(64);
  for (const auto& effect : engine.kernel.instrument->effects) effect->bypass = 0.0F;
  engine.holdChord();
  const long before = RenderTrap::caught();

  for (int round = 0; round < kRounds; ++round) {
    for (const auto& voice : engine.kernel.instrument->voices) {
      auto& turbo = dynamic_cast<ZRTurboVoice&>(*voice);
      turbo.filter->z1 = kNaN;
      turbo.lfo->phase = kNaN;
      turbo.waveOscillator->phaseOne = kNaN;
      turbo.ampEnvelope->stageTarget = kNaN;
    }
    engine.kernel.instrument->smoothedVolume = kNaN;
    for (int block = 0; block < 40; ++block) {
      const RenderTrap trap;
      engine.renderBlock();
    }
    DiagnosticRing::shared().drain(nullptr);
  }

  EXPECT_EQ(RenderTrap::caught(), before) << RenderTrap::lastCaught();
  EXPECT_GE(engine.recoveries(), static_cast<std::uint32_t>(4 * kRounds));
}

}  // namespace
}  // namespace morv
