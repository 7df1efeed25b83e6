// What ends all notes at once, and the operations that reach every voice.

#include <gtest/gtest.h>

#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class AllNotesOff : public InstrumentFixture {
 protected:
  AllNotesOff() {
    build(2);
    useUnison();
  }
};

TEST_F(AllNotesOff, InUnisonKeepsTheStackAndALaterNoteOffErasesIt) {
  instrument->setNotePriority(2);
  noteOn(60);
  noteOn(64);

  instrument->setAllNotesOff();
  EXPECT_EQ(stack(), (std::vector<int>{60, 64}));
  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(instrument->heldNotes.size(), 2);
  EXPECT_TRUE(instrument->channelNotes.empty());
  EXPECT_EQ(instrument->voiceIndex, 0);
  EXPECT_EQ(gates(), (std::vector<int>{0, 0}));
  noteOff(60);
  EXPECT_EQ(stack(), (std::vector<int>{64}));
  noteOff(64);

  EXPECT_EQ(stack(), std::vector<int>{});
}

TEST_F(AllNotesOff, InPolyForgetsTheHeldNotes) {
  instrument->voiceMode = 0.0F;
  noteOn(60, 100, 2);
  noteOn(64, 100, 2);
  instrument->noteOrder.append(60);

  instrument->setAllNotesOff();

  EXPECT_TRUE(instrument->heldNotes.empty());
  EXPECT_TRUE(instrument->channelNotes.empty());
  EXPECT_TRUE(instrument->noteOrder.empty());
  EXPECT_EQ(instrument->voiceIndex, 0);
  EXPECT_EQ(gates(), (std::vector<int>{0, 0}));
  EXPECT_EQ(channelVoice(2), 1);
}

TEST_F(AllNotesOff, InTheRotatingPolyFormKeepsThePlaceOfTheSearch) {
  instrument->voiceMode = 0.0F;
  instrument->rotateUnisonIndex = 1;
  noteOn(60);

  instrument->setAllNotesOff();

  EXPECT_EQ(instrument->voiceIndex, 1);
}

TEST_F(AllNotesOff, GoesByTheModeOfTheLastNote) {
  noteOn(60);
  instrument->voiceMode = 0.0F;

  instrument->setAllNotesOff();

  EXPECT_EQ(instrument->heldNotes.size(), 1);
}

TEST_F(AllNotesOff, SettersReachEveryVoice) {
  instrument->setMinVelocity(12.0F);
  instrument->setGate(1);

  EXPECT_EQ(voice(0).minVelocity, 12.0F);
  EXPECT_EQ(voice(1).minVelocity, 12.0F);
  EXPECT_EQ(allCalls(), Calls{"0: setGate 1"});
}

}  // namespace
}  // namespace morv
