// The arpeggiator's clock, its gates and what a note is played with.

#include <gtest/gtest.h>

#include <vector>

#include "tests/render/ArpeggiatorTesting.h"

namespace morv {
namespace {

using Arpeggiator = ArpeggiatorFixture;

TEST_F(Arpeggiator, StateStartsAtItsFirstNoteOneOctaveUp) {
  const ZRDSPInstrument fresh(44100.0F);

  EXPECT_EQ(fresh.arpNotes.size(), 0U);
  EXPECT_EQ(fresh.arpCounter, 0.0F);
  EXPECT_EQ(fresh.arpStepSamples, 0.0F);
  EXPECT_EQ(fresh.arpIndex, 0);
  EXPECT_EQ(fresh.arpCycle, 0);
  EXPECT_EQ(fresh.arpGoingUp, 0);
  EXPECT_EQ(fresh.arpOctave, 1);
}

TEST_F(Arpeggiator, EveryDivisionHasItsTicks) {
  const std::vector<float> ticks = {32, 16, 8, 6, 4, 3, 2, 1};

  for (std::size_t i = 0; i < ticks.size(); ++i) {
    instrument->arpClockDivision = static_cast<float>(i);
    instrument->doArp(0, kTempo);
    EXPECT_EQ(instrument->arpStepSamples, 125.0F * ticks[i]) << i;
  }
}

TEST_F(Arpeggiator, ADivisionOutsideTheTableMakesStepsOfNoLength) {
  for (const float division : {-1.0F, 8.0F, 1e30F}) {
    instrument->arpClockDivision = division;
    instrument->doArp(0, kTempo);
    EXPECT_EQ(instrument->arpStepSamples, 0.0F) << division;
  }
  noteOn(60);

  EXPECT_EQ(playedIn(3).size(), 3U);
}

TEST_F(Arpeggiator, TheStepFollowsTempoAndSampleRate) {
  instrument->sampleRate = 44100.0F;
  instrument->arpClockDivision = 4.0F;

  instrument->doArp(0, 120);
  EXPECT_FLOAT_EQ(instrument->arpStepSamples, 11025.0F);
  instrument->doArp(0, 90);
  EXPECT_FLOAT_EQ(instrument->arpStepSamples, 14700.0F);
  instrument->sampleRate = 96000.0F;
  instrument->doArp(0, 90);
  EXPECT_FLOAT_EQ(instrument->arpStepSamples, 32000.0F);
}

TEST_F(Arpeggiator, ABlockCutsTheTempoToWholeBeats) {
  std::vector<float> out(16);
  instrument->arpStepSamples = 0;

  instrument->runInstrument(out.data(), out.data(), 16, 60.9F, 0.0);

  EXPECT_EQ(instrument->arpStepSamples, kStep);
  EXPECT_EQ(instrument->arpCounter, 16.0F);
}

TEST_F(Arpeggiator, ABlockWithItSwitchedOffLeavesItAlone) {
  std::vector<float> out(16);
  instrument->arpEnabled = 0.4F;
  instrument->arpStepSamples = 0;
  noteOn(60);

  instrument->runInstrument(out.data(), out.data(), 16, 60.0F, 0.0);

  EXPECT_EQ(instrument->arpStepSamples, 0.0F);
  EXPECT_EQ(instrument->arpCounter, 0.0F);
}

TEST_F(Arpeggiator, ABlockPlaysItAheadOfItsVoices) {
  std::vector<float> out(16);
  noteOn(60);
  forget();

  instrument->runInstrument(out.data(), out.data(), 16, 60.0F, 0.0);

  EXPECT_EQ(callsOf(0), (Calls{"gateAtTime 1 72 127 250", "run 16 at 60"}));
}

TEST_F(Arpeggiator, AFirstKeyPlaysInTheNextBlockAndNotOneStepLater) {
  instrument->doArp(kBlock, kTempo);
  instrument->doArp(kBlock, kTempo);
  noteOn(60);
  forget();

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(callsOf(0), Calls{"gateAtTime 1 72 127 250"});
  EXPECT_EQ(instrument->arpCounter, static_cast<float>(kBlock));
}

TEST_F(Arpeggiator, AKeyAheadOfTheFirstBlockOfAllWaitsOneStep) {
  build(4);
  instrument->sampleRate = kRate;
  instrument->arpEnabled = 1.0F;
  instrument->arpClockDivision = kSixteenth;
  noteOn(60);
  EXPECT_EQ(instrument->arpCounter, 0.0F);
  forget();

  for (int i = 0; i < 5; ++i) instrument->doArp(kBlock, kTempo);
  EXPECT_EQ(allCalls(), Calls{});
  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), Calls{"0: gateAtTime 1 72 127 250"});
}

