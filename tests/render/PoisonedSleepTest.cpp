// What is put back in a voice that sleeps.

#include <gtest/gtest.h>

#include "tests/render/InstrumentTesting.h"
#include "tests/render/PoisonedEngine.h"

namespace morv {
namespace {

constexpr int kBlock = 64;
const float kNoNumber = kPoisons[0];

// How far a voice asleep comes from where its oscillator stands in the block that wakes it, in samples of the
// table: 64 frames at 131 Hz go through less than a fifth of 1024.
constexpr float kBlockOfPhase = 205.0F;

class PoisonedSleep : public testing::Test {
 protected:
  // With no release and no sound left, and the LFO on the pitch.
  void putToSleep() {
    engine.set("env1Release", 0.0F);
    engine.set("env2Release", 0.0F);
    engine.holdChord();
    engine.render(2400);
    engine.releaseChord();
    engine.render(480000);
    ASSERT_TRUE(voice.isAsleep());
  }

  PoisonedEngine engine{kBlock};
  ZRTurboVoice& voice = engine.voice(0);
};

// Carried over the sleep with an LFO whose pitch is no number, the oscillator would lose its phase.
TEST_F(PoisonedSleep, StateIsMendedBeforeTheVoiceIsCarriedOverTheSleep) {
  ASSERT_NO_FATAL_FAILURE(putToSleep());
  voice.waveOscillator->phaseOne = 500.0F;
  voice.lfo->frequency = kNoNumber;

  engine.holdChord();

  EXPECT_FALSE(voice.isAsleep());
  EXPECT_GE(voice.waveOscillator->phaseOne, 500.0F);
  EXPECT_LE(voice.waveOscillator->phaseOne, 500.0F + kBlockOfPhase);
  EXPECT_EQ(engine.recoveries(), 1U);
}

TEST_F(PoisonedSleep, StateIsMendedBeforeTheVoiceIsPrepared) {
  ASSERT_NO_FATAL_FAILURE(putToSleep());
  voice.waveOscillator->phaseOne = 500.0F;
  voice.lfo->frequency = kNoNumber;

  voice.prepare(static_cast<float>(kPoisonRateHz), kBlock);

  EXPECT_FALSE(voice.isAsleep());
  EXPECT_EQ(voice.recoveries, 1);
  EXPECT_EQ(voice.waveOscillator->phaseOne, 500.0F);
}

TEST_F(PoisonedSleep, MendedStateKeepsTheVoiceAwakeForASecond) {
  ASSERT_NO_FATAL_FAILURE(putToSleep());
  voice.filter->z3 = kNoNumber;

  engine.render(24000);
  EXPECT_FALSE(voice.isAsleep());
  engine.render(48000);

  EXPECT_TRUE(voice.isAsleep());
  EXPECT_EQ(engine.recoveries(), 1U);
}

TEST_F(PoisonedSleep, PitchIsFoundInTheVoicesAccount) {
  ASSERT_NO_FATAL_FAILURE(putToSleep());
  voice.detuneOffset = kNoNumber;

  engine.render(kRecoveryFrames);

  EXPECT_EQ(engine.recoveries(), 1U);
  EXPECT_TRUE(voice.holdsNumbers(kBlock));
}

TEST_F(PoisonedSleep, MendedStateLetsTheNextNoteStartTheLfo) {
  engine.set("lfoKeySync", 1.0F);
  ASSERT_NO_FATAL_FAILURE(putToSleep());
  voice.lfo->phase = 0.5F;
  voice.filter->z3 = kNoNumber;

  engine.holdChord();

  EXPECT_LT(voice.lfo->phase, -0.9F);  // 64 frames at half a hertz go from -1 by a thousandth
}

}  // namespace
}  // namespace morv
