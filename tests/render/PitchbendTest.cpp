// The bend wheel in both MIDI modes and both voice modes.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

class Pitchbend : public InstrumentFixture {
 protected:
  Pitchbend() { build(3); }
  Calls bend(int channel, int value) {
    forget();
    instrument->setPitchbend(channel, value);
    return allCalls();
  }
  std::vector<float> ranges() {
    std::vector<float> list;
    for (const auto& v : instrument->voices) list.push_back(v->pitchbendRange);
    return list;
  }
  void setRanges(float range) {
    for (const auto& v : instrument->voices) v->pitchbendRange = range;
  }
};

TEST_F(Pitchbend, FourteenBitsBecomeMinusOneToJustBelowOne) {
  for (const int value : {0, 1, 4096, 8191, 8192, 8193, 12288, 16382, 16383}) {
    bend(0, value);
    const float quotient = static_cast<float>(value) / 16384.0F;
    const float doubled = quotient * 2.0F;
    EXPECT_EQ(instrument->bendValue, doubled - 1.0F) << value;
  }
  bend(0, 8192);
  EXPECT_EQ(instrument->bendValue, 0.0F);
  bend(0, 0);
  EXPECT_EQ(instrument->bendValue, -1.0F);
  bend(0, 16383);
  EXPECT_FLOAT_EQ(instrument->bendValue, 0.9998779F);
}

TEST_F(Pitchbend, EveryBendPrintsChannelAndValue) {
  bend(7, 4096);
  EXPECT_EQ(takeDiagnostics(), "7 -0.500000\n");
  useMPE();
  bend(3, 12288);

  EXPECT_EQ(takeDiagnostics(), "3 0.500000\n");
}

TEST_F(Pitchbend, OrdinaryUpwardBendTakesTheUpperRangeOnEveryVoiceAndChannel) {
  EXPECT_EQ(bend(9, 12288), (Calls{"0: bend 0.5", "1: bend 0.5", "2: bend 0.5"}));

  EXPECT_EQ(ranges(), (std::vector<float>{2, 2, 2}));
  EXPECT_EQ(instrument->currentBend, 0.5F);
}

TEST_F(Pitchbend, OrdinaryDownwardBendTakesTheLowerRange) {
  bend(0, 4096);

  EXPECT_EQ(ranges(), (std::vector<float>{12, 12, 12}));
  EXPECT_EQ(instrument->currentBend, -0.5F);
}

TEST_F(Pitchbend, TheMiddleTakesTheLowerRangeAndNoBend) {
  EXPECT_EQ(bend(0, 8192)[0], "0: bend 0");

  EXPECT_EQ(ranges(), (std::vector<float>{12, 12, 12}));
}

TEST_F(Pitchbend, TheWheelRangeHasNoEffectWhileBothSplitRangesAreOn) {
  instrument->pitchbendRange = 7.0F;

  bend(0, 16383);

  EXPECT_EQ(ranges()[0], 2.0F);
}

TEST_F(Pitchbend, WithEitherSplitRangeOffTheWheelRangeIsUsedInBothDirections) {
  instrument->pitchbendRange = 7.9F;

  instrument->pitchbendRangeUp = 0.0F;
  bend(0, 0);
  EXPECT_EQ(ranges()[0], 7.0F);
  setRanges(1);
  bend(0, 16383);
  EXPECT_EQ(ranges()[0], 7.0F);

  instrument->pitchbendRangeUp = 2.0F;
  instrument->pitchbendRangeDown = 0.0F;
  setRanges(1);
  bend(0, 16383);
  EXPECT_EQ(ranges()[0], 7.0F);
}

TEST_F(Pitchbend, RangesAreCutToWholeSemitones) {
  instrument->pitchbendRangeUp = 5.9F;
  instrument->pitchbendRangeDown = 0.5F;

  bend(0, 12288);
  EXPECT_EQ(ranges()[0], 5.0F);
  bend(0, 0);

  EXPECT_EQ(ranges()[0], 0.0F);
}

TEST_F(Pitchbend, OrdinaryBendLeavesOutTheVoicesThatThePedalHolds) {
  noteOn(60);
  noteOn(61);
  instrument->setSustain(1);
  noteOff(60);
  setRanges(1);

  EXPECT_EQ(bend(0, 12288), (Calls{"1: bend 0.5", "2: bend 0.5"}));
  EXPECT_EQ(ranges(), (std::vector<float>{1, 2, 2}));
}