TEST_F(Arpeggiator, ASecondKeyWaitsForTheNextStep) {
  noteOn(60);
  instrument->doArp(kBlock, kTempo);
  noteOn(64);
  forget();

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), Calls{});
}

TEST_F(Arpeggiator, TheFirstNotesAfterStartUpSoundOneOctaveUp) {
  noteOn(60);

  // With one octave the first return of the index takes the offset to 1 - 1, the next to -1 and so to 0.
  EXPECT_EQ(playedIn(4), (std::vector<int>{72, 60, 60, 60}));
}

TEST_F(Arpeggiator, APolyNoteGoesToTheVoiceOfItsKeyWithFullVelocityAndTheStepAsItsTime) {
  stayInPlace();
  noteOn(60, 5);
  noteOn(64, 9);
  instrument->arpIndex = 0;
  forget();

  step();
  EXPECT_EQ(allCalls(), Calls{"0: gateAtTime 1 60 127 250"});
  EXPECT_EQ(takeDiagnostics(), "[ARP] 0 tick note: 60 - Direction: Down\n");
  forget();
  step();

  EXPECT_EQ(allCalls(), Calls{"1: gateAtTime 1 64 127 250"});
  EXPECT_EQ(takeDiagnostics(), "[ARP] 1 tick note: 64 - Direction: Down\n");
}

TEST_F(Arpeggiator, APolyNoteKeepsTheFractionOfTheStep) {
  instrument->doArp(0, 64);  // two ticks of 117.1875 samples
  noteOn(60);
  forget();

  instrument->doArp(kBlock, 64);

  EXPECT_EQ(allCalls(), Calls{"0: gateAtTime 1 72 127 234.375"});
}

TEST_F(Arpeggiator, TheVoiceIsFoundByTheKeyWhileTheShiftedNoteSounds) {
  noteOn(60);
  forget();

  step();

  EXPECT_EQ(voice(0).note, 72);
  EXPECT_EQ(takeDiagnostics(), "[ARP] 0 tick note: 60 - Direction: Down\n");
}

TEST_F(Arpeggiator, AUnisonNoteGoesToEveryVoiceAtTimeZeroWithoutALine) {
  useUnison();
  noteOn(60);
  forget();

  step();

  EXPECT_EQ(allCalls(), (Calls{"0: gateAt 1 72 127 0", "1: gateAt 1 72 127 0", "2: gateAt 1 72 127 0",
                               "3: gateAt 1 72 127 0"}));
  EXPECT_EQ(takeDiagnostics(), "");
}

TEST_F(Arpeggiator, EachNoteTakesAFreshPlaceInTheSpread) {
  instrument->panSpread = 0.5F;
  noteOn(60);
  Random draws = drawsBehind(1);  // the key itself drew one

  for (int i = 0; i < 5; ++i) {
    step();
    const double r = draws.unit31();
    EXPECT_EQ(voice(0).panTarget, static_cast<float>(0.5 * (0.5 - r) * 2.0));
  }
}

TEST_F(Arpeggiator, EachUnisonVoiceTakesAFreshPlaceInTheSpread) {
  useUnison();
  instrument->panSpread = 1.0F;
  noteOn(60);
  Random draws = drawsBehind(4);

  step();

  for (int i = 0; i < 4; ++i) {
    const double r = draws.unit31();
    EXPECT_EQ(voice(i).panTarget, static_cast<float>((0.5 - r) * 2.0));
  }
}

TEST_F(Arpeggiator, TheGateClosesAtItsShareOfTheStepAndAgainInEveryBlockUntilItsEnd) {
  stayInPlace();
  instrument->arpGateLength = 50.0F;  // at 0.5 x 0.95 x 250 = 118.75
  noteOn(60);
  std::vector<std::size_t> calls;
  instrument->doArp(kBlock, kTempo);
  for (int i = 1; i < 5; ++i) {
    forget();
    instrument->doArp(kBlock, kTempo);
    calls.push_back(allCalls().size());
    if (!allCalls().empty()) {
      EXPECT_EQ(allCalls(), Calls{"0: gateAt 0 60 0 0"});
    }
  }

  // At samples 50, 100, 150 and 200.
  EXPECT_EQ(calls, (std::vector<std::size_t>{0, 0, 1, 1}));
}

