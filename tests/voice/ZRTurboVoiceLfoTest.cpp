// The turbo voice's LFO: its rate, its fade, and what reaches its destinations when.

#include <gtest/gtest.h>

#include "tests/voice/VoiceTesting.h"

namespace morv {
namespace {

using testing::at;
using testing::runVoice;
using testing::Signal;

constexpr double kFloatError = 1e-6;  // a few roundings of values up to one

class ZRTurboVoiceLfoTest : public ::testing::Test {
 protected:
  ZRTurboVoiceLfoTest() {
    run();
    voice->setGateWithNote(1, 69, 100);
    run();
  }
  void run(int frames = 64) { runVoice(*voice, frames, frames); }
  Signal destination(const ZRDSPParameter& p) const {
    const float* x = voice->modMatrix->readDestination(p.address);
    return {x, x + 64};
  }
  Signal source(int which) const {
    const float* x = voice->modMatrix->sourceBuffer(which);
    return {x, x + 64};
  }
  static void expectScaled(const Signal& actual, const Signal& base, double factor) {
    for (std::size_t i = 0; i < actual.size(); ++i) {
      const double expected = static_cast<double>(base[i]) * factor;
      ASSERT_NEAR(static_cast<double>(actual[i]), expected, kFloatError * std::max(std::abs(factor), 1.0))
          << i;
    }
  }

