// A voice that slept against one that ran on.

#include <gtest/gtest.h>

#include <cmath>

#include "tests/voice/VoiceTesting.h"

namespace morv {
namespace {

using testing::at;
using testing::Block;
using testing::errorDb;
using testing::kTempo;
using testing::makeTurboVoice;
using testing::runVoice;
using testing::Signal;

constexpr int kBlock = 64;
constexpr int kSecond = 690 * kBlock;  // a little more than one

class ZRTurboVoiceSleep : public ::testing::Test {
 protected:
  ZRTurboVoiceSleep() {
    // What is called at each wrap must not be left out, so a voice whose LFO has such a call stays awake.
    awake->lfo->wrapCallback = [](void*) { return 0; };
    for (ZRTurboVoice* v : {sleeper.get(), awake.get()}) v->setRandomSeed(5);
  }

  template <typename F>
  void both(F&& act) {
    act(*sleeper);
    act(*awake);
  }
  void play(int frames) {
    both([&](ZRTurboVoice& v) { runVoice(v, frames, kBlock); });
  }
  // A short note and what is left of it, up to the block at which the voice falls asleep.
  void playToSleep() {
    both([](ZRTurboVoice& v) { v.setGateWithNote(1, 57, 100); });
    play(20 * kBlock);
    both([](ZRTurboVoice& v) { v.setGateWithNote(0, 57, 0); });
    for (int n = 0; n < 4000 && !sleeper->isAsleep(); ++n) play(kBlock);
    ASSERT_TRUE(sleeper->isAsleep());
    ASSERT_FALSE(awake->isAsleep());
  }
  void startNext() {
    both([](ZRTurboVoice& v) { v.setGateWithNote(1, 64, 90); });
  }
  void startNextAndWake() {
    startNext();
    play(kBlock);
  }
  double nextNoteErrorDb() {
    startNext();
    const Block actual = runVoice(*sleeper, kSecond, kBlock);
    const Block expected = runVoice(*awake, kSecond, kBlock);
    EXPECT_GT(testing::power(expected.left), 1.0);
    return errorDb(actual.left, expected.left);
  }
  void expectSameLfo() const {
    EXPECT_EQ(sleeper->lfo->phase, awake->lfo->phase);
    EXPECT_EQ(sleeper->lfo->secondPhase, awake->lfo->secondPhase);
    EXPECT_EQ(sleeper->lfo->sign, awake->lfo->sign);
    EXPECT_EQ(sleeper->lfo->heldValue, awake->lfo->heldValue);
  }
  // Distance on the cycle, in samples of the table.
  static double phaseError(float a, float b) {
    const double d = std::fabs(static_cast<double>(a) - static_cast<double>(b));
    return std::min(d, 1024.0 - d);
  }

