// The pedal delays note-offs.

#include <gtest/gtest.h>

#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class SustainPedal : public InstrumentFixture {
 protected:
  void press() { instrument->setSustain(1); }
  void release() { instrument->setSustain(0); }
};

TEST_F(SustainPedal, ANoteOffUnderThePedalLeavesItsVoiceGated) {
  noteOn(60);
  press();
  forget();

  noteOff(60);

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(sustained(), (std::vector<int>{0}));
  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(takeDiagnostics(), "") << "the event stops ahead of its line";
}

TEST_F(SustainPedal, ReleaseSendsTheNoteOffWithTheVoicesNoteAndChannel) {
  noteOn(60, 100, 3);
  noteOn(64, 100, 5);
  press();
  noteOff(60, 50, 3);
  forget();

  release();

  EXPECT_EQ(allCalls(), (Calls{"0: gate 0 60 0 bend 0 channel 3"}));
  EXPECT_EQ(takeDiagnostics(), "voice#: 2 channel:3 gate:0 note:60\n");
  EXPECT_EQ(sustained(), std::vector<int>{});
  EXPECT_FALSE(instrument->sustainHeld);
  EXPECT_EQ(gates(), (std::vector<int>{0, 1, 0, 0}));
}

TEST_F(SustainPedal, NotesStillHeldSoundOnAfterTheRelease) {
  noteOn(60);
  press();

  release();

  EXPECT_EQ(gates(), (std::vector<int>{1, 0, 0, 0}));
}

TEST_F(SustainPedal, ANewNoteOnOfTheSameNoteTakesANewVoice) {
  noteOn(60);
  press();
  noteOff(60);

  noteOn(60);

  EXPECT_EQ(holderOf(60), 1);
  EXPECT_EQ(gates(), (std::vector<int>{1, 1, 0, 0}));
  EXPECT_EQ(sustained(), (std::vector<int>{0}));
}

TEST_F(SustainPedal, OfTwoVoicesOnOneNoteTheReleaseFindsTheNewerOnly) {
  noteOn(60);
  noteOn(72);
  press();
  noteOff(60);
  noteOn(60);
  noteOff(60);
  ASSERT_EQ(sustained(), (std::vector<int>{0, 2}));

  release();

  EXPECT_EQ(gates(), (std::vector<int>{1, 1, 0, 0}));
}

TEST_F(SustainPedal, ARepeatedNoteOffIsRememberedTwiceAndReleasedOnce) {
  noteOn(60);
  noteOn(64);
  press();
  noteOff(60);
  noteOff(60);
  EXPECT_EQ(sustained(), (std::vector<int>{0, 0}));
  forget();

  release();

  EXPECT_EQ(allCalls(), (Calls{"0: gate 0 60 0 bend 0 channel 0"}));
  EXPECT_EQ(takeDiagnostics(), "voice#: 2 channel:0 gate:0 note:60\nvoice#: 2 channel:0 gate:0 note:60\n");
}

TEST_F(SustainPedal, AnUnknownNoteOffUnderThePedalIsForgotten) {
  press();

  noteOff(60);

  EXPECT_EQ(sustained(), std::vector<int>{});
}

TEST_F(SustainPedal, NoteOnsPassUnderThePedal) {
  press();

  noteOn(60);

  EXPECT_EQ(voice(0).gate, 1);
}

TEST_F(SustainPedal, ANoteOffOnAForeignChannelIsStillCaughtAndItsReleaseFiltered) {
  noteOn(60, 100, 5);
  noteOn(62, 100, 4);
  instrument->midiChannel = 4.0F;
  press();

  noteOff(60, 0, 5);
  EXPECT_EQ(sustained(), (std::vector<int>{0}));
  release();

  EXPECT_EQ(voice(0).gate, 1);
  EXPECT_EQ(sustained(), std::vector<int>{});
}

TEST_F(SustainPedal, PressingTwiceKeepsWhatIsHeld) {
  noteOn(60);
  press();
  noteOff(60);

  press();

  EXPECT_EQ(sustained(), (std::vector<int>{0}));
  EXPECT_TRUE(instrument->sustainHeld);
}

TEST_F(SustainPedal, ReleasingAPedalThatIsUpDoesNothing) {
  noteOn(60);
  instrument->sustainedVoices.append(&voice(0));
  forget();

  release();

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(sustained(), (std::vector<int>{0}));
}

TEST_F(SustainPedal, AnyValueButZeroIsDown) {
  instrument->setSustain(-1);
  EXPECT_TRUE(instrument->sustainHeld);
}

TEST_F(SustainPedal, AllNotesOffLeavesThePedalAndItsVoicesListed) {
  noteOn(60);
  press();
  noteOff(60);

  instrument->setAllNotesOff();

  EXPECT_TRUE(instrument->sustainHeld);
  EXPECT_EQ(sustained(), (std::vector<int>{0}));
}

TEST_F(SustainPedal, InMPEThePedalCatchesTheVoiceOfTheChannel) {
  useMPE();
  noteOn(60, 100, 2);
  noteOn(62, 100, 3);
  press();
  noteOff(60, 0, 2);
  EXPECT_EQ(sustained(), (std::vector<int>{0}));

  release();

  EXPECT_EQ(gates(), (std::vector<int>{0, 1, 0, 0}));
}

TEST_F(SustainPedal, InUnisonTheReleaseEndsTheNote) {
  useUnison();
  noteOn(60);
  press();
  noteOff(60);
  EXPECT_EQ(sustained(), (std::vector<int>{3}));
  EXPECT_EQ(gates(), (std::vector<int>{1, 1, 1, 1}));

  release();

  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(stack(), std::vector<int>{});
}

TEST_F(SustainPedal, AStolenVoiceIsNotEndedByTheRelease) {
  for (int note = 60; note < 64; ++note) noteOn(note);
  press();
  noteOff(61);
  noteOn(70);
  ASSERT_EQ(holderOf(70), 1);

  release();

  EXPECT_EQ(gates(), (std::vector<int>{1, 1, 1, 1}));
}

TEST_F(SustainPedal, AFullListKeepsWhatItHas) {
  noteOn(60);
  noteOn(64);
  press();
  noteOff(60);
  for (std::size_t i = 0; i < ZRDSPInstrument::kMaxHeldOrder + 5; ++i) noteOff(64);
  EXPECT_EQ(sustained().size(), ZRDSPInstrument::kMaxHeldOrder);

  release();

  EXPECT_EQ(gates(), (std::vector<int>{0, 0, 0, 0}));
}

}  // namespace
}  // namespace morv
