// What the note path records for the arpeggiator, and the form that names its voice.

#include <gtest/gtest.h>

#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class ArpeggiatedNotes : public InstrumentFixture {
 protected:
  void useArpeggiator() {
    instrument->arpEnabled = 1.0F;
    instrument->arpStepSamples = 5000.5F;
  }
};

TEST_F(ArpeggiatedNotes, APolyNoteOnIsRecordedAndNotGated) {
  useArpeggiator();

  noteOn(60);
  noteOn(55);

  EXPECT_EQ(order(), (std::vector<int>{60, 55}));
  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(holderOf(55), 1);
  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(callsOf(0), (Calls{"pressure 0", "cc 74 0", "bend 0"}));
}

TEST_F(ArpeggiatedNotes, TheFirstHeldNoteStartsAStepAtOnce) {
  useArpeggiator();

  noteOn(60);
  EXPECT_EQ(instrument->arpCounter, 5000.5F);
  instrument->arpCounter = 7.0F;
  noteOn(64);

  EXPECT_EQ(instrument->arpCounter, 7.0F);
}

TEST_F(ArpeggiatedNotes, WithoutTheArpeggiatorNoOrderIsKept) {
  instrument->arpStepSamples = 5000.0F;

  noteOn(60);

  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(instrument->arpCounter, 0.0F);
}

TEST_F(ArpeggiatedNotes, APolyNoteOffDropsTheNewestOfTheOrderWhicheverItIs) {
  useArpeggiator();
  noteOn(60);
  noteOn(64);
  noteOn(67);

  noteOff(60);

  EXPECT_EQ(order(), (std::vector<int>{60, 64}));
  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(instrument->lastReleasedNote, 60);
}

TEST_F(ArpeggiatedNotes, TheLastPolyNoteOffClearsTheOrder) {
  useArpeggiator();
  noteOn(60);

  noteOff(60);

  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(instrument->lastReleasedNote, 60);
  EXPECT_EQ(instrument->numActiveVoices(), 0);
}

TEST_F(ArpeggiatedNotes, LatchKeepsTheNoteInBothRecords) {
  useArpeggiator();
  instrument->arpLatch = 1.0F;
  noteOn(60);
  noteOn(64);

  noteOff(60);

  EXPECT_EQ(order(), (std::vector<int>{60, 64}));
  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(instrument->lastReleasedNote, 0);
  EXPECT_EQ(channelNote(0), -1);
}

TEST_F(ArpeggiatedNotes, LatchWithoutTheArpeggiatorReleasesInPoly) {
  instrument->arpLatch = 1.0F;
  noteOn(60);
  noteOn(64);

  noteOff(60);

  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(instrument->lastReleasedNote, 0);
}

TEST_F(ArpeggiatedNotes, UnisonRecordsWithoutGatingAndStartsAStepOnce) {
  useUnison();
  useArpeggiator();

  noteOn(60);
  EXPECT_EQ(instrument->arpCounter, 5000.5F);
  instrument->arpCounter = 7.0F;
  noteOn(64);

  EXPECT_EQ(instrument->arpCounter, 7.0F);
  EXPECT_EQ(order(), (std::vector<int>{60, 64}));
  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(holderOf(60), 3);
}

TEST_F(ArpeggiatedNotes, UnisonLatchKeepsOrderStackAndMap) {
  useUnison();
  useArpeggiator();
  instrument->arpLatch = 1.0F;
  noteOn(60);

  noteOff(60);

  EXPECT_EQ(order(), (std::vector<int>{60}));
  EXPECT_EQ(stack(), (std::vector<int>{60}));
  EXPECT_EQ(holderOf(60), 3);
  EXPECT_EQ(instrument->lastReleasedNote, 0);
}

