// The instrument's 39 global parameters, row by row, and which of them are offered.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

using Strings = std::vector<std::string>;
using Unit = ZRDSPParameterUnit;

struct Row {
  const char* identifier;
  const char* name;
  unsigned bit;  // 0 for always registered
  Unit unit;
  float minimum;
  float maximum;
  float standard;
  Strings strings;
  ZRDSPParameter ZRDSPInstrument::*record;
};

constexpr int kVoices = 3;

std::vector<Row> rows(bool defaultsToMPE) {
  using I = ZRDSPInstrument;
  const Strings none;
  const Strings divisions = {"1/1", "1/2", "1/4", "1/8H", "1/8", "1/8T", "1/16", "1/32"};
  const Strings scales = {"Chromatic",     "Major",       "Dorian",  "Phrygian",  "Lydian",
                          "Mixolydian",    "Aeolian/Min", "Locrain", "MajBlues",  "MinBlues",
                          "MajThird",      "MinThird",    "Fifth",   "Wholetone", "MajPentatonic",
                          "MinPentatonic", "Arabic",      "Spanish", "Gypsy",     "Ryukyu"};
  const Strings roots = {"C", "Db", "D", "Eb", "E", "F", "Gb", "G", "Ab", "A", "Bb", "B"};
  const Strings variations = {"GATE", "PITCH", "DIR", "SHIFT", "E", "F", "Gb", "G", "Ab", "A", "Bb", "B"};
  return {
      {"midiMode",
       "MIDI Mode",
       4,
       Unit::indexed,
       0,
       1,
       defaultsToMPE ? 1.0F : 0.0F,
       {"Default", "MPE"},
       &I::midiMode},
      {"volume", "Volume", 0, Unit::generic, 0, 1, 0.75F, {"MIN", "MAX"}, &I::volume},
      {"pitchbendRange", "Wheel Range", 4, Unit::relativeSemitones, 0, 12, 3, none, &I::pitchbendRange},
      {"modwheelAmount", "Wheel Amount", 4, Unit::generic, -1, 1, 1, none, &I::modwheelAmount},
      {"voiceMode", "Voice Mode", 8, Unit::indexed, 0, 1, 0, {"Poly", "Unison"}, &I::voiceMode},
      {"voiceNumber", "#Voices", 8, Unit::generic, 1, kVoices, kVoices, none, &I::voiceNumber},
      {"voiceDetune", "Slop/Detune", 8, Unit::generic, 0, 1, 0, none, &I::voiceDetune},
      {"outputSaturation", "Soft Clip", 8, Unit::generic, 0, 1, 0, none, &I::outputSaturation},
      {"outputDistortion", "Drive", 128, Unit::generic, 0, 1, 0, none, &I::outputDistortion},
      {"outputDistortionTone", "Tone", 128, Unit::generic, -1, 1, 0, none, &I::outputDistortionTone},
      {"aftertouchAmount", "Key Pressure", 8, Unit::generic, -1, 1, 0, none, &I::aftertouchAmount},
      {"legato", "Legato", 8, Unit::boolean, 0, 1, 0, none, &I::legato},
      {"panSpread", "Pan Spread", 8, Unit::generic, 0, 1, 0, none, &I::panSpread},
      {"glideAmount", "Key Glide", 32, Unit::generic, 0, 1, 0, none, &I::glideAmount},
      {"slideAmount", "Key Slide", 32, Unit::generic, -1, 1, 0, none, &I::slideAmount},
      {"controlA", "CC A", 64, Unit::generic, 0, 255, 20, none, &I::controlA},
      {"controlB", "CC B", 64, Unit::generic, 0, 255, 21, none, &I::controlB},
      {"controlC", "CC C", 64, Unit::generic, 0, 255, 22, none, &I::controlC},
      {"controlX", "CC X", 64, Unit::generic, 0, 255, 4, none, &I::controlX},
      {"controlY", "CC Y", 64, Unit::generic, 0, 255, 1, none, &I::controlY},
      {"arpEnabled", "ARP Enabled", 16, Unit::boolean, 0, 1, 0, none, &I::arpEnabled},
      {"arpMode", "ARP Mode", 16, Unit::indexed, 0, 4, 0, {"UP", "DWN", "UP/DWN", "RND", "SEQ"}, &I::arpMode},
      {"arpClockDivision", "ARP Division", 16, Unit::indexed, 0, 7, 4, divisions, &I::arpClockDivision},
      {"arpRange", "ARP Range", 16, Unit::indexed, 0, 2, 0, {"+ 1", "+ 2", "+ 3"}, &I::arpRange},
      {"arpGateLength", "ARP Gate", 16, Unit::percent, 0, 100, 50, none, &I::arpGateLength},
      {"arpLatch", "ARP Latch", 16, Unit::boolean, 0, 1, 0, none, &I::arpLatch},
      {"midiChannel", "MIDI Channel", 4, Unit::generic, -1, 15, -1, none, &I::midiChannel},
      {"seqEnabled", "SEQ Enabled", 256, Unit::boolean, 0, 1, 0, none, &I::seqEnabled},
      {"seqMode",
       "SEQ Mode",
       256,
       Unit::indexed,
       0,
       4,
       0,
       {"FWD", "BWD", "PEND1", "PEND2", "RND", "SEQ"},
       &I::seqMode},
      {"seqClockDivision", "SEQ Division", 256, Unit::indexed, 0, 7, 4, divisions, &I::seqClockDivision},
      {"seqRange", "SEQ Range", 256, Unit::indexed, 0, 2, 0, {"1", "2", "3"}, &I::seqRange},
      {"seqGateLength", "SEQ Gate", 256, Unit::percent, 0, 100, 50, none, &I::seqGateLength},
      {"seqScale", "SEQ Scale", 256, Unit::indexed, 0, 17, 0, scales, &I::seqScale},
      {"seqRoot", "SEQ Root", 256, Unit::indexed, 0, 11, 0, roots, &I::seqRoot},
      {"seqKeyTranspose", "SEQ Transpose", 256, Unit::boolean, 0, 1, 0, none, &I::seqKeyTranspose},
      {"seqVariation", "SEQ Variation", 256, Unit::percent, 0, 100, 0, none, &I::seqVariation},
      {"seqVariationType", "SEQ Variation Type", 256, Unit::indexed, 0, 3, 0, variations,
       &I::seqVariationType},
      {"pitchbendRangeUp", "Wheel Range Up", 512, Unit::relativeSemitones, 0, 12, 2, none,
       &I::pitchbendRangeUp},
      {"pitchbendRangeDown", "Wheel Range Down", 512, Unit::relativeSemitones, 0, 24, 12, none,
       &I::pitchbendRangeDown},
  };
}

