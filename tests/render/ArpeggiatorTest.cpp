// The rules by which held notes are played in turn, one by one.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "platform/Random.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

// At 1000 Hz and 60 beats a minute a tick is 125 samples.
constexpr float kRate = 1000.0F;
constexpr int kTempo = 60;
constexpr float kSixteenth = 6.0F;  // division "1/16", two ticks
constexpr float kStep = 250.0F;     // its samples
constexpr int kBlock = 50;

constexpr float kUp = 0, kDown = 1, kUpDown = 2, kRandomOrder = 3, kSequence = 4;

class Arpeggiator : public InstrumentFixture {
 protected:
  Arpeggiator() { switchOn(); }
  // With its step known, so that a first key preloads it.
  void switchOn() {
    instrument->sampleRate = kRate;
    instrument->arpEnabled = 1.0F;
    instrument->arpClockDivision = kSixteenth;
    instrument->setRandomSeed(kSeed);
    instrument->doArp(0, kTempo);
  }
  // So that what is played is what is held.
  void stayInPlace() { instrument->arpOctave = 0; }
  void step() { instrument->doArp(static_cast<int>(kStep), kTempo); }
  // Notes of the gates that opened in the calls, in order.
  std::vector<int> playedIn(int steps) {
    std::vector<int> notes;
    for (int i = 0; i < steps; ++i) {
      forget();
      step();
      for (const std::string& call : allCalls()) {
        int number = 0, note = 0;
        if (std::sscanf(call.c_str(), "%i: gateAt 1 %i", &number, &note) == 2) notes.push_back(note);
      }
    }
    return notes;
  }
  std::vector<int> arpNotes() const { return {instrument->arpNotes.begin(), instrument->arpNotes.end()}; }
  // The draws that the instrument makes from here on, for this many spent already.
  Random drawsBehind(int spent) const {
    Random draws(Random::derive(kSeed, 0));
    for (int i = 0; i < spent; ++i) draws.nextBits();
    return draws;
  }

  static constexpr std::uint64_t kSeed = 9;
};

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

  EXPECT_EQ(callsOf(0), (Calls{"gateAt 1 72 127 250", "run 16 at 60"}));
}

TEST_F(Arpeggiator, AFirstKeyPlaysInTheNextBlockAndNotOneStepLater) {
  instrument->doArp(kBlock, kTempo);
  instrument->doArp(kBlock, kTempo);
  noteOn(60);
  forget();

  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(callsOf(0), Calls{"gateAt 1 72 127 250"});
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

  EXPECT_EQ(allCalls(), Calls{"0: gateAt 1 72 127 250"});
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
  EXPECT_EQ(allCalls(), Calls{"0: gateAt 1 60 127 250"});
  EXPECT_EQ(takeDiagnostics(), "[ARP] 0 tick note: 60 - Direction: Down\n");
  forget();
  step();

  EXPECT_EQ(allCalls(), Calls{"1: gateAt 1 64 127 250"});
  EXPECT_EQ(takeDiagnostics(), "[ARP] 1 tick note: 64 - Direction: Down\n");
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

TEST_F(Arpeggiator, UpGoesUp) {
  stayInPlace();
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(7), (std::vector<int>{60, 64, 67, 60, 64, 67, 60}));
}

TEST_F(Arpeggiator, DownGoesDown) {
  stayInPlace();
  instrument->arpMode = kDown;
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(5), (std::vector<int>{67, 64, 60, 67, 64}));
}

TEST_F(Arpeggiator, SequenceKeepsThePlayedOrder) {
  stayInPlace();
  instrument->arpMode = kSequence;
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(5), (std::vector<int>{67, 60, 64, 67, 60}));
}

