// One voice per note: search, steal, release, and what the arpeggiator changes.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Random.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class PolyNotes : public InstrumentFixture {};

TEST_F(PolyNotes, ANoteOnPreparesItsVoiceAndGatesIt) {
  instrument->currentBend = 0.25F;

  noteOn(60, 99, 3);

  EXPECT_EQ(allCalls(),
            (Calls{"0: pressure 0", "0: cc 74 0", "0: bend 0.25", "0: gate 1 60 99 bend 0.25 channel 3"}));
  EXPECT_EQ(voice(0).sampleTime, 3);
  EXPECT_EQ(voice(0).baseFrequency, 0.0F);
}

TEST_F(PolyNotes, ANoteOnIsKeptUnderItsNoteAndChannel) {
  noteOn(60, 99, 3);
  noteOn(64, 99, 5);

  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(holderOf(64), 1);
  EXPECT_EQ(channelVoice(3), 0);
  EXPECT_EQ(channelVoice(5), 1);
  EXPECT_EQ(channelNote(3), 60);
  EXPECT_EQ(channelNote(5), 64);
  EXPECT_EQ(instrument->lastNote, 64);
  EXPECT_EQ(instrument->voiceIndex, 2);
  EXPECT_EQ(instrument->numActiveVoices(), 2);
  EXPECT_EQ(instrument->currentVoiceMode, 0);
}

TEST_F(PolyNotes, TheTuningRecordsValueGoesToTheVoice) {
  instrument->tuning = 2.5F;

  noteOn(60);

  EXPECT_EQ(voice(0).baseFrequency, 2.5F);
}

TEST_F(PolyNotes, PanIsARandomPlaceWithinTheSpread) {
  instrument->panSpread = 0.5F;
  instrument->setRandomSeed(33);
  Random same(Random::derive(33, 0));

  for (int i = 0; i < 4; ++i) noteOn(60 + i);

  for (int i = 0; i < 4; ++i) {
    const double expected = 0.5 * (0.5 - static_cast<double>(same.unit31())) * 2.0;
    EXPECT_EQ(voice(i).panTarget, static_cast<float>(expected)) << i;
    EXPECT_LE(std::abs(voice(i).panTarget), 0.5F) << i;
  }
}

TEST_F(PolyNotes, WithoutSpreadEveryNoteSitsInTheMiddle) {
  voice(0).panTarget = 0.7F;

  noteOn(60);

  EXPECT_EQ(voice(0).panTarget, 0.0F);
}

TEST_F(PolyNotes, TheSearchStartsBehindTheLastVoiceTaken) {
  noteOn(60);
  noteOn(61);
  noteOff(60);

  noteOn(62);

  EXPECT_EQ(holderOf(62), 2);
  EXPECT_EQ(instrument->voiceIndex, 3);
}

TEST_F(PolyNotes, BusyVoicesArePassedOver) {
  for (int note = 60; note < 64; ++note) noteOn(note);
  noteOff(62);

  noteOn(70);

  EXPECT_EQ(holderOf(70), 2);
  EXPECT_EQ(instrument->voiceIndex, 3);
}

TEST_F(PolyNotes, AVoiceInItsReleaseCountsAsFree) {
  for (int note = 60; note < 64; ++note) noteOn(note);
  voice(0).gate = 0;

  noteOn(70);

  EXPECT_EQ(holderOf(70), 0);
}

TEST_F(PolyNotes, WithAllVoicesBusyTheOneBehindTheStartOfTheSearchIsStolen) {
  for (int note = 60; note < 64; ++note) noteOn(note);

  noteOn(70);

  EXPECT_EQ(holderOf(70), 1);
  EXPECT_EQ(voice(1).note, 70);
  EXPECT_EQ(instrument->voiceIndex, 2);
}

TEST_F(PolyNotes, ANinthNoteOfEightTakesTheSecondVoiceAndTheOlderNotesOffStopsIt) {
  build(8);
  for (int note = 60; note < 68; ++note) noteOn(note);

  noteOn(80);
  EXPECT_EQ(holderOf(80), 1);
  EXPECT_EQ(holderOf(61), 1);
  noteOff(61);

  EXPECT_EQ(voice(1).gate, 0);
  EXPECT_EQ(holderOf(61), -1);
  EXPECT_EQ(holderOf(80), 1);
}