// An instrument built with the given flags, and the process's counter as its globals began to draw from it.
struct Built {
  explicit Built(unsigned flags) : instrument(44100.0F) {
    VoiceLog::shared() = VoiceLog{};
    const auto before = static_cast<int>(ZRDSPEntity::addr);
    instrument.initWithNumberOfVoices<RecordingVoice>(kVoices, 44100.0F, 1024, flags);
    firstGlobal = before + kVoices * instrument.voices[0]->numberOfParameters();
  }
  std::set<const ZRDSPParameter*> registered() {
    std::set<const ZRDSPParameter*> set;
    for (const ZRDSPParameter* p : instrument.ZRDSPEntity::parameters()) set.insert(p);
    return set;
  }
  ZRDSPInstrument instrument;
  int firstGlobal = 0;
};

class InstrumentParameterTable : public ::testing::TestWithParam<unsigned> {};

TEST_P(InstrumentParameterTable, EveryRecordBearsItsRowWhetherRegisteredOrNot) {
  const unsigned flags = GetParam();
  Built built(flags);

  for (const Row& row : rows((flags & 32U) != 0)) {
    const ZRDSPParameter& p = built.instrument.*row.record;
    EXPECT_EQ(p.identifier, row.identifier);
    EXPECT_EQ(p.name, row.name) << row.identifier;
    EXPECT_EQ(p.unit, row.unit) << row.identifier;
    EXPECT_EQ(p.minValue, row.minimum) << row.identifier;
    EXPECT_EQ(p.maxValue, row.maximum) << row.identifier;
    EXPECT_EQ(p.value, row.standard) << row.identifier;
    EXPECT_EQ(p.normalizedValueCache, row.standard / row.maximum) << row.identifier;
    EXPECT_EQ(p.valueStrings, row.strings) << row.identifier;
    EXPECT_EQ(p.flags, row.record == &ZRDSPInstrument::outputDistortion ? 0x50000U : 0xC2000000U)
        << row.identifier;
    EXPECT_EQ(p.dependsOnAddress, -1) << row.identifier;
  }
}

