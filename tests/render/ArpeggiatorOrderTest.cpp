// In which order and octave held notes are played.

#include <gtest/gtest.h>

#include <vector>

#include "tests/render/ArpeggiatorTesting.h"

namespace morv {
namespace {

using ArpeggiatorOrder = ArpeggiatorFixture;

TEST_F(ArpeggiatorOrder, UpGoesUp) {
  stayInPlace();
  instrument->arpMode = kUp;
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(7), (std::vector<int>{60, 64, 67, 60, 64, 67, 60}));
}

TEST_F(ArpeggiatorOrder, DownGoesDown) {
  stayInPlace();
  instrument->arpMode = kDown;
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(5), (std::vector<int>{67, 64, 60, 67, 64}));
}

TEST_F(ArpeggiatorOrder, SequenceKeepsThePlayedOrder) {
  stayInPlace();
  instrument->arpMode = kSequence;
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(5), (std::vector<int>{67, 60, 64, 67, 60}));
}

TEST_F(ArpeggiatorOrder, SequenceMeetsNotesThatAreNoLongerHeld) {
  stayInPlace();
  instrument->arpMode = kSequence;
  for (const int note : {67, 60, 64}) noteOn(note);
  noteOff(67);  // the order loses 64
  forget();

  step();

  EXPECT_EQ(arpNotes(), (std::vector<int>{67, 60}));
  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(takeDiagnostics(), "\nout of range\n");
}

TEST_F(ArpeggiatorOrder, SequenceWithoutAnOrderPlaysNothing) {
  for (const bool isUnison : {false, true}) {
    build(4);
    instrument->arpMode = kSequence;
    if (isUnison) useUnison();
    noteOn(60);  // ahead of the arpeggiator
    instrument->noteOrder.clear();
    switchOn();
    instrument->arpCounter = kStep;
    forget();

    step();

    EXPECT_EQ(allCalls(), Calls{});
    EXPECT_EQ(takeDiagnostics(), "\nout of range\n");
  }
}

TEST_F(ArpeggiatorOrder, RandomDrawsThePlaceAndThenThePan) {
  stayInPlace();
  instrument->arpMode = kRandomOrder;
  const std::vector<int> keys = {60, 64, 67};
  for (const int note : {67, 60, 64}) noteOn(note);
  Random draws = drawsBehind(3);

  for (int i = 0; i < 20; ++i) {
    const int place = static_cast<int>((draws.nextBits() >> 1U) % 3U);
    draws.nextBits();
    instrument->arpOctave = 0;
    EXPECT_EQ(playedIn(1), std::vector<int>{keys[static_cast<std::size_t>(place)]});
    EXPECT_EQ(instrument->arpIndex, place);
  }
}

TEST_F(ArpeggiatorOrder, UpAndDownTurnsWhenThePatternEnds) {
  stayInPlace();
  instrument->arpMode = kUpDown;
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(9), (std::vector<int>{60, 64, 67, 67, 64, 60, 60, 64, 67}));
}

TEST_F(ArpeggiatorOrder, UpAndDownShowsItsDirection) {
  instrument->arpMode = kUpDown;
  noteOn(60);
  forget();

  step();
  EXPECT_EQ(takeDiagnostics(), "[ARP] 0 tick note: 60 - Direction: Up\n");
  step();

  EXPECT_EQ(takeDiagnostics(), "[ARP] 0 tick note: 60 - Direction: Down\n");
}

TEST_F(ArpeggiatorOrder, UpAndDownOverThreeOctavesTurnsAfterThreeTimesItsNotes) {
  stayInPlace();
  instrument->arpMode = kUpDown;
  instrument->arpRange = 2.0F;
  noteOn(60);
  noteOn(64);

  // Going up the octave rises at each return of the index; behind the turn it falls and wraps below.
  EXPECT_EQ(playedIn(13), (std::vector<int>{60, 64, 72, 76, 84, 88,  // turns at the seventh
                                            64, 60, 52, 48, 40, 36,  // 0, -1, -2
                                            60}));
}

TEST_F(ArpeggiatorOrder, UpAndDownKeepsItsOrderUntilThePatternEnds) {
  stayInPlace();
  instrument->arpMode = kUpDown;
  noteOn(60);
  noteOn(64);
  EXPECT_EQ(playedIn(1), std::vector<int>{60});

  noteOn(50);

  EXPECT_EQ(playedIn(3), (std::vector<int>{64, 64, 60}));
}

TEST_F(ArpeggiatorOrder, UpAndDownBehindAnotherModeWaitsForItsCycle) {
  stayInPlace();
  instrument->arpMode = kUpDown;
  instrument->arpCycle = 1;
  noteOn(60);

  // The order is still empty, and an empty order does not count the cycle on.
  EXPECT_EQ(playedIn(3), std::vector<int>{});
  EXPECT_EQ(instrument->arpCycle, 1);
}

TEST_F(ArpeggiatorOrder, AnUnknownModeKeepsTheOrder) {
  stayInPlace();
  noteOn(60);
  EXPECT_EQ(playedIn(1), std::vector<int>{60});
  noteOn(64);

  for (const float mode : {5.0F, -1.0F}) {
    instrument->arpMode = mode;
    EXPECT_EQ(playedIn(2), (std::vector<int>{60, 60}));
  }
}

TEST_F(ArpeggiatorOrder, TheRangeGoesDownFromThePlayedNotes) {
  instrument->arpRange = 2.0F;
  noteOn(60);

  // 1, 0, -1, -2, and the remainder of -3 is 0 again.
  EXPECT_EQ(playedIn(8), (std::vector<int>{72, 60, 48, 36, 60, 48, 36, 60}));
}

TEST_F(ArpeggiatorOrder, TheOctaveMovesWhenTheIndexReturns) {
  instrument->arpRange = 1.0F;
  noteOn(60);
  noteOn(64);

  EXPECT_EQ(playedIn(8), (std::vector<int>{72, 76, 60, 64, 48, 52, 60, 64}));
}

TEST_F(ArpeggiatorOrder, ANewKeyInFrontShiftsWhatTheIndexMeans) {
  stayInPlace();
  noteOn(60);
  noteOn(64);
  EXPECT_EQ(playedIn(1), std::vector<int>{60});

  noteOn(50);

  // The second of two was due; now it is the second of three.
  EXPECT_EQ(playedIn(3), (std::vector<int>{60, 64, 50}));
}

TEST_F(ArpeggiatorOrder, FewerKeysThanTheIndexBeginAgainAtTheFirst) {
  stayInPlace();
  for (const int note : {60, 64, 67}) noteOn(note);
  EXPECT_EQ(playedIn(2), (std::vector<int>{60, 64}));

  noteOff(64);
  noteOff(67);

  EXPECT_EQ(playedIn(1), std::vector<int>{60});
  EXPECT_EQ(instrument->arpIndex, 2);
}

TEST_F(ArpeggiatorOrder, NoKeysStopNewNotesWhileTheIndexGoesOn) {
  noteOn(60);
  step();
  noteOff(60);

  EXPECT_EQ(playedIn(3), std::vector<int>{});
  EXPECT_EQ(arpNotes(), std::vector<int>{60});
}

}  // namespace
}  // namespace morv
