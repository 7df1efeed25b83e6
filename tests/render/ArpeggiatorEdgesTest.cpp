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

TEST_F(ArpeggiatorEdges, UnlatchingEndsAllNotes) {
  instrument->arpLatch = 1.0F;
  noteOn(60);
  noteOff(60);
  step();
  forget();

  instrument->arpUnlatch();

  EXPECT_EQ(instrument->numActiveVoices(), 0);
  EXPECT_EQ(order(), std::vector<int>{});
  EXPECT_EQ(callsOf(3), Calls{"setGate 0"});
  EXPECT_EQ(playedIn(2), std::vector<int>{});
}

TEST_F(ArpeggiatorEdges, LatchingItselfDoesNothing) {
  noteOn(60);
  forget();

  instrument->_arpLatch();

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(holderOf(60), 0);
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
  noteOn(60);
  instrument->transportState = 0;
  instrument->timelinePosition = 77.0;
  forget();

  instrument->runInstrument(out.data(), out.data(), 16, 60.0F, 0.0);

  EXPECT_EQ(voice(0).gate, 1);
}

TEST_F(ArpeggiatorEdges, AtATempoOfZeroTheFirstKeySoundsAndLastsUntilTheClockReturns) {
  instrument->doArp(kBlock, 0);
  EXPECT_TRUE(std::isinf(instrument->arpStepSamples));
  noteOn(60);
  forget();

  for (int i = 0; i < 100; ++i) instrument->doArp(kBlock, 0);
  EXPECT_EQ(allCalls(), (Calls{text("0: gateAt 1 72 127 %i", std::numeric_limits<int>::max())}));
  EXPECT_EQ(instrument->arpCounter, 5000.0F);
  instrument->arpCounter = 240.0F;
  forget();
  instrument->doArp(kBlock, kTempo);
  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), (Calls{"0: gateAt 0 60 0 0", "0: gateAt 1 60 127 250"}));
}

TEST_F(ArpeggiatorEdges, AKeyOfAZeroTempoStartsAStepOnceTheTempoIsBack) {
  instrument->doArp(kBlock, 0);
  noteOn(60);
  forget();

  instrument->doArp(kBlock, kTempo);
  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), Calls{"0: gateAt 1 72 127 250"});
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
