// Latching, switching off, and values at the edges.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/render/ArpeggiatorTesting.h"

namespace morv {
namespace {

using ArpeggiatorEdges = ArpeggiatorFixture;

TEST_F(ArpeggiatorEdges, TheSoundingNoteMayLeaveTheRangeOfMidi) {
  instrument->arpRange = 2.0F;
  instrument->arpOctave = 2;
  instrument->arpGoingUp = 1;
  noteOn(127);
  EXPECT_EQ(playedIn(1), std::vector<int>{151});
  EXPECT_FLOAT_EQ(voice(0).noteFrequency, static_cast<float>(440.0 * std::pow(2.0, (151 - 69) / 12.0)));
  noteOff(127);
  instrument->arpGoingUp = 0;
  instrument->arpOctave = -1;
  noteOn(0);

  EXPECT_EQ(playedIn(1), std::vector<int>{-24});
  EXPECT_FLOAT_EQ(voice(0).noteFrequency, static_cast<float>(440.0 * std::pow(2.0, (-24 - 69) / 12.0)));
}

TEST_F(ArpeggiatorEdges, ARangeOutsideItsOwnDividesByNothing) {
  for (const float range : {-1.0F, -2.0F, -1e30F, 1e30F, std::numeric_limits<float>::quiet_NaN()}) {
    build(4);
    switchOn();
    instrument->arpRange = range;
    noteOn(60);

    EXPECT_EQ(playedIn(4).size(), 4U) << range;
  }
}

TEST_F(ArpeggiatorEdges, LatchedKeysGoOnAndNewOnesJoin) {
  stayInPlace();
  instrument->arpLatch = 1.0F;
  noteOn(60);
  noteOff(60);
  noteOn(64);
  noteOff(64);

  EXPECT_EQ(playedIn(4), (std::vector<int>{60, 64, 60, 64}));
}

TEST_F(ArpeggiatorEdges, UnlatchingEndsAllNotesAndLeavesTheLatchOn) {
  instrument->arpLatch = 1.0F;
  noteOn(60);
  noteOff(60);
  step();
  forget();

  instrument->arpUnlatch();

  EXPECT_EQ(instrument->numActiveVoices(), 0);
  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(callsOf(3), Calls{"setGate 0"});
  EXPECT_EQ(instrument->arpLatch.value, 1.0F);
  EXPECT_EQ(playedIn(2), std::vector<int>{});
}

TEST_F(ArpeggiatorEdges, LatchingItselfDoesNothing) {
  instrument->arpRange = 2.0F;
  for (const int note : {60, 67, 64}) noteOn(note);
  playedIn(3);
  instrument->arpCycle = 5;
  instrument->arpCounter = 33.0F;
  instrument->arpGoingUp = 1;
  forget();

  instrument->_arpLatch();

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(instrument->arpLatch.value, 0.0F);
  EXPECT_EQ(instrument->numActiveVoices(), 3);
  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(holderOf(67), 1);
  EXPECT_EQ(holderOf(64), 2);
  EXPECT_EQ(channelNote(0), 64);
  EXPECT_EQ(order(), (std::vector<int>{60, 67, 64}));
  EXPECT_EQ(arpNotes(), (std::vector<int>{60, 64, 67}));
  EXPECT_EQ(instrument->arpCounter, 33.0F);
  EXPECT_EQ(instrument->arpStepSamples, kStep);
  EXPECT_EQ(instrument->arpIndex, 2);
  EXPECT_EQ(instrument->arpCycle, 5);
  EXPECT_EQ(instrument->arpOctave, 1);
  EXPECT_EQ(instrument->arpGoingUp, 1);
}

TEST_F(ArpeggiatorEdges, SwitchingOffClearsTheNotesAndKeepsThePlace) {
  stayInPlace();
  for (const int note : {60, 64, 67}) noteOn(note);
  playedIn(2);
  instrument->setParameterValueForAddress(instrument->arpEnabled.address, 0.0F);
  EXPECT_EQ(instrument->numActiveVoices(), 0);
  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(channelNote(0), -1);
  instrument->setParameterValueForAddress(instrument->arpEnabled.address, 1.0F);

  for (const int note : {60, 64, 67}) noteOn(note);

  EXPECT_EQ(playedIn(2), (std::vector<int>{67, 60}));
}

TEST_F(ArpeggiatorEdges, RunsWhateverTheTransportDoes) {
  std::vector<float> out(16);
  for (const int state : {0, 1, 2}) {
    build(4);
    switchOn();
    instrument->transportState = state;
    instrument->timelinePosition = 77.0;
    noteOn(60);
    forget();

    instrument->runInstrument(out.data(), out.data(), 16, 60.0F, 0.0);

    EXPECT_EQ(callsOf(0), (Calls{"gateAtTime 1 72 127 250", "run 16 at 60"})) << state;
    EXPECT_EQ(instrument->arpCounter, 16.0F) << state;
  }
}

// The pedal ends a voice by the note that the voice sounds, and that is the key moved by the octave: while
// the arpeggio stands in another octave no such key is held, so the key whose end was kept back is played on.
TEST_F(ArpeggiatorEdges, APedalThatComesUpInAnotherOctaveLeavesTheKeyPlaying) {
  instrument->arpRange = 1.0F;
  noteOn(60);
  noteOn(67);
  EXPECT_EQ(playedIn(2), (std::vector<int>{72, 79}));
  instrument->setSustain(1);
  noteOff(60);
  ASSERT_EQ(sustained(), std::vector<int>{0});
  forget();

  instrument->setSustain(0);

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(takeDiagnostics(), "voice#: 2 channel:0 gate:0 note:72\n");
  EXPECT_EQ(sustained(), std::vector<int>{});
  EXPECT_EQ(holderOf(60), 0);
  EXPECT_EQ(order(), (std::vector<int>{60, 67}));
  EXPECT_EQ(playedIn(4), (std::vector<int>{60, 67, 48, 55}));
}

TEST_F(ArpeggiatorEdges, APedalThatComesUpInTheKeysOwnOctaveEndsIt) {
  instrument->arpRange = 1.0F;
  noteOn(60);
  noteOn(67);
  EXPECT_EQ(playedIn(4), (std::vector<int>{72, 79, 60, 67}));
  instrument->setSustain(1);
  noteOff(60);
  forget();

  instrument->setSustain(0);

  EXPECT_EQ(allCalls(), Calls{"0: gate 0 60 0 bend 0 channel 0"});
  EXPECT_EQ(holderOf(60), -1);
  EXPECT_EQ(playedIn(2), (std::vector<int>{55, 67}));
}

TEST_F(ArpeggiatorEdges, AtATempoOfZeroTheFirstKeySoundsAndLastsUntilTheClockReturns) {
  instrument->doArp(kBlock, 0);
  EXPECT_TRUE(std::isinf(instrument->arpStepSamples));
  noteOn(60);
  forget();

  for (int i = 0; i < 100; ++i) instrument->doArp(kBlock, 0);
  EXPECT_EQ(allCalls(), Calls{"0: gateAtTime 1 72 127 inf"});
  EXPECT_EQ(instrument->arpCounter, 5000.0F);
  instrument->arpCounter = 240.0F;
  forget();
  instrument->doArp(kBlock, kTempo);
  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), (Calls{"0: gateAt 0 60 0 0", "0: gateAtTime 1 60 127 250"}));
}

TEST_F(ArpeggiatorEdges, AKeyOfAZeroTempoStartsAStepOnceTheTempoIsBack) {
  instrument->doArp(kBlock, 0);
  noteOn(60);
  forget();

  instrument->doArp(kBlock, kTempo);
  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), Calls{"0: gateAtTime 1 72 127 250"});
  EXPECT_EQ(instrument->arpCounter, 100.0F);
}

TEST_F(ArpeggiatorEdges, StrangeTemposStayFinite) {
  noteOn(60);

  for (const int tempo : {-120, -1, 1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), 0}) {
    for (int i = 0; i < 10; ++i) instrument->doArp(4096, tempo);
    EXPECT_TRUE(std::isfinite(instrument->arpCounter)) << tempo;
  }
}

TEST_F(ArpeggiatorEdges, ABankOfNoVoicesPlaysNothing) {
  build(0);
  instrument->arpEnabled = 1.0F;
  std::vector<float> out(16);

  for (int i = 0; i < 4; ++i) instrument->runInstrument(out.data(), out.data(), 16, 999.0F, 0.0);

  EXPECT_EQ(allCalls(), Calls{});
}

}  // namespace
}  // namespace morv
