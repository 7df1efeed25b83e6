// All voices on one note: the stack of held notes, its three priorities, legato and the way back.

#include <gtest/gtest.h>

#include <vector>

#include "platform/Random.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

enum Priority : int { kLowest = 0, kHighest = 1, kLast = 2 };

class UnisonNotes : public InstrumentFixture {
 protected:
  UnisonNotes() {
    build(2);
    useUnison();
  }
  void prefer(Priority priority) { instrument->setNotePriority(priority); }
};

TEST_F(UnisonNotes, ANoteOnPreparesAndRestartsEveryVoice) {
  instrument->currentBend = 0.5F;

  noteOn(60, 99, 3);

  const Calls each = {"pressure 0", "cc 74 0", "bend 0.5", "gateAt 0 60 0 0",
                      "gate 1 60 99 bend 0 channel 3"};
  EXPECT_EQ(callsOf(0), each);
  EXPECT_EQ(callsOf(1), each);
  EXPECT_EQ(allCalls()[5], "1: pressure 0") << "one voice behind the other";
}

TEST_F(UnisonNotes, ANoteOnIsKeptUnderTheLastVoice) {
  noteOn(60, 99, 3);

  EXPECT_EQ(holderOf(60), 1);
  EXPECT_EQ(channelVoice(3), 1);
  EXPECT_EQ(channelNote(3), 60);
  EXPECT_EQ(instrument->lastNote, 60);
  EXPECT_EQ(instrument->lastChannel, 3);
  EXPECT_EQ(instrument->voiceIndex, 1);
  EXPECT_EQ(order(), (std::vector<int>{60}));
  EXPECT_EQ(takeDiagnostics(), "voice#: 1 channel:3 gate:1 note:60\n");
}

TEST_F(UnisonNotes, AHeldNoteIsRecordedWithItsVelocityAndNothingElse) {
  noteOn(60, 99, 3);

  ASSERT_EQ(instrument->noteStack.size(), 1U);
  const NoteState& held = instrument->noteStack[0];
  EXPECT_EQ(held.note, 60);
  EXPECT_EQ(held.channel, 3);
  EXPECT_EQ(held.velocity, 99.0F);
  EXPECT_EQ(held.pitchbend, 0.0F);
  EXPECT_EQ(held.pressure, 0.0F);
  EXPECT_EQ(held.slide, 0.0F);
}

TEST_F(UnisonNotes, EveryVoiceDrawsAPlaceOfItsOwn) {
  instrument->panSpread = 1.0F;
  instrument->setRandomSeed(5);
  Random same(Random::derive(5, 0));

  noteOn(60);

  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(voice(i).panTarget, static_cast<float>((0.5 - static_cast<double>(same.unit31())) * 2.0)) << i;
  }
  EXPECT_NE(voice(0).panTarget, voice(1).panTarget);
}

TEST_F(UnisonNotes, TheBaseFrequencyIsLeftAlone) {
  instrument->tuning = 3.0F;
  voice(0).baseFrequency = 440.0F;

  noteOn(60);

  EXPECT_EQ(voice(0).baseFrequency, 440.0F);
}

TEST_F(UnisonNotes, VoicesBeyondTheNumberInUseAreGatedToo) {
  instrument->voiceNumber = 1.0F;

  noteOn(60);

  EXPECT_EQ(gates(), (std::vector<int>{1, 1}));
}

TEST_F(UnisonNotes, LowestNotePriorityKeepsTheLowestWhenAHigherOneComes) {
  prefer(kLowest);
  noteOn(48, 100, 1);
  forget();

  noteOn(60, 90, 2);

  EXPECT_EQ(callsOf(0).back(), "gate 1 48 90 bend 0 channel 2");
  EXPECT_EQ(stack(), (std::vector<int>{48, 60}));
  EXPECT_EQ(instrument->lastNote, 48);
  EXPECT_EQ(instrument->lastChannel, 1);
  EXPECT_EQ(channelNote(2), 48);
  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(order(), (std::vector<int>{48, 60}));
  EXPECT_EQ(takeDiagnostics(), "voice#: 2 channel:2 gate:1 note:48\n");
}

TEST_F(UnisonNotes, HighestNotePriorityKeepsTheHighest) {
  prefer(kHighest);
  noteOn(48, 100, 1);
  noteOn(60, 90, 2);
  forget();

  noteOn(55, 80, 3);

  EXPECT_EQ(callsOf(0).back(), "gate 1 60 80 bend 0 channel 3");
  EXPECT_EQ(stack(), (std::vector<int>{60, 55, 48}));
  EXPECT_EQ(instrument->lastChannel, 2);
}

