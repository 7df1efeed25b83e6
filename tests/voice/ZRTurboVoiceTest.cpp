// The turbo voice's control work and its note events.

#include <gtest/gtest.h>

#include "tests/voice/VoiceTesting.h"
#include "voice/ZRTurboVoice.h"

namespace morv {
namespace {

using testing::Block;
using testing::runVoice;
using testing::Signal;

constexpr float kFloatError = 3e-7F;  // relative, a few steps

class ZRTurboVoiceTest : public ::testing::Test {
 protected:
  void run(int blocks = 1) { runVoice(*voice, 64 * blocks); }
  float* destination(const ZRDSPParameter& p) { return voice->modMatrix->destinationBuffer(p.address); }
  float* source(int which) { return voice->modMatrix->sourceBuffer(which); }

  std::unique_ptr<ZRTurboVoice> voice = testing::makeTurboVoice();
};

TEST_F(ZRTurboVoiceTest, AFreshVoiceAddsNothingToTheMix) {
  Block out(64);
  std::fill(out.left.begin(), out.left.end(), 0.5F);

  for (int i = 0; i < 20; ++i) voice->runGenerator(out.left.data(), out.right.data(), 64, 120.0F);

  EXPECT_EQ(out.left, Signal(64, 0.5F));
  EXPECT_EQ(out.right, Signal(64, 0.0F));
  EXPECT_FALSE(voice->active);
  EXPECT_EQ(voice->waveOscillator->phaseOne, 0.0F);
}

TEST_F(ZRTurboVoiceTest, EnvelopeTimesFollowTheirSquareLawsInEveryBlock) {
  for (const float x : {0.001F, 0.1F, 0.5F, 1.0F}) {
    SCOPED_TRACE(x);
    for (ZRDSPParameter* p :
         {&voice->env1Attack, &voice->env1Decay, &voice->env1Sustain, &voice->env1Release,
          &voice->env1Velocity, &voice->env2Attack, &voice->env2Decay, &voice->env2Sustain,
          &voice->env2Release, &voice->env2Velocity, &voice->lfoFadeIn})
      *p = x;

    run();

    const ZRBasicEnvelope& amp = *voice->ampEnvelope;
    const ZRBasicEnvelope& mod = *voice->modEnvelope;
    const ZRBasicEnvelope& fade = *voice->fadeEnvelope;
    EXPECT_FLOAT_EQ(amp.attack, 4.0F * x * x);
    EXPECT_FLOAT_EQ(amp.decay, 6.25F * x * x);
    EXPECT_EQ(amp.sustain, x);
    EXPECT_FLOAT_EQ(amp.release, 12.25F * x * x);
    EXPECT_EQ(amp.envVelocity.value, x);
    EXPECT_FLOAT_EQ(mod.attack, 4.0F * x * x);
    EXPECT_FLOAT_EQ(mod.decay, 6.25F * x * x);
    EXPECT_EQ(mod.sustain, x);
    EXPECT_FLOAT_EQ(mod.release, 20.25F * x * x);
    EXPECT_EQ(mod.envVelocity.value, x);
    EXPECT_FLOAT_EQ(fade.attack, 0.001F + 5.0F * x);
    EXPECT_EQ(fade.decay, 0.5F);
    EXPECT_EQ(fade.sustain, 1.0F);
    EXPECT_EQ(fade.release, amp.release);
    EXPECT_EQ(fade.envVelocity.value, 1.0F);
  }
}

TEST_F(ZRTurboVoiceTest, OnlyTheModulationEnvelopeLoopsAndSyncsByItsTruncatedSettings) {
  for (const float x : {0.0F, 0.9F, 1.0F}) {
    voice->env2Loop = x;
    voice->env2Sync = x;
    run();
    EXPECT_EQ(voice->modEnvelope->loop, x == 1.0F);
    EXPECT_EQ(voice->modEnvelope->sync, x == 1.0F);
    EXPECT_FALSE(voice->ampEnvelope->loop || voice->ampEnvelope->sync || voice->fadeEnvelope->loop);
  }
}

TEST_F(ZRTurboVoiceTest, TheFadeRowWorksOnlyWhileNoOtherRowFeedsTheLfosVolume) {
  const std::vector<ZRDSPParameter*> others = {&voice->modwheelLFOAmount, &voice->lfoAmountPressModAmount,
                                               &voice->lfoAmountSlideModAmount};
  voice->lfoFadeIn = 0.3F;
  run();
  EXPECT_TRUE(voice->rowFadeToLfo->active);
  EXPECT_EQ(voice->lfoAmp->volume.value, 0.0F);
  for (ZRDSPParameter* p : others) {
    *p = 0.001F;
    run();
    EXPECT_FALSE(voice->rowFadeToLfo->active);
    EXPECT_EQ(voice->lfoAmp->volume.value, 0.0F);
    *p = 0.0F;
    run();
    EXPECT_TRUE(voice->rowFadeToLfo->active);
  }
}

TEST_F(ZRTurboVoiceTest, WithoutAFadeTheLfoIsFullyOpenAndTheFadeRowOff) {
  voice->lfoFadeIn = 0.0F;
  run();
  EXPECT_FALSE(voice->rowFadeToLfo->active);
  EXPECT_EQ(voice->lfoAmp->volume.value, 100.0F);
  EXPECT_EQ(voice->lfoAmp->volume.normalizedValue(), 1.0F);
}

TEST_F(ZRTurboVoiceTest, ThePanSettlesByBlocksWhateverTheirLength) {
  const auto c = std::exp(static_cast<double>(std::log(0.001F)) / (20 * 44100 * 0.001));
  voice->panTarget = -0.8F;
  double expected = 0;
  for (const int frames : {64, 1, 512, 7, 4096}) {
    runVoice(*voice, frames, frames);
    expected = c * (expected + 0.8) - 0.8;
    EXPECT_NEAR(voice->smoothedPan, expected, 1e-6);
  }
}

TEST_F(ZRTurboVoiceTest, ABlockOfAnotherLengthChangesTheStoredBlockSizeForGood) {
  EXPECT_EQ(voice->blockSize, 64);
  runVoice(*voice, 17, 17);
  EXPECT_EQ(voice->blockSize, 17);
  voice->setGateWithNote(1, 60, 100);
  runVoice(*voice, 4096, 4096);
  EXPECT_EQ(voice->blockSize, 4096);
}

// The level of a settled envelope over what the velocity leaves of it.
TEST_F(ZRTurboVoiceTest, ANotePassesItsVelocityToTheEnvelopesButNotToTheFade) {
  voice->env1Velocity = 1.0F;
  voice->env2Velocity = 0.5F;
  run();

  voice->setGateWithNote(1, 60, 64);

  const double v = 64 / 127.0;
  EXPECT_NEAR(voice->ampEnvelope->velocityScale, std::pow(v, 1.5), kFloatError);
  EXPECT_NEAR(voice->modEnvelope->velocityScale, std::pow(0.5 + 0.5 * v, 1.5), kFloatError);
  EXPECT_EQ(voice->fadeEnvelope->velocityScale, 1.0F);
  for (const ZRBasicEnvelope* e :
       {voice->ampEnvelope.get(), voice->modEnvelope.get(), voice->fadeEnvelope.get()}) {
    EXPECT_EQ(e->gate, 1);
    EXPECT_EQ(e->state(), 1);
  }
  EXPECT_EQ(voice->note, 60);
  EXPECT_EQ(voice->velocity, 64.0F);
}

TEST_F(ZRTurboVoiceTest, ANoteWithABendDoesTheSameAndBends) {
  voice->env1Velocity = 1.0F;
  run();

  voice->setGateWithNoteAndPitchbend(1, 69, 64, 0.25F, 9);

  EXPECT_NEAR(voice->ampEnvelope->velocityScale, std::pow(64 / 127.0, 1.5), kFloatError);
  EXPECT_EQ(voice->fadeEnvelope->gate, 1);
  EXPECT_EQ(voice->pitchbendDelta, 440.0F);
  EXPECT_EQ(voice->sampleTime, 9);
  voice->setGateWithNoteAndPitchbend(0, 69, 0, 0.0F);
  EXPECT_EQ(voice->ampEnvelope->gate, 0);
  EXPECT_EQ(voice->modEnvelope->state(), 4);
}

TEST_F(ZRTurboVoiceTest, AGateAloneIsAtFullVelocity) {
  voice->env1Velocity = 1.0F;
  voice->env2Velocity = 1.0F;
  run();
  voice->lfoKeySync = 1.0F;
  voice->lfo->phase = 0.4F;

  voice->setGate(1);

  EXPECT_EQ(voice->gate, 1);
  EXPECT_EQ(voice->ampEnvelope->velocityScale, 1.0F);
  EXPECT_EQ(voice->modEnvelope->velocityScale, 1.0F);
  EXPECT_EQ(voice->fadeEnvelope->gate, 1);
  EXPECT_EQ(voice->lfo->phase, 0.4F);
  voice->setGate(0);
  EXPECT_EQ(voice->gate, 0);
  EXPECT_EQ(voice->ampEnvelope->state(), 4);
  EXPECT_FALSE(voice->active);
}

TEST_F(ZRTurboVoiceTest, KeySyncRestartsTheLfoAtNotesOnly) {
  const auto phaseAfter = [&](float keySync, auto&& event) {
    voice->lfoKeySync = keySync;
    voice->lfo->phase = 0.4F;
    event();
    return voice->lfo->phase;
  };

  EXPECT_EQ(phaseAfter(0.0F, [&] { voice->setGateWithNote(1, 60, 100); }), 0.4F);
  EXPECT_EQ(phaseAfter(1.0F, [&] { voice->setGateWithNote(1, 60, 100); }), -1.0F);
  EXPECT_EQ(phaseAfter(0.1F, [&] { voice->setGateWithNoteAndPitchbend(1, 60, 100, 0.0F); }), -1.0F);
  EXPECT_EQ(phaseAfter(1.0F, [&] { voice->setGateWithNote(0, 60, 100); }), 0.4F);
  EXPECT_EQ(phaseAfter(1.0F, [&] { voice->setNote(62); }), 0.4F);
}

TEST_F(ZRTurboVoiceTest, ANoteInTheVeryFirstBlockLatchesWhatTheEnvelopesWereMadeWith) {
  voice->env1Velocity = 0.0F;
  voice->env1Sustain = 0.3F;

  voice->setGateWithNote(1, 60, 64);
  run();

  EXPECT_NEAR(voice->ampEnvelope->velocityScale, std::pow(64 / 127.0, 1.5), kFloatError);
  EXPECT_EQ(voice->ampEnvelope->stageTarget, 1.0F);
  EXPECT_EQ(voice->ampEnvelope->sustain, 0.3F);
}

TEST_F(ZRTurboVoiceTest, AParameterSetInTheBlockOfANoteReachesTheNextNote) {
  voice->env1Velocity = 0.0F;
  voice->env1Sustain = 0.3F;
  run();
  voice->env1Velocity = 1.0F;
  voice->env1Sustain = 0.9F;

  voice->setGateWithNote(1, 60, 64);
  run();
  EXPECT_EQ(voice->ampEnvelope->velocityScale, 1.0F);
  EXPECT_EQ(voice->ampEnvelope->stageTarget, 0.3F);

  voice->setGateWithNote(0, 60, 64);
  voice->setGateWithNote(1, 60, 64);
  EXPECT_NEAR(voice->ampEnvelope->velocityScale, std::pow(64 / 127.0, 1.5), kFloatError);
  EXPECT_EQ(voice->ampEnvelope->stageTarget, 0.9F);
}

TEST_F(ZRTurboVoiceTest, AVelocityOfNoneAtFullSensitivityStaysSilentAndANumber) {
  voice->env1Velocity = 1.0F;
  run();
  voice->setGateWithNote(1, 60, 0);

  const Block out = runVoice(*voice, 4096);

  EXPECT_EQ(out.left, Signal(4096, 0.0F));
  EXPECT_EQ(voice->ampEnvelope->level, 0.0F);
  voice->setGateWithNote(0, 60, 0);
  EXPECT_EQ(runVoice(*voice, 4096).right, Signal(4096, 0.0F));
}

TEST_F(ZRTurboVoiceTest, AfterItsReleaseTheVoiceRunsOnInSilence) {
  voice->env1Release = 0.01F;
  run();
  voice->setGateWithNote(1, 60, 100);
  run(20);
  voice->setGateWithNote(0, 60, 0);
  run(20);
  const float phase = voice->waveOscillator->phaseOne;

  const Block out = runVoice(*voice, 640);

  EXPECT_TRUE(voice->active);
  EXPECT_EQ(voice->ampEnvelope->state(), 0);
  EXPECT_NE(voice->waveOscillator->phaseOne, phase);
  EXPECT_EQ(out.left, Signal(640, 0.0F));
  EXPECT_EQ(out.right, Signal(640, 0.0F));
}

TEST_F(ZRTurboVoiceTest, ALoopedModulationEnvelopeGoesOnAfterTheNote) {
  voice->env2Loop = 1.0F;
  voice->env2Decay = 0.05F;
  run();
  voice->setGateWithNote(1, 60, 100);
  run(20);
  voice->setGateWithNote(0, 60, 0);
  run(50);

  EXPECT_NE(voice->modEnvelope->state(), 4);
  EXPECT_NE(voice->modEnvelope->state(), 0);
}

TEST_F(ZRTurboVoiceTest, PrepareHandsTheRateToTheModulesAndRecomputesNothing) {
  const auto tables = WavetableSet::sharedVoiceSet(44100.0F);
  const float lfoSmoothing = voice->lfo->lfoSmoothing;
  const double nyquist = voice->filter->nyquist;

  voice->prepare(96000.0F, 128);

  EXPECT_EQ(voice->sampleRate, 96000.0F);
  EXPECT_EQ(voice->blockSize, 128);
  const std::vector<const ZRDSPEntity*> modules = {
      voice->waveOscillator.get(), voice->filter.get(),      voice->lfo.get(),
      voice->ampEnvelope.get(),    voice->modEnvelope.get(), voice->fadeEnvelope.get(),
      voice->outputAmp.get(),      voice->lfoAmp.get()};
  for (const ZRDSPEntity* module : modules) EXPECT_EQ(module->sampleRate, 96000.0F);
  EXPECT_EQ(voice->driveTone->sampleRate, 44100.0F);
  EXPECT_EQ(voice->waveOscillator->table(1)[100], tables->wave(1)[100]);
  EXPECT_EQ(voice->lfo->lfoSmoothing, lfoSmoothing);
  EXPECT_EQ(voice->filter->nyquist, nyquist);
}

TEST_F(ZRTurboVoiceTest, ResetDoesNothing) {
  voice->setGateWithNote(1, 60, 100);
  run(10);
  const float phase = voice->waveOscillator->phaseOne;
  const float z1 = voice->filter->z1;

  voice->reset();

  EXPECT_EQ(voice->waveOscillator->phaseOne, phase);
  EXPECT_EQ(voice->filter->z1, z1);
  EXPECT_TRUE(voice->active);
  EXPECT_EQ(voice->gate, 1);
}

TEST_F(ZRTurboVoiceTest, NoFramesAddNothingAndMoveNoSignal) {
  voice->setGateWithNote(1, 60, 100);
  run(3);
  const float phase = voice->waveOscillator->phaseOne;

  voice->runGenerator(nullptr, nullptr, 0, 120.0F);

  EXPECT_EQ(voice->waveOscillator->phaseOne, phase);
  EXPECT_EQ(voice->blockSize, 0);
}

TEST_F(ZRTurboVoiceTest, TheSameSeedGivesTheSameSound) {
  const auto play = [](std::uint64_t seed) {
    const auto v = testing::makeTurboVoice();
    v->setRandomSeed(seed);
    v->oscNoiseLevel = 1.0F;
    v->lfoShape = 4.0F;
    v->lfoFreq = 10.0F;
    v->oscLFOModAmount = 0.5F;
    runVoice(*v, 64);
    v->setGateWithNote(1, 60, 100);
    return runVoice(*v, 8192).left;
  };

  EXPECT_TRUE(testing::sameBits(play(3), play(3)));
  EXPECT_FALSE(testing::sameBits(play(3), play(4)));
}

}  // namespace
}  // namespace morv