TEST_P(InstrumentParameterTable, ARowIsRegisteredIfItsBitIsSet) {
  const unsigned flags = GetParam();
  Built built(flags);
  const auto registered = built.registered();

  int count = 0;
  for (const Row& row : rows(false)) {
    const bool wanted = row.bit == 0 || (flags & row.bit) != 0;
    EXPECT_EQ(registered.count(&(built.instrument.*row.record)) == 1, wanted) << row.identifier;
    if (wanted) ++count;
  }
  EXPECT_EQ(static_cast<int>(registered.size()), count);
}

TEST_P(InstrumentParameterTable, AddressesRunOnInTableOrderAndUnregisteredRowsTakeTheNextWithoutUsingItUp) {
  const unsigned flags = GetParam();
  Built built(flags);

  int next = built.firstGlobal;
  for (const Row& row : rows(false)) {
    EXPECT_EQ((built.instrument.*row.record).address, next) << row.identifier;
    if (row.bit == 0 || (flags & row.bit) != 0) ++next;
  }
  EXPECT_EQ(static_cast<int>(ZRDSPEntity::addr), next);
}

INSTANTIATE_TEST_SUITE_P(Flags, InstrumentParameterTable,
                         ::testing::Values(0U, kTurboFlags, 4U, 8U, 16U, 32U, 64U, 128U, 256U, 512U, 1020U,
                                           0xFFFFFFFFU));

TEST(InstrumentParameters, ThereAreThirtyNineRows) { EXPECT_EQ(rows(false).size(), 39U); }

TEST(InstrumentParameters, TheTurboInstrumentOffersTwentyFive) {
  Built built(kTurboFlags);

  EXPECT_EQ(built.registered().size(), 25U);
}

TEST(InstrumentParameters, MPEIsTheDefaultOnlyWithItsBit) {
  Built with(32);
  Built without(4 | 8 | 16 | 64);

  EXPECT_TRUE(with.instrument.defaultsToMPE);
  EXPECT_EQ(with.instrument.midiMode.value, 1.0F);
  EXPECT_EQ(with.instrument.voices[2]->pitchbendRange, 48.0F);
  EXPECT_FALSE(without.instrument.defaultsToMPE);
  EXPECT_EQ(without.instrument.midiMode.value, 0.0F);
  EXPECT_EQ(without.instrument.voices[2]->pitchbendRange, 2.0F);
}

TEST(InstrumentParameters, TheTuningRecordIsNeverOffered) {
  Built built(0xFFFFFFFFU);

  EXPECT_EQ(built.registered().count(&built.instrument.tuning), 0U);
  EXPECT_EQ(built.instrument.tuning.value, 0.0F);
}

