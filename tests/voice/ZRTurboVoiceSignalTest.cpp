// The turbo voice's signal path around its modules, and several voices side by side.

#include <gtest/gtest.h>

#include <limits>

#include "tests/voice/VoiceTesting.h"

namespace morv {
namespace {

using testing::at;
using testing::Block;
using testing::runVoice;
using testing::Signal;

class ZRTurboVoiceSignalTest : public ::testing::Test {
 protected:
  void run(int frames = 64) { runVoice(*voice, frames, frames); }
  void start(int note = 69) {
    run();
    voice->setGateWithNote(1, note, 100);
    run();
  }

  std::unique_ptr<ZRTurboVoice> voice = testing::makeTurboVoice();
};

TEST_F(ZRTurboVoiceSignalTest, TheOscillatorTakesTheVoicesSettingsInEveryBlock) {
  start();
  voice->oscMainLevel = 0.9F;
  voice->oscNoiseLevel = 0.1F;
  voice->oscSubLevel = 0.7F;
  voice->oscSubDetune = 6.5F;
  voice->oscSubWave = 0.9F;
  voice->oscPulseWidth = 0.2F;
  voice->oscWave = 0.8F;
  voice->detuneOffset = 12.5F;
  run();

  const ZRWavetableOscillator& osc = *voice->waveOscillator;
  EXPECT_EQ(osc.noteFrequency, 440.0F);
  EXPECT_EQ(osc.oscFreq.value, 12.5F);
  EXPECT_EQ(osc.rawFrequency, 452.5F);
  EXPECT_EQ(osc.level.value, 0.9F);
  EXPECT_EQ(osc.noiseLevel, 0.1F);
  EXPECT_EQ(osc.subLevel, 0.7F);
  EXPECT_EQ(osc.subDetune, 6.5F);
  EXPECT_EQ(osc.subWave, 0);
  EXPECT_EQ(osc.oscPulsewidth.value, 0.2F);
  EXPECT_EQ(osc.oscWave.value, 0.8F);
  voice->oscSubWave = 1.0F;
  run();
  EXPECT_EQ(osc.subWave, 1);
}

TEST_F(ZRTurboVoiceSignalTest, TheSubsOctaveIsCutTowardsNone) {
  start();
  for (const auto& [setting, octave] :
       std::vector<std::pair<float, int>>{{0, 2}, {0.5F, 1}, {1, 1}, {1.1F, 0}, {2, 0}}) {
    voice->oscSubOctave = setting;
    run();
    EXPECT_EQ(voice->waveOscillator->subOctave, octave) << setting;
  }
}

TEST_F(ZRTurboVoiceSignalTest, NoiseAndSubFollowTheFirstSampleOfTheirModulation) {
  voice->oscNoisePressModAmount = 0.5F;
  voice->oscNoiseSlideModAmount = 0.25F;
  voice->oscSubPressModAmount = 1.0F;
  voice->oscSubSlideModAmount = 0.5F;
  voice->oscNoiseLevel = 0.1F;
  voice->oscSubLevel = 0.2F;
  start();
  voice->setPressure(127.0F);
  voice->setMIDICC(74, 64);
  run();

  const float pressure = voice->modMatrix->sourceBuffer(kSourcePressure)[0];
  const float slide = voice->modMatrix->sourceBuffer(kSourceSlide)[0];
  EXPECT_GT(pressure, 0.0F);
  EXPECT_LT(pressure, 127.0F);
  const float noise = 0.1F + (0.5F * pressure + 0.25F * slide) / 127.0F;
  EXPECT_NEAR(voice->waveOscillator->noiseLevel, noise, 1e-6F);
  EXPECT_NEAR(voice->waveOscillator->subLevel, 0.2F + (pressure + 0.5F * slide) / 127.0F, 1e-6F);
}

TEST_F(ZRTurboVoiceSignalTest, TheFilterTakesTheVoicesSettings) {
  start();
  voice->filterCutoff = 4321.0F;
  voice->filterResonance = 0.6F;
  voice->filterMode = 0.4F;
  run();

  EXPECT_EQ(voice->filter->filterCutoff.value, 4321.0F);
  EXPECT_EQ(voice->filter->filterCutoff.normalizedValue(), 4321.0F / 20000.0F);
  EXPECT_EQ(voice->filter->filterResonance.value, 0.6F);
  EXPECT_EQ(voice->filter->filterMode.value, 0.4F);
}

TEST_F(ZRTurboVoiceSignalTest, DriveAtNoneBypassesCurveAndTone) {
  const auto play = [](float drive, float tone) {
    const auto v = testing::makeTurboVoice();
    v->outputDistortion = drive;
    v->outputDistortionTone = tone;
    runVoice(*v, 64);
    v->setGateWithNote(1, 60, 100);
    const Signal x = runVoice(*v, 4096).left;
    EXPECT_EQ(v->driveTone->filterCutoff.value, drive > 0.0F ? 3500.0F : 1000.0F);
    return x;
  };
  const Signal plain = play(0.0F, 0.0F);

  EXPECT_TRUE(testing::sameBits(play(0.0F, 1.0F), plain));
  EXPECT_TRUE(testing::sameBits(play(-0.5F, 1.0F), plain));
  EXPECT_FALSE(testing::sameBits(play(0.01F, 0.0F), plain));
}

TEST_F(ZRTurboVoiceSignalTest, TheDriveSetsItsToneOncePerBlock) {
  voice->outputDistortion = 0.3F;
  for (const float tone : {-1.0F, 0.25F, 1.0F}) {
    voice->outputDistortionTone = tone;
    start();
    EXPECT_EQ(voice->driveTone->filterCutoff.value, 3500.0F);
    EXPECT_EQ(voice->driveTone->gain, 12.0F * tone);
    EXPECT_EQ(voice->driveTone->bandwidth, 2000.0F);
  }
}

TEST_F(ZRTurboVoiceSignalTest, TheDriveIsModulatedBySlideAndPressure) {
  const auto hasDrive = [](ZRDSPParameter ZRTurboVoice::*depth) {
    const auto v = testing::makeTurboVoice();
    (v.get()->*depth) = 1.0F;
    runVoice(*v, 64);
    v->setGateWithNote(1, 60, 100);
    v->setPressure(100.0F);
    v->setMIDICC(74, 100);
    runVoice(*v, 128);
    return v->driveTone->filterCutoff.value == 3500.0F;
  };

  EXPECT_TRUE(hasDrive(&ZRTurboVoice::outputDistortionPressModAmount));
  EXPECT_TRUE(hasDrive(&ZRTurboVoice::outputDistortionSlideModAmount));
  EXPECT_FALSE(hasDrive(&ZRTurboVoice::modwheelAmpModAmount));
}

TEST_F(ZRTurboVoiceSignalTest, ThePanIsOfEqualPower) {
  for (const float pan : {-1.0F, -0.3F, 0.0F, 0.7F, 1.0F}) {
    const auto v = testing::makeTurboVoice();
    v->panTarget = pan;
    v->smoothedPan = pan;
    runVoice(*v, 64);
    v->setGateWithNote(1, 60, 100);
    const Block out = runVoice(*v, 4096);
    const double angle = std::numbers::pi / 4 * (static_cast<double>(pan) + 1);
    const double scale = std::sqrt(testing::power(out.left) + testing::power(out.right));
    EXPECT_GT(scale, 0.1);
    EXPECT_NEAR(std::sqrt(testing::power(out.left)) / scale, std::cos(angle), 1e-6) << pan;
    EXPECT_NEAR(std::sqrt(testing::power(out.right)) / scale, std::sin(angle), 1e-6) << pan;
  }
}

double settledLevel(float sustain, float ampPressure) {
  const auto v = testing::makeTurboVoice();
  v->env1Sustain = sustain;
  v->env1Decay = 0.01F;
  v->ampPressModAmount = ampPressure;
  v->setPressure(127.0F);
  for (int i = 0; i < 100; ++i) runVoice(*v, 4096, 4096);
  v->setGateWithNote(1, 69, 127);
  runVoice(*v, 8192);
  return std::sqrt(testing::power(runVoice(*v, 44100).left));
}

TEST_F(ZRTurboVoiceSignalTest, TheEnvelopeActsInItsFourthPowerAndTheMaximumInItsSquare) {
  const double full = settledLevel(1.0F, 0.0F);

  EXPECT_NEAR(settledLevel(0.5F, 0.0F) / full, std::pow(0.5, 4), 1e-4);
  EXPECT_NEAR(settledLevel(0.8F, 0.0F) / full, std::pow(0.8, 4), 1e-4);
  EXPECT_NEAR(settledLevel(1.0F, 1.0F) / full, 4.0, 1e-2);
  EXPECT_NEAR(settledLevel(1.0F, 0.5F) / full, 2.25, 1e-2);
}

TEST_F(ZRTurboVoiceSignalTest, TheVoiceAddsToTheMix) {
  const auto play = [](float before) {
    const auto v = testing::makeTurboVoice();
    runVoice(*v, 64);
    v->setGateWithNote(1, 60, 100);
    Block out(64);
    for (int i = 0; i < 20; ++i) {
      std::fill(out.left.begin(), out.left.end(), before);
      v->runGenerator(out.left.data(), out.right.data(), 64, 120.0F);
    }
    return out.left;
  };
  const Signal alone = play(0.0F);
  const Signal added = play(0.25F);

  EXPECT_GT(testing::power(alone), 0.01);
  for (std::size_t i = 0; i < alone.size(); ++i) EXPECT_NEAR(added[i], alone[i] + 0.25F, 1e-7F);
}

TEST_F(ZRTurboVoiceSignalTest, ABendMovesThePitchInHertz) {
  voice->pitchbendRange = 12;
  run();
  voice->setGateWithNoteAndPitchbend(1, 69, 100, 1.0F);
  for (int i = 0; i < 2000; ++i) run();

  EXPECT_NEAR(voice->waveOscillator->rawFrequency, 880.0F, 0.02F);
}

// Voices of a bank, each with a sound and a life of its own.
std::vector<std::unique_ptr<ZRTurboVoice>> makeBank(int count) {
  ZRDSPModMatrix::initSingleton();
  std::vector<std::unique_ptr<ZRTurboVoice>> bank;
  for (int i = 0; i < count; ++i) {
    bank.push_back(std::make_unique<ZRTurboVoice>(44100.0F, 64, 0));
    ZRTurboVoice& v = *bank.back();
    const auto x = static_cast<float>(i) / static_cast<float>(count);
    v.setRandomSeed(static_cast<std::uint64_t>(i));
    v.oscWave = x;
    v.oscNoiseLevel = 0.2F * x;
    v.oscSubLevel = 0.5F;
    v.filterCutoff = 300.0F + 5000.0F * x;
    v.filterResonance = 1.0F - x;
    v.filterMode = x;
    v.outputDistortion = i % 3 == 0 ? 0.5F : 0.0F;
    v.lfoRange = static_cast<float>(i % 3);
    v.panTarget = 2.0F * x - 1.0F;
    v.env1Sustain = 0.5F + 0.5F * x;
  }
  bank[0]->filterEnvModAmount = 0.4F;
  bank[0]->filterLFOModAmount = 0.2F;
  bank[0]->oscLFOModAmount = 0.3F;
  bank[0]->oscPulsewidthLFOModAmount = 0.3F;
  return bank;
}

Block playBank(int count, bool sideBySide, int blockFrames) {
  const auto bank = makeBank(count);
  std::vector<ZRDSPVoice*> list;
  for (const auto& v : bank) list.push_back(v.get());
  Block out(blockFrames * 120);
  for (int n = 0; n < 120; ++n) {
    // The last voice but one never has a note, and one note begins and ends after the other.
    if (n < count && n != count - 2) list[at(n)]->setGateWithNote(1, 40 + 3 * n, 60 + 5 * n);
    if (n >= 60 && n - 60 < count) list[at(n - 60)]->setGateWithNote(0, 40 + 3 * (n - 60), 0);
    float* left = out.left.data() + n * blockFrames;
    float* right = out.right.data() + n * blockFrames;
    if (sideBySide) {
      list[0]->runGenerators(list.data(), count, left, right, blockFrames, 120.0F);
    } else {
      for (ZRDSPVoice* v : list) v->runGenerator(left, right, blockFrames, 120.0F);
    }
  }
  return out;
}

TEST(ZRTurboVoiceBank, VoicesSideBySideGiveTheBitsOfOneBehindTheOther) {
  for (const int count : {2, 8, 11, 16, 17}) {
    for (const int blockFrames : {64, 13}) {
      SCOPED_TRACE(count);
      const Block together = playBank(count, true, blockFrames);
      const Block apart = playBank(count, false, blockFrames);
      EXPECT_GT(testing::power(together.left), 1.0);
      EXPECT_TRUE(testing::sameBits(together.left, apart.left));
      EXPECT_TRUE(testing::sameBits(together.right, apart.right));
    }
  }
}

TEST(ZRTurboVoiceBank, VoicesOfOtherClassesRunOneBehindTheOther) {
  ZRDSPModMatrix::initSingleton();
  testing::PlainVoice a;
  testing::PlainVoice b;
  b.setPressure(100);
  std::vector<ZRDSPVoice*> list = {&a, &b};

  a.runGenerators(list.data(), 2, nullptr, nullptr, 32, 120.0F);

  EXPECT_EQ(a.smoothedPressure, 0.0F);
  EXPECT_GT(b.smoothedPressure, 0.0F);
}

TEST(ZRTurboVoiceExtremes, EverySettingAtItsEndsStaysFinite) {
  for (const float rate : {8000.0F, 44100.0F, 192000.0F}) {
    for (const bool atMaximum : {false, true}) {
      for (const int note : {0, 69, 127}) {
        const auto v = testing::makeTurboVoice(rate);
        v->prepare(rate, 64);
        for (ZRDSPParameter* p : v->parameters()) *p = atMaximum ? p->maxValue : p->minValue;
        runVoice(*v, 64);
        v->setGateWithNoteAndPitchbend(1, note, 127, 1.0F);
        v->setPressure(127);
        v->setMIDICC(1, 127);
        v->setMIDICC(74, 127);
        const Block held = runVoice(*v, 8192);
        v->setGateWithNote(0, note, 0);
        const Block released = runVoice(*v, 8192);
        for (const Signal* x : {&held.left, &held.right, &released.left, &released.right})
          for (const float y : *x) ASSERT_TRUE(std::isfinite(y)) << rate << " " << atMaximum << " " << note;
      }
    }
  }
}

TEST(ZRTurboVoiceExtremes, EachSettingAloneAtItsEndsStaysFinite) {
  const int count = testing::makeTurboVoice()->numberOfParameters();
  for (int i = 0; i < count; ++i) {
    for (const bool atMaximum : {false, true}) {
      const auto v = testing::makeTurboVoice();
      ZRDSPParameter& p = *v->parameters()[at(i)];
      p = atMaximum ? p.maxValue : p.minValue;
      v->setGateWithNote(1, 57, 127);
      v->setPressure(127);
      v->setMIDICC(1, 127);
      v->setMIDICC(74, 127);
      for (const float y : runVoice(*v, 2048).left) ASSERT_TRUE(std::isfinite(y)) << p.identifier;
    }
  }
}

}  // namespace
}  // namespace morv
