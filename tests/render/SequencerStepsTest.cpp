// How the sequencer walks its steps, and values at the edges.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <limits>
#include <vector>

#include "tests/render/SequencerTesting.h"

namespace morv {
namespace {

using Steps = std::vector<int>;
using SequencerSteps = SequencerFixture;

TEST_F(SequencerSteps, ForwardWalksRound) {
  EXPECT_EQ(stepsOver(9), (Steps{1, 2, 3, 4, 5, 6, 7, 0, 1}));
  EXPECT_EQ(instrument->seqCycle, 1);
}

TEST_F(SequencerSteps, BackwardWalksRound) {
  instrument->seqMode = 1.0F;

  EXPECT_EQ(stepsOver(9), (Steps{7, 6, 5, 4, 3, 2, 1, 0, 7}));
  EXPECT_EQ(instrument->seqCycle, 1);
}

TEST_F(SequencerSteps, TheFirstPendulumPlaysItsEndsOnce) {
  instrument->seqMode = 2.0F;

  EXPECT_EQ(stepsOver(16), (Steps{1, 2, 3, 4, 5, 6, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2}));
  EXPECT_EQ(instrument->seqDirection, 0);
  EXPECT_EQ(instrument->seqCycle, 1);
}

TEST_F(SequencerSteps, TheSecondPendulumPlaysItsEndsTwice) {
  instrument->seqMode = 3.0F;

  EXPECT_EQ(stepsOver(17), (Steps{1, 2, 3, 4, 5, 6, 7, 7, 6, 5, 4, 3, 2, 1, 0, 0, 1}));
  EXPECT_EQ(instrument->seqDirection, 0);
  EXPECT_EQ(instrument->seqCycle, 2);
}

TEST_F(SequencerSteps, RandomDrawsItsStep) {
  instrument->seqMode = 4.0F;
  Random draws = freshDraws();
  Steps expected;
  for (int i = 0; i < 40; ++i) expected.push_back(static_cast<int>((draws.nextBits() >> 1U) % 8U));

  EXPECT_EQ(stepsOver(40), expected);
  EXPECT_EQ(instrument->seqCycle, std::count(expected.begin(), expected.end(), 0));
}

TEST_F(SequencerSteps, AnUnknownModeStaysAndStillCounts) {
  for (const float mode : {5.0F, -1.0F}) {
    instrument->seqMode = mode;
    EXPECT_EQ(stepsOver(2), (Steps{0, 0}));
  }
  EXPECT_EQ(instrument->seqCycle, 4);
}

TEST_F(SequencerSteps, AStepShowsItselfAndNotesItsTime) {
  std::vector<float> out(16);
  instrument->seqDisplayStep = 99;
  for (int i = 0; i < 5; ++i) {
    instrument->runInstrument(out.data(), out.data(), 16, kSequencerTempo, 1000.0 * (i + 1));
  }

  EXPECT_EQ(instrument->seqStep, 1);
  EXPECT_EQ(instrument->seqDisplayStep, 1);
  EXPECT_EQ(instrument->seqLastStepTime, 5000.0);
}

TEST_F(SequencerSteps, AStepDrivenByItselfNotesTheTimeOfItsCall) {
  call(4);

  instrument->runSequencer(7000.0);
  EXPECT_EQ(instrument->seqStep, 1);
  EXPECT_EQ(instrument->seqLastStepTime, 7000.0);
  instrument->runSequencer(8000.0);

  EXPECT_EQ(instrument->seqLastStepTime, 7000.0) << "no step in this call";
}

TEST_F(SequencerSteps, ResettingTheTimelineGoesBackToTheStart) {
  start(2);
  instrument->seqMode = 2.0F;
  instrument->seqStep = instrument->seqDisplayStep = 5;
  instrument->seqStepCounter = 700;
  instrument->seqTickCounter = 512;
  instrument->seqTickInStep = 9;
  instrument->seqCycle = 3;
  instrument->seqDirection = 1;
  instrument->seqShift = 4;
  instrument->seqGateLengthSamples = 640;
  instrument->arpCounter = 55.0F;
  instrument->arpStepSamples = 500.5F;
  instrument->arpIndex = 2;
  instrument->arpCycle = 1;
  instrument->arpOctave = -2;
  instrument->arpGoingUp = 1;
  instrument->timelineSampleTime = 1234.0;
  forget();

  instrument->resetTimeline(3);

  EXPECT_EQ(instrument->seqStepCounter, 0);
  EXPECT_EQ(instrument->seqStep, 0);
  EXPECT_EQ(instrument->seqDisplayStep, 0);
  EXPECT_EQ(instrument->seqTickInStep, 0);
  EXPECT_EQ(instrument->seqCycle, 0);
  EXPECT_EQ(instrument->seqLastStepTime, 1234.0);
  EXPECT_EQ(instrument->seqTimelineStart, 1234.0);
  EXPECT_EQ(instrument->arpCounter, 0.0F);
  // What stays.
  EXPECT_EQ(instrument->seqTickCounter, 512);
  EXPECT_EQ(instrument->seqDirection, 1);
  EXPECT_EQ(instrument->seqShift, 4);
  EXPECT_EQ(instrument->seqGateLengthSamples, 640);
  EXPECT_EQ(instrument->arpStepSamples, 500.5F);
  EXPECT_EQ(instrument->arpIndex, 2);
  EXPECT_EQ(instrument->arpCycle, 1);
  EXPECT_EQ(instrument->arpOctave, -2);
  EXPECT_EQ(instrument->arpGoingUp, 1);
  EXPECT_EQ(allCalls(), (Calls{"0: resetTimeline 3", "1: resetTimeline 3"}));
}

TEST_F(SequencerSteps, WithoutAQuantiserNotesPassAsTheyAre) {
  start(1, kTurboFlags);
  setRow();
  instrument->seqScale = 1.0F;

  EXPECT_EQ(notesIn(1 + kCallsPerTick * 4), (Steps{60, 61, 62, 63}));
}

TEST_F(SequencerSteps, AtATempoOfZeroNoTickFallsAndTheCountsHoldAtTheTop) {
  setRow();
  instrument->tempo = 0.0F;
  instrument->seqTickCounter = INT_MAX - 300;
  instrument->seqStepCounter = INT_MAX - 300;

  EXPECT_EQ(notesIn(5), Steps{});
  EXPECT_EQ(instrument->seqTickCounter, INT_MAX);
  EXPECT_EQ(instrument->seqStepCounter, INT_MAX);
}

TEST_F(SequencerSteps, StrangeTemposAndSettingsAreSurvived) {
  setRow();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float value :
       {-1e30F, -120.0F, -1.0F, 1e-30F, 1e30F, nan, std::numeric_limits<float>::infinity()}) {
    instrument->tempo = value;
    for (ZRDSPParameter* p : {&instrument->seqMode, &instrument->seqClockDivision, &instrument->seqGateLength,
                              &instrument->seqScale, &instrument->seqRoot, &instrument->seqVariationType}) {
      *p = value;
    }
    call(50);
    EXPECT_GE(instrument->seqStep, 0);
    EXPECT_LE(instrument->seqStep, 7);
  }
}

TEST_F(SequencerSteps, CountsStartAgainBehindTheLargestNumber) {
  instrument->seqTickInStep = INT_MAX;
  instrument->seqCycle = INT_MAX;
  instrument->seqStep = 7;

  call(5);

  EXPECT_EQ(instrument->seqTickInStep, 0);
  EXPECT_EQ(instrument->seqCycle, 0);
}

TEST_F(SequencerSteps, StaysIdleInTheConcreteInstrument) {
  build(2, kTurboFlags);
  std::vector<float> out(16);
  instrument->seqEnabled = 1.0F;
  forget();

  instrument->runInstrument(out.data(), out.data(), 16, 120.0F, 0.0);

  EXPECT_EQ(instrument->seqTickCounter, 0);
  EXPECT_EQ(allCalls(), (Calls{"0: run 16 at 120", "1: run 16 at 120"}));
}

}  // namespace
}  // namespace morv