TEST(InstrumentParameters, AFreshInstrumentStandsAtItsDefaults) {
  const ZRDSPInstrument instrument(48000.0F);

  EXPECT_EQ(instrument.sampleRate, 48000.0F);
  EXPECT_EQ(instrument.numVoices, 0);
  EXPECT_TRUE(instrument.voices.empty());
  EXPECT_TRUE(instrument.effects.empty());
  EXPECT_TRUE(instrument.sendParameters.empty());
  EXPECT_TRUE(instrument.defaultsToMPE);
  EXPECT_EQ(instrument.mpeBendRange, 48.0F);
  EXPECT_EQ(instrument.notePriority, 0);
  EXPECT_EQ(instrument.currentVoiceMode, 0);
  EXPECT_EQ(instrument.rotateUnisonIndex, 0);
  EXPECT_FALSE(instrument.sustainHeld);
  EXPECT_EQ(instrument.voiceIndex, 0);
  EXPECT_EQ(instrument.lastNote, 0);
  EXPECT_EQ(instrument.lastChannel, 0);
  EXPECT_EQ(instrument.bendValue, 0.0F);
  EXPECT_EQ(instrument.currentBend, 0.0F);
  EXPECT_EQ(instrument.lastReleasedNote, 0);
  EXPECT_EQ(instrument.tempo, 120.0F);
  EXPECT_EQ(instrument.transportState, 0);
  EXPECT_EQ(instrument.timelinePosition, 0.0);
  EXPECT_EQ(instrument.slopValue, 0.0F);
  EXPECT_EQ(instrument.smoothedVolume, 0.0F);
  EXPECT_EQ(instrument.modMatrix, ZRDSPModMatrix::sharedMatrix());
}

TEST(InstrumentParameters, BuildingClearsNoteState) {
  ZRDSPInstrument instrument(44100.0F);
  instrument.sustainHeld = true;
  instrument.voiceIndex = 3;
  instrument.channelNotes.set(1, 60);
  instrument.heldNotes.set(60, nullptr);
  instrument.noteOrder.append(60);

  instrument.initWithNumberOfVoices<RecordingVoice>(2, 48000.0F, 256, kTurboFlags);

  EXPECT_FALSE(instrument.sustainHeld);
  EXPECT_EQ(instrument.voiceIndex, 0);
  EXPECT_TRUE(instrument.channelNotes.empty());
  EXPECT_TRUE(instrument.heldNotes.empty());
  EXPECT_TRUE(instrument.noteOrder.empty());
  EXPECT_EQ(instrument.sampleRate, 48000.0F);
  EXPECT_EQ(instrument.blockSize, 256);
  EXPECT_EQ(instrument.voices[0]->blockSize, 256);
  EXPECT_EQ(instrument.voices[1]->firstAddress, 0);
}

TEST(InstrumentParameters, VoicesTakeTheCallbackWhenBothItsPartsAreSet) {
  int context = 0;
  const auto callback = [](int, int, void*) { return 0; };
  ZRDSPInstrument both(44100.0F);
  both.voiceCallback = callback;
  both.voiceCallbackContext = &context;
  ZRDSPInstrument half(44100.0F);
  half.voiceCallback = callback;

  both.initWithNumberOfVoices<RecordingVoice>(2, 44100.0F, 64, kTurboFlags);
  half.initWithNumberOfVoices<RecordingVoice>(2, 44100.0F, 64, kTurboFlags);

  EXPECT_NE(both.voices[1]->voiceCallback, nullptr);
  EXPECT_EQ(both.voices[1]->voiceCallbackContext, &context);
  EXPECT_EQ(half.voices[1]->voiceCallback, nullptr);
}

TEST(InstrumentParameters, TheOutputFilterIsAPeakAt1000HzForEightTimesTheRate) {
  Built built(kTurboFlags);

  ASSERT_NE(built.instrument.outputFilter, nullptr);
  EXPECT_EQ(built.instrument.outputFilter->biquadType, ZRBiquadType::peaking);
  EXPECT_EQ(built.instrument.outputFilter->sections, 1);
  EXPECT_EQ(built.instrument.outputFilter->channels, 2);
  EXPECT_EQ(built.instrument.outputFilter->filterCutoff.value, 1000.0F);
  EXPECT_EQ(built.instrument.outputFilter->sampleRate, 8.0F * 44100.0F);
}

}  // namespace
}  // namespace morv