TEST_F(Arpeggiator, SequenceMeetsNotesThatAreNoLongerHeld) {
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

TEST_F(Arpeggiator, SequenceWithoutAnOrderPlaysNothing) {
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

TEST_F(Arpeggiator, RandomDrawsThePlaceAndThenThePan) {
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

TEST_F(Arpeggiator, UpAndDownTurnsWhenThePatternEnds) {
  stayInPlace();
  instrument->arpMode = kUpDown;
  for (const int note : {67, 60, 64}) noteOn(note);

  EXPECT_EQ(playedIn(9), (std::vector<int>{60, 64, 67, 67, 64, 60, 60, 64, 67}));
}

TEST_F(Arpeggiator, UpAndDownShowsItsDirection) {
  instrument->arpMode = kUpDown;
  noteOn(60);
  forget();

  step();
  EXPECT_EQ(takeDiagnostics(), "[ARP] 0 tick note: 60 - Direction: Up\n");
  step();

  EXPECT_EQ(takeDiagnostics(), "[ARP] 0 tick note: 60 - Direction: Down\n");
}

TEST_F(Arpeggiator, UpAndDownOverThreeOctavesTurnsAfterThreeTimesItsNotes) {
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

TEST_F(Arpeggiator, UpAndDownKeepsItsOrderUntilThePatternEnds) {
  stayInPlace();
  instrument->arpMode = kUpDown;
  noteOn(60);
  noteOn(64);
  EXPECT_EQ(playedIn(1), std::vector<int>{60});

  noteOn(50);

  EXPECT_EQ(playedIn(3), (std::vector<int>{64, 64, 60}));
}

TEST_F(Arpeggiator, UpAndDownBehindAnotherModeWaitsForItsCycle) {
  stayInPlace();
  instrument->arpMode = kUpDown;
  instrument->arpCycle = 1;
  noteOn(60);

  // The order is still empty, and an empty order does not count the cycle on.
  EXPECT_EQ(playedIn(3), std::vector<int>{});
  EXPECT_EQ(instrument->arpCycle, 1);
}

TEST_F(Arpeggiator, AnUnknownModeKeepsTheOrder) {
  stayInPlace();
  noteOn(60);
  EXPECT_EQ(playedIn(1), std::vector<int>{60});
  noteOn(64);

  for (const float mode : {5.0F, -1.0F}) {
    instrument->arpMode = mode;
    EXPECT_EQ(playedIn(2), (std::vector<int>{60, 60}));
  }
}

TEST_F(Arpeggiator, TheRangeGoesDownFromThePlayedNotes) {
  instrument->arpRange = 2.0F;
  noteOn(60);

  // 1, 0, -1, -2, and the remainder of -3 is 0 again.
  EXPECT_EQ(playedIn(8), (std::vector<int>{72, 60, 48, 36, 60, 48, 36, 60}));
}

TEST_F(Arpeggiator, TheOctaveMovesWhenTheIndexReturns) {
  instrument->arpRange = 1.0F;
  noteOn(60);
  noteOn(64);

  EXPECT_EQ(playedIn(8), (std::vector<int>{72, 76, 60, 64, 48, 52, 60, 64}));
}

TEST_F(Arpeggiator, TheSoundingNoteMayLeaveTheRangeOfMidi) {
  instrument->arpRange = 2.0F;
  instrument->arpOctave = 2;
  instrument->arpGoingUp = 1;
  noteOn(127);
  EXPECT_EQ(playedIn(1), std::vector<int>{151});
  EXPECT_NEAR(voice(0).noteFrequency, 440.0 * std::pow(2.0, (151 - 69) / 12.0), 0.1);
  noteOff(127);
  instrument->arpGoingUp = 0;
  instrument->arpOctave = -1;
  noteOn(0);

  EXPECT_EQ(playedIn(1), std::vector<int>{-24});
  EXPECT_NEAR(voice(0).noteFrequency, 440.0 * std::pow(2.0, (-24 - 69) / 12.0), 1e-4);
}

TEST_F(Arpeggiator, ARangeOutsideItsOwnDividesByNothing) {
  for (const float range : {-1.0F, -2.0F, -1e30F, 1e30F, std::numeric_limits<float>::quiet_NaN()}) {
    build(4);
    switchOn();
    instrument->arpRange = range;
    noteOn(60);

    EXPECT_EQ(playedIn(4).size(), 4U) << range;
  }
}

TEST_F(Arpeggiator, ANewKeyInFrontShiftsWhatTheIndexMeans) {
  stayInPlace();
  noteOn(60);
  noteOn(64);
  EXPECT_EQ(playedIn(1), std::vector<int>{60});

  noteOn(50);

  // The second of two was due; now it is the second of three.
  EXPECT_EQ(playedIn(3), (std::vector<int>{60, 64, 50}));
}

TEST_F(Arpeggiator, FewerKeysThanTheIndexBeginAgainAtTheFirst) {
  stayInPlace();
  for (const int note : {60, 64, 67}) noteOn(note);
  EXPECT_EQ(playedIn(2), (std::vector<int>{60, 64}));

  noteOff(64);
  noteOff(67);

  EXPECT_EQ(playedIn(1), std::vector<int>{60});
  EXPECT_EQ(instrument->arpIndex, 2);
}

TEST_F(Arpeggiator, NoKeysStopNewNotesWhileTheIndexGoesOn) {
  noteOn(60);
  step();
  noteOff(60);

  EXPECT_EQ(playedIn(3), std::vector<int>{});
  EXPECT_EQ(arpNotes(), std::vector<int>{60});
}

TEST_F(Arpeggiator, LatchedKeysGoOnAndNewOnesJoin) {
  stayInPlace();
  instrument->arpLatch = 1.0F;
  noteOn(60);
  noteOff(60);
  noteOn(64);
  noteOff(64);

  EXPECT_EQ(playedIn(4), (std::vector<int>{60, 64, 60, 64}));
}

TEST_F(Arpeggiator, UnlatchingEndsAllNotes) {
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

TEST_F(Arpeggiator, LatchingItselfDoesNothing) {
  noteOn(60);
  forget();

  instrument->_arpLatch();

  EXPECT_EQ(allCalls(), Calls{});
  EXPECT_EQ(holderOf(60), 0);
}

TEST_F(Arpeggiator, SwitchingOffClearsTheNotesAndKeepsThePlace) {
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

TEST_F(Arpeggiator, RunsWhateverTheTransportDoes) {
  std::vector<float> out(16);
  noteOn(60);
  instrument->transportState = 0;
  instrument->timelinePosition = 77.0;
  forget();

  instrument->runInstrument(out.data(), out.data(), 16, 60.0F, 0.0);

  EXPECT_EQ(voice(0).gate, 1);
}

TEST_F(Arpeggiator, AtATempoOfZeroTheFirstKeySoundsAndLastsUntilTheClockReturns) {
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

TEST_F(Arpeggiator, AKeyOfAZeroTempoStartsAStepOnceTheTempoIsBack) {
  instrument->doArp(kBlock, 0);
  noteOn(60);
  forget();

  instrument->doArp(kBlock, kTempo);
  instrument->doArp(kBlock, kTempo);

  EXPECT_EQ(allCalls(), Calls{"0: gateAt 1 72 127 250"});
  EXPECT_EQ(instrument->arpCounter, 100.0F);
}

TEST_F(Arpeggiator, StrangeTemposStayFinite) {
  noteOn(60);

  for (const int tempo : {-120, -1, 1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), 0}) {
    for (int i = 0; i < 10; ++i) instrument->doArp(4096, tempo);
    EXPECT_TRUE(std::isfinite(instrument->arpCounter)) << tempo;
  }
}

TEST_F(Arpeggiator, ABankOfNoVoicesPlaysNothing) {
  build(0);
  instrument->arpEnabled = 1.0F;
  std::vector<float> out(16);

  for (int i = 0; i < 4; ++i) instrument->runInstrument(out.data(), out.data(), 16, 999.0F, 0.0);

  EXPECT_EQ(allCalls(), Calls{});
}

}  // namespace
}  // namespace morv