TEST_F(UnisonNotes, LastNotePriorityFollowsThePlayer) {
  prefer(kLast);
  noteOn(60, 100, 1);
  forget();

  noteOn(48, 90, 2);

  EXPECT_EQ(callsOf(0).back(), "gate 1 48 90 bend 0 channel 2");
  EXPECT_EQ(stack(), (std::vector<int>{60, 48}));
  EXPECT_EQ(instrument->lastChannel, 2);
  EXPECT_EQ(instrument->lastNote, 48);
}

TEST_F(UnisonNotes, EqualNotesKeepTheOrderInWhichTheyCame) {
  prefer(kLowest);
  noteOn(60, 1, 1);
  noteOn(60, 2, 2);
  noteOn(60, 3, 3);

  EXPECT_EQ(instrument->noteStack[0].velocity, 1.0F);
  EXPECT_EQ(instrument->noteStack[1].velocity, 2.0F);
  EXPECT_EQ(instrument->noteStack[2].velocity, 3.0F);
  EXPECT_EQ(instrument->lastChannel, 1);
}

TEST_F(UnisonNotes, WithLegatoASecondNoteOnlyChangesThePitch) {
  prefer(kLast);
  instrument->legato = 1.0F;
  noteOn(60);
  forget();

  noteOn(64);

  EXPECT_EQ(callsOf(0), (Calls{"pressure 0", "cc 74 0", "bend 0", "note 64"}));
  EXPECT_EQ(callsOf(1), callsOf(0));
}

TEST_F(UnisonNotes, WithLegatoTheFirstNoteIsStillAnAttack) {
  instrument->legato = 1.0F;

  noteOn(60);

  EXPECT_EQ(callsOf(0).back(), "gate 1 60 100 bend 0 channel 0");
}

TEST_F(UnisonNotes, LegatoOnTheWayInIsCutAndOnTheWayBackRounded) {
  prefer(kLast);
  instrument->legato = 0.6F;
  noteOn(60);
  forget();

  noteOn(64);
  EXPECT_EQ(callsOf(0).back(), "gate 1 64 100 bend 0 channel 0");
  forget();
  noteOff(64);

  EXPECT_EQ(callsOf(0)[3], "note 60");
}

TEST_F(UnisonNotes, TheLastNoteOffClosesTheVoices) {
  noteOn(60, 100, 3);
  forget();

  noteOff(60, 50, 3);

  EXPECT_EQ(callsOf(0), (Calls{"gateAt 0 60 0 0", "setGate 0"}));
  EXPECT_EQ(callsOf(1), (Calls{"gateAt 0 60 0 0", "setGate 0"}));
  EXPECT_TRUE(instrument->heldNotes.empty());
  EXPECT_EQ(channelNote(3), -1);
  EXPECT_EQ(channelVoice(3), 1);
  EXPECT_EQ(instrument->voiceIndex, 0);
  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(stack(), std::vector<int>{});
  EXPECT_EQ(instrument->lastReleasedNote, 60);
  EXPECT_EQ(takeDiagnostics(), "voice#: 0 channel:3 gate:0 note:60\n");
}

TEST_F(UnisonNotes, FallingBackWithoutLegatoAttacksAgainWithTheReleaseVelocity) {
  prefer(kLast);
  noteOn(60, 100, 1);
  noteOn(64, 90, 2);
  forget();

  noteOff(64, 33, 2);

  EXPECT_EQ(callsOf(0), (Calls{"pressure 0", "cc 74 0", "bend 0", "gateAt 0 64 0 0", "gateAt 1 60 33 0",
                               "bend 0", "pressure 0", "cc 74 0"}));
  EXPECT_EQ(callsOf(1), callsOf(0));
  EXPECT_EQ(instrument->lastChannel, 1);
  EXPECT_EQ(instrument->voiceIndex, 1);
  EXPECT_EQ(holderOf(64), -1);
  EXPECT_EQ(holderOf(60), 1);
  EXPECT_EQ(channelNote(2), -1);
}

TEST_F(UnisonNotes, FallingBackWithLegatoChangesThePitchAlone) {
  prefer(kLast);
  instrument->legato = 1.0F;
  noteOn(60);
  noteOn(64);
  forget();

  noteOff(64, 33);

  EXPECT_EQ(callsOf(0),
            (Calls{"pressure 0", "cc 74 0", "bend 0", "note 60", "bend 0", "pressure 0", "cc 74 0"}));
}

TEST_F(UnisonNotes, FallingBackBringsTheNotesOwnExpression) {
  useMPE();
  prefer(kLast);
  instrument->slideAmount = 0.5F;
  noteOn(60, 100, 1);
  noteOn(64, 100, 2);
  instrument->setPitchbend(1, 12288);
  instrument->setMIDICC(1, 74, 101);
  forget();

  noteOff(64, 0, 2);

  EXPECT_EQ(callsOf(0), (Calls{"pressure 0", "cc 74 0", "bend 0.5", "gateAt 0 64 0 0", "gateAt 1 60 0 0",
                               "bend 0.5", "pressure 0", "cc 74 50"}));
}

