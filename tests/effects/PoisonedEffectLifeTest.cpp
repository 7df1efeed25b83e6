// What an effect lets through while it forgets, when it is looked at, how it is counted and told.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "platform/DiagnosticRing.h"
#include "tests/effects/PoisonedEffects.h"

namespace morv {
namespace {

constexpr int kRecoveryFrames = 4800;  // 100 ms

TEST(PoisonedEffect, LetsItsInputThroughFromTheBlockOnInWhichItIsFound) {
  const auto effect = makeEffect("ecoverb", static_cast<double>(kRate));
  effect->mix = 25.0F;
  const std::vector<float> inLeft(64, 0.5F);
  const std::vector<float> inRight(64, -0.5F);
  std::vector<float> left(64);
  std::vector<float> right(64);
  effect->runEffect(inLeft.data(), inRight.data(), left.data(), right.data(), 64, 120.0F);
  fill(as<ZREcoVerb>(*effect).loopAP3, kPoisons[0]);

  effect->runEffect(inLeft.data(), inRight.data(), left.data(), right.data(), 64, 120.0F);

  EXPECT_EQ(left, std::vector<float>(64, 0.375F));
  EXPECT_EQ(right, std::vector<float>(64, -0.375F));
}

// The input is gone when the output is looked at.
TEST(PoisonedEffect, IsSilentInPlaceInTheBlockInWhichItIsFoundAndLetsItsInputThroughBehindIt) {
  const auto effect = makeEffect("ecoverb", static_cast<double>(kRate));
  effect->mix = 25.0F;
  std::vector<float> left(64, 0.5F);
  std::vector<float> right(64, -0.5F);
  const auto run = [&] {
    std::fill(left.begin(), left.end(), 0.5F);
    std::fill(right.begin(), right.end(), -0.5F);
    effect->runEffect(left.data(), right.data(), left.data(), right.data(), 64, 120.0F);
  };
  run();
  fill(as<ZREcoVerb>(*effect).loopAP3, kPoisons[0]);

  run();
  EXPECT_EQ(left, std::vector<float>(64));
  EXPECT_EQ(right, std::vector<float>(64));

  run();
  EXPECT_EQ(left, std::vector<float>(64, 0.375F));
  EXPECT_EQ(right, std::vector<float>(64, -0.375F));
}

// The bare form has no guard around it.
TEST(PoisonedEffect, ThatIsHealthyGivesTheBitsOfItsBareForm) {
  const auto expectSameBits = [](auto& guarded, auto& bare) {
    const Stereo in = stereoNoise(480000, 12);
    Stereo expected = in;
    Stereo actual = in;
    for (int start = 0; start < in.frames(); start += 64) {
      const ScopedFlushDenormals flush;
      float* left = actual.left.data() + start;
      float* right = actual.right.data() + start;
      guarded.runEffect(left, right, left, right, 64, 120.0F);
      left = expected.left.data() + start;
      right = expected.right.data() + start;
      bare._runEffect(left, right, left, right, 64, 120.0F);
    }
    EXPECT_EQ(actual.left, expected.left);
    EXPECT_EQ(actual.right, expected.right);
    EXPECT_EQ(guarded.recoveryCount(), 0U);
  };
  const auto chorus = madeEffect("basicchorus");
  const auto bareChorus = madeEffect("basicchorus");
  expectSameBits(*chorus, as<ZRBasicChorus>(*bareChorus));
  const auto verb = madeEffect("ecoverb");
  const auto bareVerb = madeEffect("ecoverb");
  expectSameBits(*verb, as<ZREcoVerb>(*bareVerb));
  const auto echo = madeEffect("basicdelay");
  const auto bareEcho = madeEffect("basicdelay");
  expectSameBits(*echo, as<ZRBasicDelay>(*bareEcho));
}

TEST(PoisonedEffect, IsNotBlamedForAnInputThatIsNoNumber) {
  const auto effect = makeEffect("spectrum", static_cast<double>(kRate));
  std::vector<float> in(64, 0.5F);
  in[7] = kPoisons[0];
  std::vector<float> left(64);
  std::vector<float> right(64);

  effect->runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);

  EXPECT_TRUE(std::isnan(left[7]));
  EXPECT_EQ(effect->recoveryCount(), 0U);
}

TEST(PoisonedEffect, ThatIsBypassedLeavesItsOutputsAloneWhileItForgets) {
  const auto effect = makeEffect("ecoverb", static_cast<double>(kRate));
  const std::vector<float> in(64, 0.5F);
  std::vector<float> left(64);
  std::vector<float> right(64);
  fill(as<ZREcoVerb>(*effect).loopAP3, kPoisons[0]);
  effect->runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);
  ASSERT_EQ(effect->recoveryCount(), 1U);

  effect->bypass = 1.0F;
  std::fill(left.begin(), left.end(), 0.125F);
  effect->runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);

  EXPECT_EQ(left, std::vector<float>(64, 0.125F));
}