TEST_F(Pitchbend, WithEveryVoiceHeldByThePedalTheNextNoteKeepsItsStartingBend) {
  for (int note = 60; note < 63; ++note) noteOn(note);
  instrument->setSustain(1);
  for (int note = 60; note < 63; ++note) noteOff(note);

  bend(0, 12288);

  EXPECT_EQ(instrument->bendValue, 0.5F);
  EXPECT_EQ(instrument->currentBend, 0.0F);
}

TEST_F(Pitchbend, OrdinaryBendIsTheSameInUnison) {
  useUnison();
  noteOn(60, 100, 3);

  EXPECT_EQ(bend(5, 12288), (Calls{"0: bend 0.5", "1: bend 0.5", "2: bend 0.5"}));
  EXPECT_EQ(ranges(), (std::vector<float>{2, 2, 2}));
  EXPECT_EQ(instrument->noteStack[0].pitchbend, 0.0F);
}

TEST_F(Pitchbend, ANewNoteStartsFromThePresentBend) {
  bend(0, 12288);
  forget();

  noteOn(60);

  EXPECT_EQ(callsOf(0).back(), "gate 1 60 100 bend 0.5 channel 0");
}

TEST_F(Pitchbend, InMPEPolyAMemberChannelBendsItsVoiceAlone) {
  useMPE();
  instrument->mpeBendRange = 24.0F;
  noteOn(60, 100, 3);
  noteOn(64, 100, 4);
  setRanges(1);

  EXPECT_EQ(bend(3, 12288), (Calls{"0: bend 0.5"}));
  EXPECT_EQ(ranges(), (std::vector<float>{24, 1, 1}));
  EXPECT_EQ(instrument->currentBend, 0.0F);
  EXPECT_EQ(instrument->bendValue, 0.5F);
  EXPECT_EQ(bend(9, 12288), Calls{});
}

TEST_F(Pitchbend, InMPEPolyAMemberBendReachesAReleasedVoiceToo) {
  useMPE();
  noteOn(60, 100, 3);
  noteOn(64, 100, 4);
  noteOff(60, 0, 3);

  EXPECT_EQ(bend(3, 12288), (Calls{"0: bend 0.5"}));
  EXPECT_EQ(ranges()[0], 48.0F);
}

TEST_F(Pitchbend, InMPEPolyChannelZeroBendsAllByTheWheelRange) {
  useMPE();
  instrument->pitchbendRange = 5.9F;

  EXPECT_EQ(bend(0, 12288), (Calls{"0: bend 0.5", "1: bend 0.5", "2: bend 0.5"}));
  EXPECT_EQ(ranges(), (std::vector<float>{5, 5, 5}));
  EXPECT_EQ(instrument->currentBend, 0.5F);
}

TEST_F(Pitchbend, InMPEPolyThePedalDoesNotKeepVoicesFromBending) {
  useMPE();
  noteOn(60, 100, 3);
  instrument->setSustain(1);
  noteOff(60, 0, 3);

  EXPECT_EQ(bend(0, 12288).size(), 3U);
}

TEST_F(Pitchbend, InMPEUnisonAMemberBendIsKeptForItsNotesAndHeardIfItsChannelOwnsTheVoices) {
  useMPE();
  useUnison();
  instrument->setNotePriority(2);
  instrument->mpeBendRange = 36.0F;
  noteOn(60, 100, 3);
  noteOn(64, 100, 4);
  noteOn(67, 100, 3);
  setRanges(1);

  EXPECT_EQ(bend(4, 4096), Calls{});
  EXPECT_EQ(ranges(), (std::vector<float>{1, 1, 1}));
  EXPECT_EQ(bend(3, 12288), (Calls{"0: bend 0.5", "1: bend 0.5", "2: bend 0.5"}));

  EXPECT_EQ(ranges(), (std::vector<float>{36, 36, 36}));
  EXPECT_EQ(instrument->noteStack[0].pitchbend, 0.5F);
  EXPECT_EQ(instrument->noteStack[1].pitchbend, -0.5F);
  EXPECT_EQ(instrument->noteStack[2].pitchbend, 0.5F);
  EXPECT_EQ(instrument->currentBend, 0.0F);
}

TEST_F(Pitchbend, InMPEUnisonChannelZeroAddsASecondBendByTheWheelRange) {
  useMPE();
  useUnison();
  instrument->pitchbendRange = 4.7F;
  setRanges(1);

  EXPECT_EQ(bend(0, 12288), (Calls{"0: addBend 0.5 4", "1: addBend 0.5 4", "2: addBend 0.5 4"}));
  EXPECT_EQ(ranges(), (std::vector<float>{48, 48, 48}));
  EXPECT_EQ(instrument->currentBend, 0.5F);
}

}  // namespace
}  // namespace morv