TEST_F(UnisonNotes, ReleasingTheFirstOfTwoWithLowestPriorityAttacksTheOtherWithTheReleaseVelocity) {
  prefer(kLowest);
  noteOn(48, 100);
  noteOn(60, 100);
  forget();

  noteOff(48, 21);

  // The front of the stack is now 60, and so the note to fall back to and the one to erase are both 60.
  EXPECT_EQ(callsOf(0)[3], "gateAt 0 60 0 0");
  EXPECT_EQ(callsOf(0)[4], "gateAt 1 60 21 0");
  EXPECT_EQ(holderOf(48), 1);
  EXPECT_EQ(gates(), (std::vector<int>{1, 1}));
}

TEST_F(UnisonNotes, ReleasingTheHigherOfTwoWithLowestPriorityEndsInSilence) {
  prefer(kLowest);
  noteOn(48);
  noteOn(60);
  forget();

  noteOff(60);

  EXPECT_TRUE(instrument->heldNotes.empty());
  EXPECT_EQ(gates(), (std::vector<int>{0, 0}));
  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(stack(), (std::vector<int>{48}));
  EXPECT_EQ(takeDiagnostics(), "voice#: 0 channel:0 gate:0 note:48\n");
}

TEST_F(UnisonNotes, LowestPriorityFallsBackToTheHighestRemainingNote) {
  prefer(kLowest);
  for (const int note : {48, 55, 60}) noteOn(note);
  forget();

  noteOff(48, 10);

  EXPECT_EQ(callsOf(0)[3], "gateAt 0 55 0 0");
  EXPECT_EQ(callsOf(0)[4], "gateAt 1 60 10 0");
}

TEST_F(UnisonNotes, HighestPriorityFallsBackToTheLowestRemainingNote) {
  prefer(kHighest);
  for (const int note : {48, 55, 60}) noteOn(note);
  forget();

  noteOff(60, 10);

  EXPECT_EQ(callsOf(0)[3], "gateAt 0 55 0 0");
  EXPECT_EQ(callsOf(0)[4], "gateAt 1 48 10 0");
}

TEST_F(UnisonNotes, LastChannelOfAFallBackIsTheOneOfItsNote) {
  prefer(kLowest);
  noteOn(48, 100, 1);
  noteOn(55, 100, 2);
  noteOn(60, 100, 3);

  noteOff(48, 0, 1);

  EXPECT_EQ(instrument->lastChannel, 3);
}

TEST_F(UnisonNotes, OfTwoEqualNotesSideBySideOneStaysInOrderAndStack) {
  prefer(kLast);
  noteOn(60);
  noteOn(60);
  noteOn(64);

  noteOff(60);

  EXPECT_EQ(order(), (std::vector<int>{60, 64}));
  EXPECT_EQ(stack(), (std::vector<int>{60, 64}));
}

TEST_F(UnisonNotes, EqualNotesApartGoTogether) {
  prefer(kLast);
  noteOn(60);
  noteOn(64);
  noteOn(60);

  noteOff(60);

  EXPECT_EQ(order(), (std::vector<int>{64}));
  EXPECT_EQ(stack(), (std::vector<int>{64}));
}

TEST_F(UnisonNotes, ANoteOffOfNothingWithAnEmptyOrderClosesTheVoices) {
  noteOn(60);
  noteOn(62);
  instrument->noteOrder.clear();
  forget();

  noteOff(70);

  EXPECT_EQ(callsOf(0).front(), "gateAt 0 60 0 0");
}

TEST_F(UnisonNotes, WithAnEmptyStackAFallBackDoesNothing) {
  noteOn(60);
  noteOn(62);
  instrument->noteStack.clear();
  forget();

  noteOff(62);

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(instrument->voiceIndex, 1);
}

TEST_F(UnisonNotes, TheCountOfNotesNeverGoesBelowZero) {
  noteOff(60);
  noteOff(61);
  EXPECT_EQ(instrument->voiceIndex, 0);

  noteOn(60);

  EXPECT_EQ(instrument->voiceIndex, 1);
}

TEST_F(UnisonNotes, TheRotatingFormCountsThroughTheBank) {
  instrument->rotateUnisonIndex = 1;

  noteOn(60);
  EXPECT_EQ(instrument->voiceIndex, 1);
  noteOn(61);
  EXPECT_EQ(instrument->voiceIndex, 0);
}

}  // namespace
}  // namespace morv