TEST_F(Arpeggiator, AFullGateClosesAtNineteenTwentieths) {
  instrument->arpGateLength = 100.0F;  // at 237.5
  noteOn(60);
  instrument->doArp(237, kTempo);
  forget();

  instrument->doArp(1, kTempo);
  EXPECT_EQ(allCalls(), Calls{});
  instrument->doArp(1, kTempo);

  EXPECT_EQ(allCalls(), Calls{"0: gateAt 0 60 0 0"});
}

TEST_F(Arpeggiator, AGateOfNothingClosesInTheNextBlock) {
  instrument->arpGateLength = 0.0F;
  noteOn(60);
  instrument->doArp(0, kTempo);
  EXPECT_EQ(voice(0).gate, 1);

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(voice(0).gate, 0);
}

TEST_F(Arpeggiator, UnisonClosesEveryVoice) {
  useUnison();
  instrument->arpGateLength = 0.0F;
  noteOn(60);
  step();
  instrument->arpCounter = 0;
  forget();

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(),
            (Calls{"0: gateAt 0 60 0 0", "1: gateAt 0 60 0 0", "2: gateAt 0 60 0 0", "3: gateAt 0 60 0 0"}));
}

TEST_F(Arpeggiator, UnisonGoesOnClosingTheLastNoteOnceAllKeysAreUp) {
  useUnison();
  noteOn(60);
  instrument->doArp(kBlock, kTempo);
  noteOff(60);
  instrument->arpCounter = 200.0F;
  forget();

  instrument->doArp(kBlock, kTempo);
  EXPECT_EQ(callsOf(3), Calls{"gateAt 0 60 0 0"});
  forget();
  instrument->doArp(kBlock, kTempo);  // the new step

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(arpNotes(), std::vector<int>{60});
}

TEST_F(Arpeggiator, PolyClosesNothingOnceAllKeysAreUp) {
  noteOn(60);
  instrument->doArp(kBlock, kTempo);
  noteOff(60);
  instrument->arpCounter = 200.0F;
  forget();

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(takeDiagnostics(), "");
}

TEST_F(Arpeggiator, PolyReportsAClosingNoteThatIsNoLongerHeld) {
  noteOn(60);
  instrument->doArp(kBlock, kTempo);
  noteOn(64);
  noteOff(60);
  instrument->arpCounter = 200.0F;
  forget();

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(takeDiagnostics(), "\nout of range\n");
}

TEST_F(Arpeggiator, AnIndexPastTheOrderClosesItsFirstNote) {
  useUnison();
  noteOn(60);
  step();
  instrument->arpIndex = 5;
  instrument->arpCounter = 200.0F;
  forget();

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(callsOf(0), Calls{"gateAt 0 60 0 0"});
}

TEST_F(Arpeggiator, WithNothingEverPlayedUnisonClosesNoteZero) {
  useUnison();
  instrument->arpCounter = 200.0F;

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(callsOf(2), Calls{"gateAt 0 0 0 0"});
}

TEST_F(Arpeggiator, AStepKeepsTheRemainderOfItsTime) {
  instrument->arpCounter = 260.0F;

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(instrument->arpCounter, 10.0F + static_cast<float>(kBlock));
}

TEST_F(Arpeggiator, StepsShorterThanABlockAdvanceOnceABlockAndTheCountGrows) {
  stayInPlace();
  noteOn(60);
  noteOn(64);

  for (int i = 1; i <= 4; ++i) {
    forget();
    instrument->doArp(1000, kTempo);
    EXPECT_EQ(allCalls().size(), 1U);
    EXPECT_EQ(instrument->arpCounter, kStep + 750.0F * static_cast<float>(i));
  }
}

TEST_F(Arpeggiator, AFasterTempoBehindAKeyUsesTheSlowersStepUpOneStepABlock) {
  stayInPlace();
  noteOn(60);
  noteOn(64);
  std::vector<std::size_t> played;

  // The key filled 250 samples; at 240 beats a minute a step has 62.5.
  for (int i = 0; i < 8; ++i) {
    forget();
    instrument->doArp(10, 240);
    played.push_back(takeDiagnostics().empty() ? 0 : 1);
  }

  // Before each block: 250, 197.5, 145, 92.5, then 40, 50, 60, and 70 takes a step of its own.
  EXPECT_EQ(played, (std::vector<std::size_t>{1, 1, 1, 1, 0, 0, 0, 1}));
  EXPECT_EQ(instrument->arpCounter, 17.5F);
}

}  // namespace
}  // namespace morv