// What lies in a line is found when it is heard, a fifth of a second later.
TEST(PoisonedEffect, MendsWhatIsHeardOnlyLaterWhenItIsHeard) {
  constexpr int kLate = 9600;
  const auto effect = makeEffect("basicdelay", static_cast<double>(kRate));
  effect->bypass = 0.0F;
  auto& echo = as<ZRBasicDelay>(*effect);
  echo.timeL = echo.timeR = 0.25F;
  const Stereo in = stereoNoise(24000, 9);
  runInBlocks(*effect, in, 64);
  const int read = echo.delayL.writeIndex - 12000 + kLate;
  echo.delayL.buffer[static_cast<std::size_t>((read + echo.delayL.size) % echo.delayL.size)] = kPoisons[0];

  const Stereo ahead = runInBlocks(*effect, cut(in, 0, kLate - 128), 64);
  EXPECT_EQ(effect->recoveryCount(), 0U);
  const Stereo behind = runInBlocks(*effect, in, 64);

  EXPECT_TRUE(isFinite(ahead));
  EXPECT_TRUE(isFinite(behind));
  EXPECT_EQ(effect->recoveryCount(), 1U);
}

// It forgets for 40 ms, and is looked at again 10 ms later.
TEST(PoisonedEffect, IsToldAFewTimesASecondAtMostAndCountedEachTime) {
  const auto effect = makeEffect("digiphaser", static_cast<double>(kRate));
  const Stereo between = stereoNoise(2624, 2);
  takeDiagnostics();
  for (int i = 0; i < 18; ++i) {  // a second
    as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
    EXPECT_TRUE(isFinite(runInBlocks(*effect, between, 64)));
  }

  EXPECT_EQ(effect->recoveryCount(), 18U);
  const long told = recoveriesTold();
  EXPECT_GE(told, 4);
  EXPECT_LE(told, 5);
}

void fillRing() {
  takeDiagnostics();
  DiagnosticRing& ring = DiagnosticRing::shared();
  const std::uint64_t dropped = ring.dropped();
  while (ring.dropped() == dropped) ring.post("full\n");
}

TEST(PoisonedEffect, IsToldLaterWhereTheRingIsFull) {
  const auto effect = makeEffect("digiphaser", static_cast<double>(kRate));
  fillRing();
  as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
  runInBlocks(*effect, stereoNoise(64, 2), 64);
  ASSERT_EQ(effect->recoveryCount(), 1U);
  EXPECT_EQ(recoveriesTold(), 0);

  runInBlocks(*effect, stereoNoise(64, 2), 64);
  EXPECT_EQ(recoveriesTold(), 1);
  runInBlocks(*effect, stereoNoise(64, 2), 64);
  EXPECT_EQ(recoveriesTold(), 0);
}

// In a host that never empties it.
TEST(PoisonedEffect, IsNotToldAnyMoreWhereTheRingStaysFullForASecond) {
  const auto effect = makeEffect("digiphaser", static_cast<double>(kRate));
  fillRing();
  as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
  runInBlocks(*effect, stereoNoise(48000 + 64, 2), 64);
  ASSERT_EQ(effect->recoveryCount(), 1U);

  const std::uint64_t dropped = DiagnosticRing::shared().dropped();
  runInBlocks(*effect, stereoNoise(48000, 2), 64);
  EXPECT_EQ(DiagnosticRing::shared().dropped(), dropped);
  takeDiagnostics();
  runInBlocks(*effect, stereoNoise(48000, 2), 64);

  EXPECT_EQ(recoveriesTold(), 0);
}

// Nothing listens to the digital reverb's slow noise.
TEST(PoisonedEffect, IsLookedAtEvery512FramesAt48kHz) {
  const auto effect = madeEffect("digiverb");
  runInBlocks(*effect, stereoNoise(512, 2), 64);
  as<ZRDigiVerb>(*effect).noiseFilter.z1 = kPoisons[0];

  runInBlocks(*effect, stereoNoise(448, 3), 64);
  EXPECT_EQ(effect->recoveryCount(), 0U);
  runInBlocks(*effect, stereoNoise(64, 4), 64);

  EXPECT_EQ(effect->recoveryCount(), 1U);
}

TEST(PoisonedEffect, ThatIsNeverFoundHealthyIsCountedAndToldOnce) {
  const auto effect = makeEffect("digiphaser", static_cast<double>(kRate));
  const Stereo block = stereoNoise(64, 2);
  takeDiagnostics();

  for (int i = 0; i < 750; ++i) {
    as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
    EXPECT_TRUE(isFinite(runInBlocks(*effect, block, 64)));
  }
  EXPECT_EQ(effect->recoveryCount(), 1U);
  EXPECT_EQ(recoveriesTold(), 1);
  runInBlocks(*effect, stereoNoise(kRecoveryFrames, 3), 64);
  as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
  runInBlocks(*effect, block, 64);

  EXPECT_EQ(effect->recoveryCount(), 2U);
}

struct Wound {
  const char* kind;
  void (*poison)(ZRDSPEffect& effect);
};