TEST_F(ArpeggiatedNotes, TheNamedVoiceTakesTheNoteWithoutASearch) {
  noteOn(60);
  forget();

  instrument->setGateWithNote(2, 1, 64, 90, 0);

  EXPECT_EQ(allCalls(),
            (Calls{"0: pressure 0", "0: cc 74 0", "0: bend 0", "0: gate 1 64 90 bend 0 channel 2"}));
  EXPECT_EQ(holderOf(64), 0);
  EXPECT_EQ(channelVoice(2), 0);
  EXPECT_EQ(channelNote(2), 64);
  EXPECT_EQ(instrument->lastNote, 64);
  EXPECT_EQ(instrument->voiceIndex, 2);
  EXPECT_EQ(takeDiagnostics(), "voice#: 0 channel:2 gate:1 note:64\n");
}

TEST_F(ArpeggiatedNotes, TheNamedVoicesLinePrintsTheVoiceAsked) {
  instrument->setGateWithNote(2, 1, 64, 90, 3);

  EXPECT_EQ(takeDiagnostics(), "voice#: 3 channel:2 gate:1 note:64\n");
  EXPECT_EQ(instrument->voiceIndex, 1);
}

TEST_F(ArpeggiatedNotes, TheNamedVoiceIsUsedInUnisonToo) {
  useUnison();

  instrument->setGateWithNote(0, 1, 64, 90, 2);

  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 1, 0}));
  EXPECT_EQ(stack(), std::vector<int>{});
}

TEST_F(ArpeggiatedNotes, TheNamedVoiceIsRecordedByTheArpeggiatorInstead) {
  useArpeggiator();

  instrument->setGateWithNote(0, 1, 64, 90, 2);

  EXPECT_EQ(order(), (std::vector<int>{64}));
  EXPECT_EQ(voice(2).gate, 0);
  EXPECT_EQ(instrument->arpCounter, 5000.5F);
}

TEST_F(ArpeggiatedNotes, TheNamedVoiceEndsWhicheverVoiceHoldsTheNote) {
  noteOn(60);
  noteOn(64);
  forget();

  instrument->setGateWithNote(0, 0, 60, 50, 1);

  EXPECT_EQ(allCalls(), (Calls{"1: gate 0 60 0 bend 0 channel 0"}));
  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(gates(), (std::vector<int>{1, 0, 0, 0}));
  EXPECT_EQ(takeDiagnostics(), "voice#: 1 channel:0 gate:0 note:60\n");
}

TEST_F(ArpeggiatedNotes, TheNamedVoicesOffWithNothingEverPlayedTouchesNoVoice) {
  instrument->setGateWithNote(0, 0, 60, 50, 1);

  EXPECT_EQ(callsOf(1), Calls{"setGate 0"});
}

TEST_F(ArpeggiatedNotes, TheNamedVoicesOffUnderTheArpeggiatorDropsOrderAndMap) {
  useArpeggiator();
  noteOn(60);
  noteOn(64);

  instrument->setGateWithNote(0, 0, 60, 0, 3);

  EXPECT_EQ(order(), (std::vector<int>{60}));
  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(instrument->lastReleasedNote, 60);
}

TEST_F(ArpeggiatedNotes, TheNamedVoicesOffIsCaughtByThePedal) {
  noteOn(60);
  instrument->setSustain(1);
  forget();

  instrument->setGateWithNote(0, 0, 60, 0, 2);

  EXPECT_EQ(sustained(), (std::vector<int>{0}));
  EXPECT_EQ(allCalls(), Calls{});
}

TEST_F(ArpeggiatedNotes, AVoiceOutsideTheBankDoesNothing) {
  instrument->setGateWithNote(0, 1, 60, 100, 4);
  instrument->setGateWithNote(0, 1, 60, 100, -1);

  EXPECT_EQ(instrument->numActiveVoices(), 0);
  EXPECT_EQ(allCalls(), Calls{});
}

TEST_F(ArpeggiatedNotes, TheFormWithASampleTimeDoesNothing) {
  instrument->setGateWithNote(0, 1, 60, 100, 12.0);

  EXPECT_EQ(instrument->numActiveVoices(), 0);
  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(takeDiagnostics(), "");
}

}  // namespace
}  // namespace morv