  std::unique_ptr<ZRTurboVoice> sleeper = makeTurboVoice();
  std::unique_ptr<ZRTurboVoice> awake = makeTurboVoice();
};

TEST_F(ZRTurboVoiceSleep, AShortSleepIsMadeUpForToTheBit) {
  both([](ZRTurboVoice& v) {
    v.oscLFOModAmount = 0.4F;
    v.filterLFOModAmount = 0.3F;
    v.oscNoiseLevel = 0.2F;
    v.outputDistortion = 0.5F;
    v.outputDistortionTone = 0.5F;
  });
  playToSleep();
  play(2 * kBlock);

  startNext();

  const Block actual = runVoice(*sleeper, kSecond, kBlock);
  const Block expected = runVoice(*awake, kSecond, kBlock);
  EXPECT_TRUE(testing::sameBits(actual.left, expected.left));
  EXPECT_TRUE(testing::sameBits(actual.right, expected.right));
}

// At this pitch a step is four samples of the table, so that nothing is lost in rounding.
TEST_F(ZRTurboVoiceSleep, ALongSleepIsMadeUpForWithin80Decibels) {
  constexpr double kWantedDb = -80.0;
  both([](ZRTurboVoice& v) {
    v.filterLFOModAmount = 0.3F;
    v.filterResonance = 0.1F;
    v.lfoFreq = 7.3F;
    v.oscNoiseLevel = 0.2F;
    v.oscSubLevel = 0.5F;
    v.outputDistortion = 0.5F;
    v.outputDistortionTone = 0.5F;
    v.setGateWithNote(1, 57, 100);
    v.noteFrequency = 172.265625F;
  });
  play(20 * kBlock);
  both([](ZRTurboVoice& v) { v.setGateWithNote(0, 57, 0); });
  play(4 * kSecond);
  ASSERT_TRUE(sleeper->isAsleep());

  EXPECT_LT(nextNoteErrorDb(), kWantedDb);
  expectSameLfo();
}

TEST_F(ZRTurboVoiceSleep, TheLfoIsWhereItWouldBeForEveryShapeAndRate) {
  for (const float shape : {0.0F, 1.0F, 2.0F, 3.0F, 4.0F}) {
    for (const float range : {0.0F, 1.0F}) {
      both([&](ZRTurboVoice& v) {
        v.lfoShape = shape;
        v.lfoRange = range;
        v.lfoFreq = 3.7F + shape;
      });
      playToSleep();
      play(5 * kSecond + 17 * kBlock);
      startNextAndWake();
      expectSameLfo();
    }
  }
}

TEST_F(ZRTurboVoiceSleep, TheOscillatorsPhasesLoseNoMoreThanRoundingDoes) {
  constexpr double kPerFrame = 0x1.0p-15;  // half a step of a float from 512 to 1024
  both([](ZRTurboVoice& v) {
    v.oscSubLevel = 0.5F;
    v.oscSubDetune = 7.0F;
  });
  playToSleep();
  play(6 * kSecond);
  startNextAndWake();

  const double bound = kPerFrame * 6.0 * kSecond;
  EXPECT_LT(phaseError(sleeper->waveOscillator->phaseOne, awake->waveOscillator->phaseOne), bound);
  EXPECT_LT(phaseError(sleeper->waveOscillator->phaseThree, awake->waveOscillator->phaseThree), bound);
}

TEST_F(ZRTurboVoiceSleep, ABentPitchFindsItsLfoAndItsPhaseWithinAFiftiethOfACycle) {
  both([](ZRTurboVoice& v) {
    v.oscLFOModAmount = 0.2F;
    v.lfoFreq = 4.1F;
  });
  playToSleep();
  play(3 * kSecond + 5 * kBlock);
  startNextAndWake();

  expectSameLfo();
  EXPECT_LT(phaseError(sleeper->waveOscillator->phaseOne, awake->waveOscillator->phaseOne), 1024.0 / 50.0);
}

TEST_F(ZRTurboVoiceSleep, ASleepingVoiceAddsNothing) {
  playToSleep();

  const Block out = runVoice(*sleeper, kSecond, kBlock);

  EXPECT_EQ(out.left, Signal(at(kSecond), 0.0F));
  EXPECT_EQ(out.right, Signal(at(kSecond), 0.0F));
}

TEST_F(ZRTurboVoiceSleep, WhatMovesWakesAVoice) {
  const std::vector<void (*)(ZRTurboVoice&)> moves = {
      [](ZRTurboVoice& v) { v.setPressure(20.0F); },
      [](ZRTurboVoice& v) { v.setMIDICC(1, 77); },
      [](ZRTurboVoice& v) { v.setMIDICC(74, 12); },
      [](ZRTurboVoice& v) { v.setPitchbend(0.5F); },
      [](ZRTurboVoice& v) { v.setNote(40); },
      [](ZRTurboVoice& v) { v.setGate(1); },
      [](ZRTurboVoice& v) { v.setParameterValueForAddress(v.filterCutoff.address, 700.0F); },
  };
  for (std::size_t i = 0; i < moves.size(); ++i) {
    playToSleep();
    moves[i](*sleeper);
    runVoice(*sleeper, kBlock, kBlock);
    EXPECT_FALSE(sleeper->isAsleep()) << i;
    both([](ZRTurboVoice& v) { v.setGate(0); });
  }
}

TEST_F(ZRTurboVoiceSleep, AnotherTempoOrBlockLengthWakesAVoice) {
  playToSleep();
  runVoice(*sleeper, kBlock, kBlock, kTempo + 1);
  EXPECT_FALSE(sleeper->isAsleep());

  playToSleep();
  runVoice(*sleeper, 100, 100);
  EXPECT_FALSE(sleeper->isAsleep());
}

TEST_F(ZRTurboVoiceSleep, WhatStillMovesOrRingsLongKeepsAVoiceAwake) {
  const std::vector<void (*)(ZRTurboVoice&)> settings = {
      [](ZRTurboVoice& v) { v.env2Loop = 1.0F; },
      [](ZRTurboVoice& v) { v.env2Release = 1.0F; },
      [](ZRTurboVoice& v) {
        v.filterCutoff = 30.0F;
        v.filterResonance = 1.0F;
      },
  };
  for (std::size_t i = 0; i < settings.size(); ++i) {
    auto voice = makeTurboVoice();
    settings[i](*voice);
    voice->setGateWithNote(1, 57, 100);
    runVoice(*voice, kSecond, kBlock);
    voice->setGateWithNote(0, 57, 0);
    runVoice(*voice, 4 * kSecond, kBlock);
    EXPECT_FALSE(voice->isAsleep()) << i;
  }
}

}  // namespace
}  // namespace morv