TEST_F(PolyNotes, AStealTakesAllEntriesOfTheVoiceOutOfTheSustainedOnes) {
  for (int note = 60; note < 64; ++note) noteOn(note);
  instrument->setSustain(1);
  noteOff(60);
  noteOff(61);
  noteOff(61);
  ASSERT_EQ(sustained(), (std::vector<int>{0, 1, 1}));

  noteOn(70);

  EXPECT_EQ(sustained(), (std::vector<int>{0}));
}

TEST_F(PolyNotes, TheSearchStaysInsideTheVoicesInUse) {
  instrument->voiceNumber = 2.0F;

  noteOn(60);
  noteOn(61);
  noteOn(62);

  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(holderOf(61), 1);
  EXPECT_EQ(holderOf(62), 1);
  EXPECT_EQ(instrument->voiceIndex, 0);
  EXPECT_EQ(gates(), (std::vector<int>{1, 1, 0, 0}));
}

TEST_F(PolyNotes, TheWalkTakesTheIntegerPartAndTheStealTheRoundedNumberOfVoices) {
  // 2.5 voices: the walk goes over 2, the steal comes when more than 3 steps were made.
  instrument->voiceNumber = 2.5F;
  noteOn(60);
  noteOn(61);

  noteOn(62);

  EXPECT_EQ(holderOf(62), 0);
}

TEST_F(PolyNotes, AStartBeyondTheVoicesInUseIsTakenIfItIsFree) {
  instrument->voiceIndex = 3;
  instrument->voiceNumber = 2.0F;

  noteOn(60);

  EXPECT_EQ(holderOf(60), 3);
  EXPECT_EQ(instrument->voiceIndex, 0);
}

TEST_F(PolyNotes, AStartOutsideTheBankGoesBackToTheFirstVoice) {
  instrument->voiceIndex = 4;

  noteOn(60);

  EXPECT_EQ(holderOf(60), 0);
}

TEST_F(PolyNotes, OneVoiceIsStolenFromItself) {
  instrument->voiceNumber = 1.0F;

  noteOn(60);
  noteOn(64);

  EXPECT_EQ(holderOf(64), 0);
  EXPECT_EQ(voice(0).note, 64);
}

TEST_F(PolyNotes, ANoteOffGatesItsVoiceOffWithoutBendOrVelocity) {
  noteOn(60, 100, 2);
  noteOn(64, 100, 2);
  forget();

  noteOff(60, 77, 2);

  EXPECT_EQ(allCalls(), (Calls{"0: gate 0 60 0 bend 0 channel 2"}));
  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(channelNote(2), -1);
  EXPECT_EQ(channelVoice(2), 1);
  EXPECT_EQ(holderOf(64), 1);
}

TEST_F(PolyNotes, AnUnknownNoteOffTouchesNoVoice) {
  noteOn(60);
  forget();

  noteOff(61);

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(takeDiagnostics(), "voice#: 1 channel:0 gate:0 note:61\n");
}

TEST_F(PolyNotes, TheLastNoteOffClosesEveryGateAndStartsOver) {
  noteOn(60);
  noteOn(61);
  noteOff(60);
  forget();

  noteOff(61);

  EXPECT_EQ(allCalls(), (Calls{"1: gate 0 61 0 bend 0 channel 0", "0: setGate 0", "1: setGate 0",
                               "2: setGate 0", "3: setGate 0"}));
  EXPECT_EQ(instrument->voiceIndex, 0);
  EXPECT_TRUE(instrument->channelNotes.empty());
}

TEST_F(PolyNotes, TheSameNoteTwiceTakesTwoVoicesAndItsOffEndsTheNewer) {
  noteOn(60);
  noteOn(60);
  noteOn(72);
  EXPECT_EQ(holderOf(60), 1);

  noteOff(60);
  EXPECT_EQ(gates(), (std::vector<int>{1, 0, 1, 0}));
  noteOff(60);

  EXPECT_EQ(gates(), (std::vector<int>{1, 0, 1, 0}));
}

TEST_F(PolyNotes, EveryEventPrintsItsLine) {
  noteOn(60, 100, 3);
  EXPECT_EQ(takeDiagnostics(), "voice#: 1 channel:3 gate:1 note:60\n");
  noteOff(60, 0, 3);

  EXPECT_EQ(takeDiagnostics(), "voice#: 0 channel:3 gate:0 note:60\n");
}

TEST_F(PolyNotes, ModeIsReadAtTheEvent) {
  instrument->voiceMode = 1.9F;
  noteOn(60);
  EXPECT_EQ(instrument->currentVoiceMode, 1);

  instrument->voiceMode = 0.9F;
  noteOn(61);

  EXPECT_EQ(instrument->currentVoiceMode, 0);
}

