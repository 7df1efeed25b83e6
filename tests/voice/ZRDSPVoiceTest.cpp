#include <gtest/gtest.h>

#include <array>

#include "tests/voice/VoiceTesting.h"
#include "voice/ZRDSPVoice.h"

namespace morv {
namespace {

using testing::PlainVoice;
using testing::Signal;

double semitones(double count) { return std::pow(std::pow(2.0, 1.0 / 12.0), count); }

// Whole Hz, upwards.
float bendOf(float frequency, float count) {
  const auto f = static_cast<double>(frequency);
  return std::ceil(static_cast<float>(f * semitones(static_cast<double>(count)) - f));
}

class ZRDSPVoiceTest : public ::testing::Test {
 protected:
  testing::FreshRows rows;
  PlainVoice voice;
};

TEST_F(ZRDSPVoiceTest, AFreshVoiceHoldsItsDefaults) {
  const PlainVoice fresh(48000.0F, 256, 0);

  EXPECT_FALSE(fresh.active);
  EXPECT_EQ(fresh.sampleRate, 44100.0F);
  EXPECT_EQ(fresh.blockSize, 256);
  EXPECT_EQ(fresh.gate, 0);
  EXPECT_EQ(fresh.detuneOffset, 0.0F);
  EXPECT_EQ(fresh.baseFrequency, 440.0F);
  EXPECT_EQ(fresh.noteFrequency, 220.0F);
  EXPECT_EQ(fresh.pressure, 0.0F);
  EXPECT_EQ(fresh.slide, 0.0F);
  EXPECT_EQ(fresh.velocity, 0.0F);
  EXPECT_EQ(fresh.pitchbendDelta, 0.0F);
  EXPECT_EQ(fresh.pitchbendRange, 48.0F);
  EXPECT_EQ(fresh.modWheelValue, 0.0F);
  EXPECT_EQ(fresh.panTarget, 0.0F);
  EXPECT_EQ(fresh.note, 0);
  EXPECT_EQ(fresh.sampleTime, 0);
  EXPECT_EQ(fresh.voiceCallback, nullptr);
  EXPECT_TRUE(fresh.modDestinations.empty());
  ASSERT_NE(fresh.modMatrix, nullptr);
  EXPECT_EQ(fresh.modMatrix->blockSize, 256);
  EXPECT_EQ(fresh.smoothedPitchbend, 0.0F);
  EXPECT_EQ(fresh.smoothedPressure, 0.0F);
  EXPECT_EQ(fresh.smoothedSlide, 0.0F);
  EXPECT_EQ(fresh.smoothedGate, 0.0F);
  EXPECT_EQ(fresh.smoothedVelocity, 0.0F);
  EXPECT_EQ(fresh.glidePhase, 0.0F);
  EXPECT_EQ(fresh.glideStartFrequency, 220.0F);
  EXPECT_EQ(fresh.addedPitchbend, 0.0F);
}

TEST_F(ZRDSPVoiceTest, PortamentoIsItsOneParameterAtTheFirstAddress) {
  const PlainVoice at37(44100.0F, 64, 37);
  const ZRDSPParameter& p = at37.portamentoTime;

  EXPECT_EQ(at37.numberOfParameters(), 1);
  EXPECT_EQ(p.identifier, "portamentoTime");
  EXPECT_EQ(p.name, "Portamento");
  EXPECT_EQ(p.minValue, 0.0F);
  EXPECT_EQ(p.maxValue, 1.0F);
  EXPECT_EQ(p.value, 0.0F);
  EXPECT_EQ(p.unit, ZRDSPParameterUnit::generic);
  EXPECT_EQ(p.flags, 0x50000U);
  EXPECT_EQ(p.address, 37);
  EXPECT_EQ(at37.nextAddress(), 38);
}

TEST_F(ZRDSPVoiceTest, VoicesShareTheRowsOfTheSharedMatrix) {
  const PlainVoice other;

  EXPECT_EQ(voice.modMatrix->getMatrixCore(), ZRDSPModMatrix::sharedMatrix()->getMatrixCore());
  EXPECT_EQ(other.modMatrix->getMatrixCore(), voice.modMatrix->getMatrixCore());
  EXPECT_NE(other.modMatrix, voice.modMatrix);
}

TEST_F(ZRDSPVoiceTest, NotesHaveEqualTemperedFrequencies) {
  constexpr double kFloatStep = 1e-7;
  for (int note = 0; note < 128; ++note) {
    SCOPED_TRACE(note);
    voice.setGateWithNote(1, note, 100);

    const auto expected = static_cast<float>(220.0 * semitones(3) * std::pow(0.5, 5) * semitones(note));
    EXPECT_EQ(voice.noteFrequency, expected);
    const double inOctaves = 440.0 * std::exp2((note - 69) / 12.0);
    EXPECT_NEAR(static_cast<double>(voice.noteFrequency) / inOctaves, 1.0, kFloatStep);
  }
  EXPECT_EQ(ZRDSPVoice::frequencyForNote(69), 440.0F);
}

TEST_F(ZRDSPVoiceTest, AGateWithANoteTakesNoteAndVelocityAndDropsTheBend) {
  voice.pitchbendDelta = 30;
  voice.smoothedPitchbend = 20;

  voice.setGateWithNote(3, 60, 99);

  EXPECT_EQ(voice.gate, 3);
  EXPECT_EQ(voice.note, 60);
  EXPECT_EQ(voice.velocity, 99.0F);
  EXPECT_EQ(voice.noteFrequency, ZRDSPVoice::frequencyForNote(60));
  EXPECT_EQ(voice.pitchbendDelta, 0.0F);
  EXPECT_EQ(voice.smoothedPitchbend, 0.0F);
}

TEST_F(ZRDSPVoiceTest, AReleaseWithANoteGlidesFromTheStoredNoteNotTheGivenOne) {
  voice.setGateWithNote(1, 60, 99);
  voice.noteFrequency = 300.0F;
  voice.glidePhase = 0.5F;

  voice.setGateWithNote(0, 72, 10);

  EXPECT_EQ(voice.glideStartFrequency, ZRDSPVoice::frequencyForNote(60));
  EXPECT_EQ(voice.glidePhase, 0.0F);
  EXPECT_EQ(voice.gate, 0);
  EXPECT_EQ(voice.note, 60);
  EXPECT_EQ(voice.noteFrequency, 300.0F);
  EXPECT_EQ(voice.velocity, 99.0F);
}

TEST_F(ZRDSPVoiceTest, AGateWithABendSetsItAtTheNewPitchAndLeavesTheSmoothedBendRunning) {
  voice.smoothedPitchbend = 20;
  voice.pitchbendRange = 12;

  voice.setGateWithNoteAndPitchbend(1, 81, 70, 0.5F);

  EXPECT_EQ(voice.noteFrequency, 880.0F);
  EXPECT_EQ(voice.note, 81);
  EXPECT_EQ(voice.velocity, 70.0F);
  EXPECT_EQ(voice.pitchbendDelta, bendOf(880.0F, 6));
  EXPECT_EQ(voice.smoothedPitchbend, 20.0F);
  EXPECT_EQ(voice.gate, 1);
}

TEST_F(ZRDSPVoiceTest, AReleaseWithABendGlidesFromThePresentFrequencyAndKeepsTheBend) {
  voice.setGateWithNoteAndPitchbend(1, 81, 70, 0.25F);
  const float delta = voice.pitchbendDelta;
  voice.noteFrequency = 300.0F;
  voice.glidePhase = 0.5F;

  voice.setGateWithNoteAndPitchbend(0, 20, 1, -1.0F);

  EXPECT_EQ(voice.glideStartFrequency, 300.0F);
  EXPECT_EQ(voice.glidePhase, 0.0F);
  EXPECT_EQ(voice.gate, 0);
  EXPECT_EQ(voice.note, 81);
  EXPECT_EQ(voice.velocity, 70.0F);
  EXPECT_EQ(voice.pitchbendDelta, delta);
}

TEST_F(ZRDSPVoiceTest, TheFifthArgumentOfABendGateIsKept) {
  voice.setGateWithNoteAndPitchbend(1, 69, 64, 1.0F, 11);

  EXPECT_EQ(voice.sampleTime, 11);
  EXPECT_EQ(voice.note, 69);
  EXPECT_EQ(voice.pitchbendDelta, bendOf(440.0F, 48));
}

// Records what the forms hand on to each other.
class RecordingVoice : public PlainVoice {
 public:
  using ZRDSPVoice::setGateWithNoteAndSampleTime;
  void setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity, int time) noexcept override {
    seen = {newGate, newNote, newVelocity, time};
    ZRDSPVoice::setGateWithNoteAndSampleTime(newGate, newNote, newVelocity, time);
  }
  void setPitchbend(float bend) noexcept override {
    bendSeen = bend;
    frequencySeen = noteFrequency;
  }
  std::array<int, 4> seen{};
  float bendSeen = 0;
  float frequencySeen = 0;
};

TEST_F(ZRDSPVoiceTest, TheFormsWithATimeAllEndInTheGateWithANote) {
  RecordingVoice recording;

  recording.setGateWithNoteAndSampleTime(1, 50, 60, 77.9);
  EXPECT_EQ(recording.seen, (std::array{1, 50, 60, 77}));
  EXPECT_EQ(recording.note, 50);
  recording.setGateWithNoteAndSampleTime(1, 51, 61, -1.9);
  EXPECT_EQ(recording.seen, (std::array{1, 51, 61, -1}));
  recording.setGateWithNoteAndSampleTime(1, 53, 63, std::numeric_limits<double>::infinity());
  EXPECT_EQ(recording.seen, (std::array{1, 53, 63, std::numeric_limits<int>::max()}));
  recording.setGateWithNoteAndSampleTime(1, 52, 62, 5, 6);
  EXPECT_EQ(recording.seen, (std::array{1, 52, 62, 5}));
  EXPECT_EQ(recording.note, 52);
  EXPECT_EQ(recording.velocity, 62.0F);
  EXPECT_EQ(recording.sampleTime, 0);
}

TEST_F(ZRDSPVoiceTest, ABendGateCallsTheVirtualBendOnceTheFrequencyIsNew) {
  RecordingVoice recording;

  recording.setGateWithNoteAndPitchbend(1, 69, 64, 0.75F);

  EXPECT_EQ(recording.bendSeen, 0.75F);
  EXPECT_EQ(recording.frequencySeen, 440.0F);
}

TEST_F(ZRDSPVoiceTest, ALegatoNoteGlidesFromThePresentFrequencyWithoutAGate) {
  voice.setGateWithNote(1, 60, 99);
  voice.glidePhase = 0.5F;

  voice.setNote(64);

  EXPECT_EQ(voice.glideStartFrequency, ZRDSPVoice::frequencyForNote(60));
  EXPECT_EQ(voice.noteFrequency, ZRDSPVoice::frequencyForNote(64));
  EXPECT_EQ(voice.note, 64);
  EXPECT_EQ(voice.glidePhase, 0.0F);
  EXPECT_EQ(voice.gate, 1);
  EXPECT_EQ(voice.velocity, 99.0F);
}

TEST_F(ZRDSPVoiceTest, BendsAreWholeHertzRoundedUp) {
  voice.noteFrequency = 440.0F;
  voice.pitchbendRange = 48;

  voice.setPitchbend(0.0F);
  EXPECT_EQ(voice.pitchbendDelta, 0.0F);
  voice.setPitchbend(1.0F);
  EXPECT_EQ(voice.pitchbendDelta, 6600.0F);
  voice.setPitchbend(1e-6F);
  EXPECT_EQ(voice.pitchbendDelta, 1.0F);
  voice.setPitchbend(-1e-6F);
  EXPECT_EQ(voice.pitchbendDelta, 0.0F);
  voice.pitchbendRange = 2;
  voice.setPitchbend(1.0F);  // 53.88 Hz
  EXPECT_EQ(voice.pitchbendDelta, 54.0F);
  voice.setPitchbend(-1.0F);  // -48.005 Hz
  EXPECT_EQ(voice.pitchbendDelta, -48.0F);
  for (float bend = -1.0F; bend <= 1.0F; bend += 0.01F) {
    voice.setPitchbend(bend);
    EXPECT_EQ(voice.pitchbendDelta, bendOf(440.0F, bend * 2)) << bend;
  }
}

TEST_F(ZRDSPVoiceTest, ABendDoesNotFollowALaterNote) {
  voice.setGateWithNoteAndPitchbend(1, 69, 64, 0.25F);
  voice.setNote(81);
  EXPECT_EQ(voice.pitchbendDelta, bendOf(440.0F, 12));

  voice.setPitchbend(0.25F);
  EXPECT_EQ(voice.pitchbendDelta, bendOf(880.0F, 12));
}

TEST_F(ZRDSPVoiceTest, AnAddedBendHasItsOwnRange) {
  voice.setGateWithNote(1, 69, 64);

  voice.addPitchbend(0.5F, 24);
  EXPECT_EQ(voice.addedPitchbend, 440.0F);
  EXPECT_EQ(voice.pitchbendDelta, 0.0F);
  voice.addPitchbend(-0.3F, 7);
  EXPECT_EQ(voice.addedPitchbend, bendOf(440.0F, -0.3F * 7));
}

TEST_F(ZRDSPVoiceTest, TheWheelFillsItsSourceOverTheBlockAtOnce) {
  voice.setMIDICC(1, 90);

  EXPECT_EQ(voice.modWheelValue, 90.0F);
  EXPECT_EQ(voice.present(kSourceModWheel, 64), Signal(64, 90.0F));
  EXPECT_EQ(voice.source(kSourceModWheel, 64), Signal(64, 90.0F));
}

TEST_F(ZRDSPVoiceTest, TheWheelReachesBlocksThatAreLongerThanTheOneBefore) {
  voice.setMIDICC(1, 20);
  EXPECT_EQ(voice.source(kSourceModWheel, 512), Signal(512, 20.0F));
  voice.prepare(44100.0F, 32);
  voice.setMIDICC(1, 30);

  EXPECT_EQ(voice.source(kSourceModWheel, 4096), Signal(4096, 30.0F));
}

TEST_F(ZRDSPVoiceTest, SlideIsControllerSeventyFourAndOtherControllersDoNothing) {
  voice.setMIDICC(74, 55);
  EXPECT_EQ(voice.slide, 55.0F);
  for (int controller = 0; controller < 128; ++controller) {
    if (controller == 1 || controller == 74) continue;
    voice.setMIDICC(controller, 101);
  }

  EXPECT_EQ(voice.slide, 55.0F);
  EXPECT_EQ(voice.modWheelValue, 0.0F);
  EXPECT_EQ(voice.pressure, 0.0F);
  EXPECT_EQ(voice.velocity, 0.0F);
  EXPECT_EQ(voice.gate, 0);
  EXPECT_EQ(voice.source(kSourceModWheel, 64), Signal(64, 0.0F));
}

TEST_F(ZRDSPVoiceTest, PressureIsKept) {
  voice.setPressure(88.5F);

  EXPECT_EQ(voice.pressure, 88.5F);
}

TEST_F(ZRDSPVoiceTest, PrepareStoresBothNumbers) {
  voice.prepare(96000.0F, 333);

  EXPECT_EQ(voice.sampleRate, 96000.0F);
  EXPECT_EQ(voice.blockSize, 333);
}

TEST_F(ZRDSPVoiceTest, OnlyANoteMakesTheVoiceActiveAndNothingEndsThat) {
  voice.setGate(1);
  voice.runGenerator(nullptr, nullptr, 16, 120.0F);
  EXPECT_FALSE(voice.active);
  voice.setGateWithNote(0, 60, 0);
  voice.runGenerator(nullptr, nullptr, 16, 120.0F);
  EXPECT_FALSE(voice.active);
  voice.setGateWithNote(1, 60, 100);
  EXPECT_FALSE(voice.active);
  voice.runGenerator(nullptr, nullptr, 16, 120.0F);
  EXPECT_TRUE(voice.active);
  voice.setGateWithNote(0, 60, 0);
  for (int i = 0; i < 100; ++i) voice.runGenerator(nullptr, nullptr, 4096, 120.0F);

  EXPECT_TRUE(voice.active);
}

TEST_F(ZRDSPVoiceTest, ABendGateAndALegatoNoteMakeTheVoiceActiveToo) {
  PlainVoice bent;
  PlainVoice legato;
  bent.setGateWithNoteAndPitchbend(1, 60, 100, 0.0F);
  legato.setNote(60);

  bent.runGenerator(nullptr, nullptr, 1, 120.0F);
  legato.runGenerator(nullptr, nullptr, 1, 120.0F);

  EXPECT_TRUE(bent.active);
  EXPECT_TRUE(legato.active);
}

TEST_F(ZRDSPVoiceTest, ResettingTheTimelineChangesNothing) {
  voice.setGateWithNote(1, 60, 100);
  voice.resetTimeline(1);

  EXPECT_EQ(voice.note, 60);
  EXPECT_EQ(voice.gate, 1);
}

}  // namespace
}  // namespace morv