// One of each kind that the next look finds.
const Wound kWounds[] = {
    {"basicchorus", [](ZRDSPEffect& e) { as<ZRBasicChorus>(e).phase1 = kNoNumber; }},
    {"ecoverb", [](ZRDSPEffect& e) { as<ZREcoVerb>(e).phase = kNoNumber; }},
    {"basicdelay", [](ZRDSPEffect& e) { as<ZRBasicDelay>(e).highpassL.z1 = kNoNumber; }},
    {"digiverb", [](ZRDSPEffect& e) { as<ZRDigiVerb>(e).phase = kNoNumber; }},
    {"vachorus", [](ZRDSPEffect& e) { as<ZRVAChorus>(e).phaseB[0] = kNoNumber; }},
    {"vadelay", [](ZRDSPEffect& e) { as<ZRVADelay>(e).lowpassFilter.z1 = kNoNumber; }},
    {"digidelay", [](ZRDSPEffect& e) { as<ZRDigiDelay>(e).phaseA = kNoNumber; }},
    {"digiphaser", [](ZRDSPEffect& e) { as<ZRDigiPhaser>(e).smoothedMix = kNoNumber; }},
    {"springverb", [](ZRDSPEffect& e) { as<ZRSpringVerb>(e).allpasses[99].state = kNoNumber; }},
};
constexpr int kAllForgotten = 4096;  // frames, 85 ms

// As one does whose forgetting ended of itself while nothing else of it ran.
TEST(PoisonedEffect, ThatIsResetOrPreparedWhileItForgetsHasForgotten) {
  for (const auto& [kind, poison] : kWounds) {
    for (const bool isPrepared : {false, true}) {
      SCOPED_TRACE(std::string(kind) + (isPrepared ? " prepared" : " reset"));
      const auto begin = [&](ZRDSPEffect& effect) {
        isPrepared ? effect.prepare(kRate, 64) : effect.reset();
      };
      const auto effect = madeEffect(kind);
      const auto twin = madeEffect(kind);
      for (const auto& each : {effect.get(), twin.get()}) {
        if (auto* tape = dynamic_cast<ZRVADelay*>(each)) tape->spread = 0.0F;  // half a second
        runInBlocks(*each, stereoNoise(6400, 3), 64);
        poison(*each);
        for (int i = 0; i < 8 && each->recoveryCount() == 0; ++i) runInBlocks(*each, stereoNoise(64, 5), 64);
        ASSERT_EQ(each->recoveryCount(), 1U);
      }
      auto* tape = dynamic_cast<ZRVADelay*>(twin.get());  // has no bypass, but a program without the tape
      twin->bypass = 1.0F;
      if (tape != nullptr) tape->program = 0.0F;
      runInBlocks(*twin, Stereo(kAllForgotten), 64);
      twin->bypass = 0.0F;
      if (tape != nullptr) tape->program = as<ZRVADelay>(*effect).program.value.load();

      begin(*effect);
      begin(*twin);

      const Stereo in = stereoNoise(48000, 6);  // longer than the delays
      const Stereo actual = runInBlocks(*effect, in, 64);
      const Stereo expected = runInBlocks(*twin, in, 64);
      EXPECT_TRUE(isFinite(actual));
      EXPECT_EQ(actual.left, expected.left);
      EXPECT_EQ(actual.right, expected.right);
    }
  }
}

// So that what comes later is counted as of its own.
TEST(PoisonedEffect, ThatIsResetIsNotAilingAnyMore) {
  const auto effect = makeEffect("digiphaser", static_cast<double>(kRate));
  const Stereo block = stereoNoise(64, 2);
  for (std::uint32_t i = 1; i <= 3; ++i) {
    as<ZRDigiPhaser>(*effect).lastLeft = kPoisons[0];
    runInBlocks(*effect, block, 64);
    EXPECT_EQ(effect->recoveryCount(), i);

    effect->reset();
  }
}

// Prepared while it oversamples, it works at a multiple of the host's rate.
TEST(PoisonedEffect, IsLookedAtByTheHostsRateWhereItWorksAtAMultipleOfIt) {
  ZRVADelay delay(kRate);
  delay.program = 0.0F;  // so that nothing of the tape is heard
  delay.setParameterValueForAddress(delay.oversample.address, 1.0F);
  runInBlocks(delay, stereoNoise(512, 2), 64);
  ASSERT_EQ(delay.oversampleFactor, 8);
  delay.prepare(kRate, 64);
  delay.wow = kPoisons[0];

  runInBlocks(delay, stereoNoise(448, 3), 64);
  EXPECT_EQ(delay.recoveryCount(), 0U);
  takeDiagnostics();
  runInBlocks(delay, stereoNoise(64, 4), 64);

  EXPECT_EQ(delay.recoveryCount(), 1U);
  EXPECT_EQ(takeDiagnostics(), "[RECOVERY] 1: effect at 48000 Hz held what is no number: analogue delay\n");
}

}  // namespace
}  // namespace morv