  std::unique_ptr<ZRTurboVoice> voice = testing::makeTurboVoice();
};

TEST_F(ZRTurboVoiceLfoTest, TheRangeSetsTheRateAndTheDepthOfPitch) {
  voice->lfoFreq = 3.0F;
  voice->rowLfoToAmp->transform = ZRDSPModMatrixTransform::plain;
  voice->lfoRange = 0.4F;
  run();
  EXPECT_EQ(voice->lfo->oscFreq.value, 3.0F);
  EXPECT_EQ(voice->rowLfoToPitch->amount, 100.0F);
  EXPECT_EQ(voice->rowLfoToAmp->transform, ZRDSPModMatrixTransform::toUnipolar);

  voice->rowLfoToAmp->transform = ZRDSPModMatrixTransform::plain;
  voice->lfoRange = 0.6F;
  run();
  EXPECT_EQ(voice->lfo->oscFreq.value, 300.0F);
  EXPECT_EQ(voice->rowLfoToPitch->amount, 1000.0F);
  EXPECT_EQ(voice->rowLfoToAmp->transform, ZRDSPModMatrixTransform::toUnipolar);

  voice->rowLfoToAmp->transform = ZRDSPModMatrixTransform::plain;
  voice->lfoRange = 1.5F;
  run();
  EXPECT_EQ(voice->rowLfoToPitch->amount, 5000.0F);
  EXPECT_EQ(voice->rowLfoToAmp->transform, ZRDSPModMatrixTransform::toUnipolar);
}

TEST_F(ZRTurboVoiceLfoTest, AnUnknownRangeIsAsSlowAsCanBeAndTouchesNoRow) {
  voice->rowLfoToPitch->amount = 77.0F;
  voice->rowLfoToAmp->transform = ZRDSPModMatrixTransform::plain;
  for (const float range : {3.0F, -1.0F}) {
    voice->lfoRange = range;
    run();
    EXPECT_EQ(voice->lfo->oscFreq.value, 0.0001F);
    EXPECT_EQ(voice->rowLfoToPitch->amount, 77.0F);
    EXPECT_EQ(voice->rowLfoToAmp->transform, ZRDSPModMatrixTransform::plain);
  }
}

TEST_F(ZRTurboVoiceLfoTest, TheThirdRangeIsThePitchOfTheSubOfTheBlockBefore) {
  voice->lfoRange = 2.0F;
  for (const float octave : {0.0F, 1.0F, 1.5F, 2.0F}) {
    voice->oscSubOctave = octave;
    voice->oscSubDetune = 7.0F;
    run();
    const double expected = 440.0 * std::exp2((-(2.0 - static_cast<double>(octave)) * 12 + 7) / 12.0);
    EXPECT_NEAR(voice->lfo->oscFreq.value, expected, expected * 1e-6);
  }
  voice->oscSubDetune = 0.0F;
  voice->oscSubOctave = 2.0F;
  voice->setGateWithNote(1, 81, 100);
  run();
  EXPECT_NEAR(voice->lfo->oscFreq.value, 440.0F, 1e-3F);
  run();
  EXPECT_NEAR(voice->lfo->oscFreq.value, 880.0F, 1e-3F);
}

TEST_F(ZRTurboVoiceLfoTest, SampleAndHoldHasItsDepthInEveryRange) {
  voice->lfoShape = 3.6F;  // rounds to the sample and hold, is cut to the triangle
  for (const float range : {0.0F, 1.0F, 2.0F, 3.0F}) {
    voice->rowLfoToPitch->amount = 1.0F;
    voice->lfoRange = range;
    run();
    EXPECT_EQ(voice->rowLfoToPitch->amount, 5000.0F);
    EXPECT_EQ(voice->lfo->oscWave.value, 3.0F);
  }
}

TEST_F(ZRTurboVoiceLfoTest, RatesAtAndBelowNoneAreLifted) {
  for (const float rate : {0.0F, -2.0F}) {
    voice->lfoFreq = rate;
    run();
    EXPECT_EQ(voice->lfo->oscFreq.value, 0.0001F);
  }
}

TEST_F(ZRTurboVoiceLfoTest, SyncTakesTheNormalisedRateAndLeavesTheRows) {
  voice->lfoRange = 1.0F;
  run();
  voice->lfoBPMSync = 1.0F;
  voice->lfoRange = 2.0F;
  voice->lfoShape = 4.0F;
  voice->lfoFreq = 5.0F;
  run();

  EXPECT_EQ(voice->lfo->oscFreq.value, 0.5F);
  EXPECT_TRUE(voice->lfo->bpmSync);
  EXPECT_EQ(voice->rowLfoToPitch->amount, 1000.0F);
  EXPECT_EQ(voice->lfo->oscWave.value, 4.0F);
  // 0.5 x 8 = 4: a quarter of a bar, at 120 beats per minute twice a second.
  EXPECT_NEAR(voice->lfo->frequency, 2.0F, 1e-6F);
}

TEST_F(ZRTurboVoiceLfoTest, SyncHalfwayTakesTheRateButNotTheTempo) {
  voice->lfoBPMSync = 0.7F;
  voice->lfoFreq = 5.0F;
  run();

  EXPECT_EQ(voice->lfo->oscFreq.value, 0.5F);
  EXPECT_FALSE(voice->lfo->bpmSync);
}

TEST_F(ZRTurboVoiceLfoTest, TheVoiceRenderedLastSetsTheSharedRow) {
  ZRTurboVoice second(44100.0F, 64, 0);
  second.setGateWithNote(1, 60, 100);
  second.lfoRange = 1.0F;
  runVoice(second, 64);
  EXPECT_EQ(voice->rowLfoToPitch->amount, 1000.0F);
  run();
  EXPECT_EQ(second.rowLfoToPitch->amount, 100.0F);
}

TEST_F(ZRTurboVoiceLfoTest, TheLfosAmplifierIsFedInTheSameBlock) {
  voice->lfoFreq = 10.0F;
  run();
  Signal expected = source(voice->lfo->outputSourceLeft);
  for (float& x : expected) x = 0.5F * x + 0.5F;

  expectScaled(destination(voice->lfoAmp->input), expected, 1.0);
  expectScaled(source(voice->lfoAmp->outputSource), expected, 1.0);
}

TEST_F(ZRTurboVoiceLfoTest, WhatTheLfosAmplifierPutsOutArrivesOneBlockLater) {
  voice->lfoFreq = 10.0F;
  voice->oscLFOModAmount = 0.5F;
  voice->oscWaveLFOModAmount = 1.0F;
  voice->oscPulsewidthLFOModAmount = 1.0F;
  voice->filterLFOModAmount = 0.25F;
  voice->filterModeModAmount = 1.0F;
  voice->filterQLFOAmount = 1.0F;
  run();
  const Signal before = source(voice->lfoAmp->outputSource);
  run();

  expectScaled(destination(voice->waveOscillator->oscCents), before, 50.0);
  expectScaled(destination(voice->waveOscillator->oscWave), before, 1.0);
  expectScaled(destination(voice->waveOscillator->oscPulsewidth), before, 0.5);
  expectScaled(destination(voice->filter->filterCutoff), before, 0.25);
  expectScaled(destination(voice->filter->filterMode), before, 1.0);
  expectScaled(destination(voice->filter->filterResonance), before, 1.0);
  EXPECT_NE(source(voice->lfoAmp->outputSource), before);
}

TEST_F(ZRTurboVoiceLfoTest, WhatTheEnvelopesPutOutArrivesOneBlockLater) {
  voice->oscEnvModAmount = -1.0F;
  voice->filterEnvModAmount = 0.5F;
  voice->filterModeEnvModAmount = 1.0F;
  run();
  const Signal mod = source(voice->modEnvelope->modSourceIndex);
  const Signal amp = source(voice->ampEnvelope->modSourceIndex);
  run();

  Signal fourth = mod;
  for (float& x : fourth) x = x * x * x * x;
  Signal square = amp;
  for (float& x : square) x = x * x;
  expectScaled(destination(voice->waveOscillator->oscPulsewidth), mod, -0.5);
  expectScaled(destination(voice->filter->filterCutoff), fourth, 0.5);
  expectScaled(destination(voice->filter->filterMode), mod, 1.0);
  expectScaled(destination(voice->outputAmp->volume), square, 1.0);
}

TEST_F(ZRTurboVoiceLfoTest, TheBuiltInSourcesArriveAtOnce) {
  voice->filterKeyTrackAmount = 1.0F;
  voice->setGateWithNote(1, 81, 100);
  run();

  EXPECT_EQ(destination(voice->waveOscillator->oscFreq), Signal(64, 880.0F));
  expectScaled(destination(voice->filter->filterCutoff), Signal(64, 880.0F), 0.0001);
}

TEST_F(ZRTurboVoiceLfoTest, WithoutAFadeTheLfoIsOpenFromTheFirstBlockOfANote) {
  const auto fresh = testing::makeTurboVoice();
  fresh->setGateWithNote(1, 60, 100);
  runVoice(*fresh, 64);

  const float* in = fresh->modMatrix->readDestination(fresh->lfoAmp->input.address);
  const float* out = fresh->modMatrix->sourceBuffer(fresh->lfoAmp->outputSource);
  for (int i = 0; i < 64; ++i) EXPECT_EQ(out[i], in[i]);
  EXPECT_NE(out[63], 0.0F);
}

// The envelope's own least time comes on top of the fade's.
TEST_F(ZRTurboVoiceLfoTest, WithAFadeTheLfoRisesFromNothingOneBlockBehindItsEnvelope) {
  const auto fresh = testing::makeTurboVoice();
  fresh->lfoFadeIn = 0.1F;
  runVoice(*fresh, 64);
  fresh->setGateWithNote(1, 60, 100);
  const double attack = (0.001 + 5 * 0.1 + 0.001) * 44100;
  for (int block = 0; block < 200; ++block) {
    runVoice(*fresh, 64);
    const float* in = fresh->modMatrix->readDestination(fresh->lfoAmp->input.address);
    const float* out = fresh->modMatrix->sourceBuffer(fresh->lfoAmp->outputSource);
    for (int i = 0; i < 64; i += 21) {
      const int t = (block - 1) * 64 + i;
      const double fade = block == 0 ? 0.0 : t / attack;
      ASSERT_NEAR(out[i], static_cast<double>(in[i]) * fade, 1e-6) << block;
    }
  }
}

TEST_F(ZRTurboVoiceLfoTest, AFadeWithAWheelDepthLeavesTheLfoToTheWheel) {
  voice->lfoFadeIn = 0.1F;
  voice->modwheelLFOAmount = 1.0F;
  run();
  run();
  EXPECT_EQ(source(voice->lfoAmp->outputSource), Signal(64, 0.0F));

  voice->setMIDICC(1, 127);
  run();
  expectScaled(source(voice->lfoAmp->outputSource), destination(voice->lfoAmp->input), 1.0);
}

TEST_F(ZRTurboVoiceLfoTest, WheelPressureAndSlideAddToTheRate) {
  voice->modwheelLFOFreqAmount = 0.5F;
  voice->lfoFreqPressModAmount = 0.2F;
  voice->lfoFreqSlideModAmount = 0.1F;
  voice->setMIDICC(1, 127);
  voice->setMIDICC(74, 127);
  voice->setPressure(127.0F);
  for (int i = 0; i < 400; ++i) run();

  EXPECT_NEAR(voice->lfo->frequency, 0.5 + 5 + 2 + 1, 1e-3);
}

TEST_F(ZRTurboVoiceLfoTest, TheAmountParameterIsNotHeard) {
  const auto play = [](float amount) {
    const auto v = testing::makeTurboVoice();
    v->lfoAmount = amount;
    v->oscLFOModAmount = 0.5F;
    runVoice(*v, 64);
    v->setGateWithNote(1, 60, 100);
    return runVoice(*v, 8192).left;
  };

  EXPECT_TRUE(testing::sameBits(play(0.0F), play(1.0F)));
}

}  // namespace
}  // namespace morv