TEST_F(PolyNotes, ABankWithoutVoicesTakesNotesInSilence) {
  build(0);

  noteOn(60);
  noteOff(60);
  instrument->setGateWithNote(0, 1, 60, 100, 0);
  instrument->setAllNotesOff();
  instrument->setGate(1);

  EXPECT_EQ(instrument->numActiveVoices(), 0);
  EXPECT_EQ(allCalls(), Calls{});
}

// MPE in Poly: a channel's note-off finds the channel's voice.
TEST_F(PolyNotes, InMPEANoteOffEndsTheVoiceOfItsChannel) {
  useMPE();
  noteOn(60, 100, 2);
  noteOn(60, 100, 3);
  forget();

  noteOff(60, 0, 2);

  EXPECT_EQ(callsOf(0).front(), "gate 0 60 0 bend 0 channel 2");
  EXPECT_EQ(voice(1).gate, 0) << "the shared note's entry goes, and with it the last held note";
}

TEST_F(PolyNotes, InMPEAReleasedChannelKeepsItsLastVoice) {
  useMPE();
  noteOn(60, 100, 2);
  noteOn(64, 100, 3);
  noteOff(60, 0, 2);

  EXPECT_EQ(channelVoice(2), 0);
  EXPECT_EQ(channelNote(2), -1);
  EXPECT_EQ(instrument->voiceForNote(60, 2), instrument->voices[0].get());
}

TEST_F(PolyNotes, InMPEANoteOffOnChannelZeroLooksByNote) {
  useMPE();
  noteOn(60, 100, 0);
  noteOn(64, 100, 0);

  noteOff(60, 0, 0);

  EXPECT_EQ(gates(), (std::vector<int>{0, 1, 0, 0}));
}

TEST_F(PolyNotes, VoiceForNoteLooksByNoteOutsideMPEAndByChannelInIt) {
  noteOn(60, 100, 2);
  noteOn(64, 100, 3);
  EXPECT_EQ(instrument->voiceForNote(60, 3), instrument->voices[0].get());
  EXPECT_EQ(instrument->voiceForNote(65, 3), nullptr);

  useMPE();

  EXPECT_EQ(instrument->voiceForNote(60, 3), instrument->voices[1].get());
  EXPECT_EQ(instrument->voiceForNote(64, 0), instrument->voices[1].get());
  EXPECT_EQ(instrument->voiceForNote(60, 5), nullptr);
  EXPECT_EQ(instrument->voiceForNote(-1, 0), nullptr);
  EXPECT_EQ(instrument->voiceForNote(128, 0), nullptr);
}

class ChannelFilter : public InstrumentFixture {};

TEST_F(ChannelFilter, InOrdinaryModeOtherChannelsAreDroppedWithoutALine) {
  instrument->midiChannel = 4.0F;

  noteOn(60, 100, 5);
  instrument->setGateWithNote(5, 1, 60, 100, 0);
  instrument->setMIDICC(5, 1, 100);
  instrument->setPitchbend(5, 0);
  instrument->setChannelPressure(5, 100);

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(takeDiagnostics(), "");
  EXPECT_EQ(instrument->bendValue, 0.0F);
}

TEST_F(ChannelFilter, TheWantedChannelPasses) {
  instrument->midiChannel = 4.0F;

  noteOn(60, 100, 4);

  EXPECT_EQ(holderOf(60), 0);
}

TEST_F(ChannelFilter, ChannelZeroIsAWantedChannelToo) {
  instrument->midiChannel = 0.0F;

  noteOn(60, 100, 1);
  noteOn(61, 100, 0);

  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(holderOf(61), 0);
}

TEST_F(ChannelFilter, MinusOneLetsAllPass) {
  noteOn(60, 100, 15);
  noteOn(61, 100, 0);

  EXPECT_EQ(instrument->numActiveVoices(), 2);
}

TEST_F(ChannelFilter, NothingIsFilteredInMPE) {
  useMPE();
  instrument->midiChannel = 4.0F;

  noteOn(60, 100, 5);

  EXPECT_EQ(holderOf(60), 0);
}

TEST_F(ChannelFilter, PolyPressureIsNotFiltered) {
  noteOn(60, 100, 0);
  instrument->midiChannel = 4.0F;
  instrument->aftertouchAmount = 1.0F;

  instrument->setPolyAftertouch(60, 90);

  EXPECT_EQ(voice(0).pressure, 90.0F);
}

}  // namespace
}  // namespace morv
