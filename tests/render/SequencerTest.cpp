// The rules of the step sequencer, one by one.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "render/InstrumentParameterTable.h"
#include "tests/render/SequencerTesting.h"

namespace morv {
namespace {

using Steps = std::vector<int>;

using Sequencer = SequencerFixture;

TEST_F(Sequencer, StateStartsAtNothing) {
  EXPECT_EQ(instrument->seqStep, 0);
  EXPECT_EQ(instrument->seqDisplayStep, 0);
  EXPECT_EQ(instrument->seqCycle, 0);
  EXPECT_EQ(instrument->seqDirection, 0);
  EXPECT_EQ(instrument->seqTickInStep, 0);
  EXPECT_EQ(instrument->seqShift, 0);
  EXPECT_EQ(instrument->seqGateLengthSamples, 0);
  EXPECT_EQ(instrument->seqStepCounter, 0);
  EXPECT_EQ(instrument->seqTickCounter, 0);
  EXPECT_EQ(instrument->seqLastStepTime, 0.0);
  EXPECT_EQ(instrument->seqTimelineStart, 0.0);
  ASSERT_NE(instrument->quantizer, nullptr);
  EXPECT_EQ(instrument->quantizer->rootNote, 0);
  EXPECT_EQ(instrument->quantizer->scale, ZRQuantizerScale::major);
}

TEST_F(Sequencer, OnlyItsFlagMakesTheQuantiser) {
  build(1, kTurboFlags);

  EXPECT_EQ(instrument->quantizer, nullptr);
}

TEST_F(Sequencer, TheTableIsThereFromTheStartAndSilent) {
  const SequencerLanes& lanes = instrument->sequencerLanes();

  for (int step = 0; step < 8; ++step) {
    EXPECT_FALSE(lanes.step(SequencerLanes::kNote, step).gate);
    EXPECT_EQ(lanes.step(SequencerLanes::kNote, step).value, 60);
    EXPECT_EQ(lanes.step(SequencerLanes::kPressure, step).value, 0);
    EXPECT_EQ(lanes.step(SequencerLanes::kRetrigger, step).value, 0);
    EXPECT_EQ(lanes.step(SequencerLanes::kChance, step).value, 0);
  }
  EXPECT_EQ(notesIn(200), Steps{});
}

TEST_F(Sequencer, StepsAreSetInsideTheirRangesAlone) {
  const SequencerLanes& lanes = instrument->sequencerLanes();

  EXPECT_TRUE(instrument->setSequencerStep(0, 7, true, 127));
  EXPECT_EQ(lanes.step(SequencerLanes::kNote, 7).value, 127);
  EXPECT_TRUE(lanes.step(SequencerLanes::kNote, 7).gate);
  EXPECT_TRUE(instrument->setSequencerStep(3, 0, false, 12));
  EXPECT_EQ(lanes.step(SequencerLanes::kChance, 0).value, 12);
  EXPECT_TRUE(instrument->setSequencerStep(0, 0, false, 0));

  EXPECT_FALSE(instrument->setSequencerStep(-1, 0, true, 5));
  EXPECT_FALSE(instrument->setSequencerStep(4, 0, true, 5));
  EXPECT_FALSE(instrument->setSequencerStep(0, -1, true, 5));
  EXPECT_FALSE(instrument->setSequencerStep(0, 8, true, 5));
  EXPECT_FALSE(instrument->setSequencerStep(0, 7, false, 128));
  EXPECT_FALSE(instrument->setSequencerStep(0, 7, false, -1));
  EXPECT_FALSE(instrument->setSequencerStep(3, 0, true, 13));
  EXPECT_EQ(lanes.step(SequencerLanes::kNote, 7).value, 127);
  EXPECT_TRUE(lanes.step(SequencerLanes::kNote, 7).gate);
  EXPECT_EQ(lanes.step(SequencerLanes::kChance, 0).value, 12);
}

TEST_F(Sequencer, ALaneIsARecordWithItsStepsAndRange) {
  const SequencerLanes& lanes = instrument->sequencerLanes();

  EXPECT_EQ(lanes.lane(SequencerLanes::kNote).maxValue, 127);
  EXPECT_EQ(lanes.lane(SequencerLanes::kRetrigger).maxValue, 12);
  EXPECT_EQ(lanes.lane(SequencerLanes::kPressure).steps, &lanes.step(SequencerLanes::kPressure, 0));
  EXPECT_EQ(&lanes.step(SequencerLanes::kNote, 99), &lanes.step(SequencerLanes::kNote, 7));
  EXPECT_EQ(&lanes.step(SequencerLanes::kNote, -1), &lanes.step(SequencerLanes::kNote, 0));
}

TEST_F(Sequencer, TheFirstTickComesOneTickAfterTheStart) {
  setRow();
  instrument->seqScale = 0.0F;

  EXPECT_EQ(notesIn(4), Steps{});
  EXPECT_EQ(notesIn(1), Steps{60});
  EXPECT_EQ(instrument->seqTickCounter, 256);
  EXPECT_EQ(instrument->seqTickInStep, 1);
}

TEST_F(Sequencer, ABlockOfAnyLengthCountsAs256) {
  std::vector<float> out(4096);

  for (const int frames : {1, 64, 256, 4096}) {
    instrument->runInstrument(out.data(), out.data(), frames, kSequencerTempo, 0.0);
  }

  EXPECT_EQ(instrument->seqTickCounter, 4 * 256);
  EXPECT_EQ(instrument->seqStepCounter, 4 * 256);
}

TEST_F(Sequencer, ABlockTakesTheHostsTempoWithItsFraction) {
  std::vector<float> out(16);
  // At 90.5 a tick is 678.9 samples: reached on the fourth call, with 89.1 left over.
  for (int i = 0; i < 4; ++i) instrument->runInstrument(out.data(), out.data(), 16, 90.5F, 0.0);

  EXPECT_EQ(instrument->seqTickCounter, 89 + 256);
}

TEST_F(Sequencer, AStoppedTransportFreezesTheCounters) {
  std::vector<float> out(16);
  call(6);
  instrument->transportState = 1;
  forget();

  for (int i = 0; i < 9; ++i) instrument->runInstrument(out.data(), out.data(), 16, kSequencerTempo, 0.0);

  EXPECT_EQ(instrument->seqTickCounter, 512);
  EXPECT_EQ(instrument->seqTickInStep, 1);
}

TEST_F(Sequencer, EveryDivisionHasItsTicks) {
  setRow();
  const std::vector<int> ticks = {32, 16, 8, 6, 4, 3, 2, 1};

  for (std::size_t i = 0; i < ticks.size(); ++i) {
    start(1);
    setRow();
    instrument->seqClockDivision = static_cast<float>(i);
    // The step moves on the tick on which its length is reached.
    call(kCallsPerTick * ticks[i]);
    EXPECT_EQ(instrument->seqStep, 0) << i;
    call(1);
    EXPECT_EQ(instrument->seqStep, 1) << i;
  }
}

TEST_F(Sequencer, ADivisionOutsideTheTableMovesOnEveryTick) {
  setRow();
  for (const float division : {-1.0F, 8.0F, 1e30F}) {
    instrument->seqClockDivision = division;
    const int before = instrument->seqStep;

    call(kCallsPerTick);

    EXPECT_EQ(instrument->seqStep, before + (division < 0.0F ? 0 : 1)) << division;
  }
}

TEST_F(Sequencer, ANoteReachesEveryVoiceWithoutVelocityOrTime) {
  start(3);
  setRow();
  instrument->seqGateLengthSamples = 2000;  // as if a note were sounding
  call(4);
  forget();

  call();

  EXPECT_EQ(allCalls(), (Calls{"0: gateAt 1 60 0 0", "1: gateAt 1 60 0 0", "2: gateAt 1 60 0 0",
                               "0: pressure 0", "1: pressure 0", "2: pressure 0"}));
}

TEST_F(Sequencer, AStepWithoutAGatePlaysNothingButItsPressure) {
  set(0, 0, 60, false);
  set(1, 0, 6);
  call(4);
  forget();

  call();

  EXPECT_EQ(allCalls(), (Calls{"0: gateAt 0 36 0 0", "0: pressure 63.5"}));
}

TEST_F(Sequencer, PressureIsInTwelfthsOf127) {
  for (int value = 0; value <= 12; ++value) {
    start(1);
    setAll(1, value);

    call(5);

    EXPECT_FLOAT_EQ(voice(0).pressure, static_cast<float>(127.0 * value / 12.0)) << value;
  }
}

TEST_F(Sequencer, TheGateIsClosedByAFixedNoteOnEveryCallPastItsLength) {
  instrument->seqClockDivision = 4.0F;  // a gate's samples: half of 4096
  instrument->seqGateLength = 25.0F;    // closes at 0.25 x 0.95 x 2048 = 486.4
  set(0, 0, 72, true);
  call(5);
  EXPECT_EQ(instrument->seqGateLengthSamples, 2048);
  std::vector<std::size_t> offs;

  for (int i = 0; i < 4; ++i) {
    forget();
    call();
    if (!allCalls().empty()) {
      EXPECT_EQ(allCalls(), Calls{"0: gateAt 0 36 0 0"});
    }
    offs.push_back(allCalls().size());
  }

  // At 256, 512, 768 and 1024 samples of the tick, the last ahead of the next one.
  EXPECT_EQ(offs, (std::vector<std::size_t>{0, 1, 1, 1}));
}

TEST_F(Sequencer, BeforeAnyNoteEveryCallCloses) {
  call(3);

  EXPECT_EQ(callsOf(0), (Calls{"gateAt 0 36 0 0", "gateAt 0 36 0 0", "gateAt 0 36 0 0"}));
}

TEST_F(Sequencer, AGateLongerThanATickIsNeverClosed) {
  instrument->seqClockDivision = 4.0F;  // closes at 0.95 x 2048, and a tick has 1024
  set(0, 0, 60, true);
  call(5);
  forget();

  call(40);

  for (const std::string& line : callsOf(0)) EXPECT_EQ(line.rfind("gateAt 0", 0), std::string::npos) << line;
}

TEST_F(Sequencer, TheGateClosesAheadOfANoteOfTheSameCall) {
  instrument->seqGateLength = 50.0F;
  setAll(0, 60, true);
  call(5);
  EXPECT_EQ(instrument->seqGateLengthSamples, 512);
  call(3);
  forget();

  call();

  EXPECT_EQ(callsOf(0), (Calls{"gateAt 0 36 0 0", "gateAt 1 60 0 0", "pressure 0"}));
}

TEST_F(Sequencer, WithoutRetriggerAStepHasOneNote) {
  instrument->seqClockDivision = 4.0F;
  setAll(0, 60, true);

  EXPECT_EQ(notesIn(1 + kCallsPerTick * 16).size(), 4U);
}

TEST_F(Sequencer, HalfTheRetriggerRateGivesTwoNotesAStep) {
  instrument->seqClockDivision = 4.0F;
  setAll(0, 60, true);
  setAll(2, 6);

  EXPECT_EQ(notesIn(1 + kCallsPerTick * 16).size(), 8U);
  EXPECT_EQ(instrument->seqGateLengthSamples, 1024);
}

TEST_F(Sequencer, TheFullRetriggerRateGivesANoteOnEveryTickWithNoGate) {
  instrument->seqClockDivision = 4.0F;
  setAll(0, 60, true);
  setAll(2, 12);

  EXPECT_EQ(notesIn(1 + kCallsPerTick * 16).size(), 16U);
  EXPECT_EQ(instrument->seqGateLengthSamples, 0);
}

TEST_F(Sequencer, EveryRetriggerRateHasItsPeriodInSinglePrecision) {
  // Ticks from one note to the next for rates 0 to 12. The product is cut, so that two thirds of three ticks,
  // a hair below two in single precision, are one.
  const std::vector<std::vector<int>> expected = {
      {6, 5, 5, 4, 3, 3, 3, 2, 1, 1, 1, 1, 1},      // six ticks
      {3, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1},      // three
      {16, 14, 13, 12, 10, 9, 8, 6, 5, 4, 2, 1, 1}  // sixteen
  };
  const std::vector<float> divisions = {3.0F, 5.0F, 1.0F};
  for (std::size_t d = 0; d < divisions.size(); ++d) {
    for (int rate = 0; rate <= 12; ++rate) {
      start(1);
      instrument->seqClockDivision = divisions[d];
      setAll(0, 60, true);
      setAll(2, rate);
      call(5);
      ASSERT_EQ(instrument->seqTickInStep, 1);

      int ticks = 1;
      while (notesIn(kCallsPerTick).empty()) ++ticks;

      EXPECT_EQ(ticks, expected[d][static_cast<std::size_t>(rate)]) << "division " << d << " rate " << rate;
    }
  }
}

TEST_F(Sequencer, TicksAreCountedOnAcrossSteps) {
  instrument->seqClockDivision = 4.0F;
  setAll(0, 60, true);
  call(5 + kCallsPerTick * 6);

  EXPECT_EQ(instrument->seqTickInStep, 7);
}

TEST_F(Sequencer, NotesAreQuantisedUpwards) {
  instrument->seqScale = 1.0F;
  setRow();

  EXPECT_EQ(notesIn(1 + kCallsPerTick * 8), (Steps{60, 62, 62, 64, 64, 65, 67, 67}));
}

TEST_F(Sequencer, RootAndScaleTakeEffectAtTheNextStep) {
  instrument->seqClockDivision = 6.0F;  // two ticks a step
  instrument->seqScale = 0.0F;
  instrument->seqRoot = 1.0F;
  setAll(0, 61, true);
  setAll(2, 12);  // a note on every tick

  // The first two ticks still have the quantiser's own C major; the step moves behind the second.
  EXPECT_EQ(notesIn(1 + kCallsPerTick * 4), (Steps{62, 62, 61, 61}));
  EXPECT_EQ(instrument->quantizer->rootNote, 1);
  EXPECT_EQ(instrument->quantizer->scale, ZRQuantizerScale::chromatic);
}

TEST_F(Sequencer, NamesAndTablesOfTheScalesDisagreeFromTheEighthOn) {
  struct Row {
    const char* name;
    std::vector<int> notes;  // up to the octave
  };
  const std::vector<Row> rows = {{"Chromatic", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
                                 {"Major", {0, 2, 4, 5, 7, 9, 11}},
                                 {"Dorian", {0, 2, 3, 5, 7, 9, 10}},
                                 {"Phrygian", {0, 1, 3, 5, 7, 8, 10}},
                                 {"Lydian", {0, 2, 4, 6, 7, 9, 11}},
                                 {"Mixolydian", {0, 2, 4, 5, 7, 9, 10}},
                                 {"Aeolian/Min", {0, 2, 3, 5, 7, 8, 10}},
                                 {"Locrain", {0, 1, 3, 5, 6, 8, 10}},
                                 {"MajBlues", {0, 2, 3, 5, 7, 8, 11}},    // harmonic minor
                                 {"MinBlues", {0, 2, 3, 5, 7, 9, 11}},    // melodic minor
                                 {"MajThird", {0, 2, 3, 4, 7, 9}},        // major blues
                                 {"MinThird", {0, 3, 5, 6, 7, 10}},       // minor blues
                                 {"Fifth", {0, 4, 8}},                    // major thirds
                                 {"Wholetone", {0, 3, 6, 9}},             // minor thirds
                                 {"MajPentatonic", {0, 7}},               // fifths
                                 {"MinPentatonic", {0, 2, 4, 6, 8, 10}},  // whole tones
                                 {"Arabic", {0, 1, 3, 4, 6, 7, 9, 10}},   // octatonic
                                 {"Spanish", {0, 2, 4, 7, 9}}};           // major pentatonic
  ASSERT_EQ(instrument->seqScale.maxValue, 17.0F);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].name);
    EXPECT_EQ(instrument->seqScale.valueStrings.at(i), rows[i].name);
    instrument->seqScale = static_cast<float>(i);
    call(kCallsPerTick * 2);

    for (int note = 48; note < 60; ++note) {
      int expected = note;
      while (std::find(rows[i].notes.begin(), rows[i].notes.end(), expected % 12) == rows[i].notes.end()) {
        ++expected;
      }
      EXPECT_EQ(instrument->quantizer->quantize(note), expected) << note;
    }
  }
}

TEST_F(Sequencer, TheLastKeyTransposesTheQuantisedNote) {
  instrument->seqKeyTranspose = 1.0F;
  setAll(0, 61, true);

  instrument->lastNote = 24;
  EXPECT_EQ(notesIn(5), Steps{62});
  instrument->lastNote = 31;
  instrument->quantizer->setScale(ZRQuantizerScale::major);
  EXPECT_EQ(notesIn(4), Steps{69});
}

TEST_F(Sequencer, WithoutTransposeTheLastKeyDoesNotMatter) {
  instrument->lastNote = 99;
  setAll(0, 62, true);

  EXPECT_EQ(notesIn(5), Steps{62});
}

TEST_F(Sequencer, TheShiftComesAheadOfTheQuantiser) {
  instrument->seqShift = 1;
  setAll(0, 60, true);

  EXPECT_EQ(notesIn(5), Steps{62});
}

TEST_F(Sequencer, AChanceOfZeroNeverVaries) {
  instrument->seqVariationType = 3.0F;
  setAll(0, 60, true);

  call(kCallsPerTick * 300);

  EXPECT_EQ(instrument->seqShift, 0);
}

TEST_F(Sequencer, AFullChanceVariesUnlessTheDiceShowTwelve) {
  instrument->seqVariationType = 3.0F;
  setAll(3, 12);
  Random draws = freshDraws();
  int varied = 0, kept = 0;

  call(4);
  for (int i = 0; i < 400; ++i) {
    const int dice = drawn12(draws) + 1;
    const int shift = dice < 12 ? drawn12(draws) : instrument->seqShift;
    call(i == 0 ? 1 : kCallsPerTick);
    ASSERT_EQ(instrument->seqShift, shift) << i;
    ++(dice < 12 ? varied : kept);
  }

  EXPECT_GT(varied, 330);
  EXPECT_GT(kept, 10);
}

TEST_F(Sequencer, EveryTickThrowsTheDiceAndVariesStrictlyBelowTheChance) {
  for (int chance = 0; chance <= 12; ++chance) {
    start(1);
    instrument->seqVariationType = 3.0F;
    setAll(3, chance);
    Random draws = freshDraws();

    call(4);
    for (int i = 0; i < 60; ++i) {
      const int shift = drawn12(draws) + 1 < chance ? drawn12(draws) : instrument->seqShift;
      call(i == 0 ? 1 : kCallsPerTick);
      ASSERT_EQ(instrument->seqShift, shift) << chance << " " << i;
    }
  }
}

// Seeds whose first draw lets a chance of twelve through.
class VariedSequencer : public SequencerFixture {
 protected:
  VariedSequencer() {
    setAll(3, 12);
    instrument->quantizer->setScale(ZRQuantizerScale::chromatic);
    instrument->seqShift = 4;
  }
  // Draws behind the dice of the first tick, for the first seed whose dice is below twelve.
  Random reseeded(std::uint64_t* seed) {
    for (;; ++*seed) {
      Random draws(Random::derive(*seed, 0));
      if (drawn12(draws) + 1 == 12) continue;
      instrument->setRandomSeed(*seed);
      ++*seed;
      return draws;
    }
  }
};

TEST_F(VariedSequencer, GateDrawsTheGateAndEndsTheShift) {
  std::uint64_t seed = 1;
  bool wasOpen = false, wasClosed = false;
  for (int i = 0; i < 20; ++i) {
    Random draws = reseeded(&seed);
    instrument->seqShift = 4;
    instrument->seqStep = 0;
    instrument->seqTickInStep = 0;
    instrument->seqTickCounter = 1024;
    setAll(0, 60, i % 2 == 0);
    const bool isOpen = (draws.nextBits() >> 1U) % 2U != 0;

    // The note was worked out with the shift that ends here.
    EXPECT_EQ(notesIn(1), isOpen ? Steps{64} : Steps{});
    EXPECT_EQ(instrument->seqShift, 0);
    (isOpen ? wasOpen : wasClosed) = true;
  }
  EXPECT_TRUE(wasOpen && wasClosed);
}

TEST_F(VariedSequencer, PitchMovesTheNoteUpAndEndsTheShift) {
  instrument->seqVariationType = 1.0F;
  setAll(0, 60, true);
  std::uint64_t seed = 1;
  Random draws = reseeded(&seed);

  call(4);

  EXPECT_EQ(notesIn(1), Steps{64 + drawn12(draws)});
  EXPECT_EQ(instrument->seqShift, 0);
}

TEST_F(VariedSequencer, DirectionTurnsForwardAndBackwardRound) {
  instrument->seqVariationType = 2.0F;
  const std::vector<std::pair<float, float>> turns = {{0, 1}, {1, 0}, {2, 1}, {3, 0}, {4, 1}};
  std::uint64_t seed = 1;
  for (const auto& [from, to] : turns) {
    reseeded(&seed);
    instrument->seqMode = from;
    instrument->seqShift = 4;
    instrument->seqTickInStep = 0;
    instrument->seqTickCounter = 1024;

    call();

    EXPECT_EQ(instrument->seqMode.value, to);
    EXPECT_EQ(instrument->seqMode.normalizedValueCache, to / 4.0F);
    EXPECT_EQ(instrument->seqShift, 0);
  }
}

TEST_F(VariedSequencer, DirectionTurnsAheadOfTheStepOfTheSameTick) {
  instrument->seqVariationType = 2.0F;
  std::uint64_t seed = 1;
  reseeded(&seed);

  call(5);

  EXPECT_EQ(instrument->seqStep, 7);
}

TEST_F(VariedSequencer, ShiftDrawsANewShiftAndAddsItToTheNote) {
  instrument->seqVariationType = 3.0F;
  setAll(0, 60, true);
  std::uint64_t seed = 1;
  Random draws = reseeded(&seed);
  const int shift = drawn12(draws);

  call(4);

  EXPECT_EQ(notesIn(1), Steps{64 + shift});
  EXPECT_EQ(instrument->seqShift, shift);
}

TEST_F(VariedSequencer, TypesAboveTheFourthDoNothing) {
  instrument->seqVariationType = 4.0F;
  setAll(0, 60, true);
  std::uint64_t seed = 1;
  reseeded(&seed);

  call(4);

  EXPECT_EQ(notesIn(1), Steps{64});
  EXPECT_EQ(instrument->seqShift, 4);
}

TEST_F(Sequencer, ForwardWalksRound) {
  EXPECT_EQ(stepsOver(9), (Steps{1, 2, 3, 4, 5, 6, 7, 0, 1}));
  EXPECT_EQ(instrument->seqCycle, 1);
}

TEST_F(Sequencer, BackwardWalksRound) {
  instrument->seqMode = 1.0F;

  EXPECT_EQ(stepsOver(9), (Steps{7, 6, 5, 4, 3, 2, 1, 0, 7}));
  EXPECT_EQ(instrument->seqCycle, 1);
}

TEST_F(Sequencer, TheFirstPendulumPlaysItsEndsOnce) {
  instrument->seqMode = 2.0F;

  EXPECT_EQ(stepsOver(16), (Steps{1, 2, 3, 4, 5, 6, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2}));
  EXPECT_EQ(instrument->seqDirection, 0);
  EXPECT_EQ(instrument->seqCycle, 1);
}

TEST_F(Sequencer, TheSecondPendulumPlaysItsEndsTwice) {
  instrument->seqMode = 3.0F;

  EXPECT_EQ(stepsOver(17), (Steps{1, 2, 3, 4, 5, 6, 7, 7, 6, 5, 4, 3, 2, 1, 0, 0, 1}));
  EXPECT_EQ(instrument->seqDirection, 0);
  EXPECT_EQ(instrument->seqCycle, 2);
}

TEST_F(Sequencer, RandomDrawsItsStep) {
  instrument->seqMode = 4.0F;
  Random draws = freshDraws();
  Steps expected;
  for (int i = 0; i < 40; ++i) expected.push_back(static_cast<int>((draws.nextBits() >> 1U) % 8U));

  EXPECT_EQ(stepsOver(40), expected);
  EXPECT_EQ(instrument->seqCycle, std::count(expected.begin(), expected.end(), 0));
}

TEST_F(Sequencer, AnUnknownModeStaysAndStillCounts) {
  for (const float mode : {5.0F, -1.0F}) {
    instrument->seqMode = mode;
    EXPECT_EQ(stepsOver(2), (Steps{0, 0}));
  }
  EXPECT_EQ(instrument->seqCycle, 4);
}

TEST_F(Sequencer, AStepShowsItselfAndNotesItsTime) {
  std::vector<float> out(16);
  instrument->seqDisplayStep = 99;
  for (int i = 0; i < 5; ++i) {
    instrument->runInstrument(out.data(), out.data(), 16, kSequencerTempo, 1000.0 * (i + 1));
  }

  EXPECT_EQ(instrument->seqStep, 1);
  EXPECT_EQ(instrument->seqDisplayStep, 1);
  EXPECT_EQ(instrument->seqLastStepTime, 5000.0);
}

TEST_F(Sequencer, ResettingTheTimelineGoesBackToTheStart) {
  start(2);
  instrument->seqMode = 2.0F;
  instrument->seqStep = instrument->seqDisplayStep = 5;
  instrument->seqStepCounter = 700;
  instrument->seqTickCounter = 512;
  instrument->seqTickInStep = 9;
  instrument->seqCycle = 3;
  instrument->seqDirection = 1;
  instrument->seqShift = 4;
  instrument->arpCounter = 55.0F;
  instrument->arpIndex = 2;
  instrument->arpCycle = 1;
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
  EXPECT_EQ(instrument->arpIndex, 2);
  EXPECT_EQ(instrument->arpCycle, 1);
  EXPECT_EQ(allCalls(), (Calls{"0: resetTimeline 3", "1: resetTimeline 3"}));
}

TEST_F(Sequencer, WithoutAQuantiserNotesPassAsTheyAre) {
  start(1, kTurboFlags);
  setRow();
  instrument->seqScale = 1.0F;

  EXPECT_EQ(notesIn(1 + kCallsPerTick * 4), (Steps{60, 61, 62, 63}));
}

TEST_F(Sequencer, AtATempoOfZeroNoTickFallsAndTheCountsHoldAtTheTop) {
  setRow();
  instrument->tempo = 0.0F;
  instrument->seqTickCounter = INT_MAX - 300;
  instrument->seqStepCounter = INT_MAX - 300;

  EXPECT_EQ(notesIn(5), Steps{});
  EXPECT_EQ(instrument->seqTickCounter, INT_MAX);
  EXPECT_EQ(instrument->seqStepCounter, INT_MAX);
}

TEST_F(Sequencer, StrangeTemposAndSettingsAreSurvived) {
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

TEST_F(Sequencer, CountsStartAgainBehindTheLargestNumber) {
  instrument->seqTickInStep = INT_MAX;
  instrument->seqCycle = INT_MAX;
  instrument->seqStep = 7;

  call(5);

  EXPECT_EQ(instrument->seqTickInStep, 0);
  EXPECT_EQ(instrument->seqCycle, 0);
}

TEST_F(Sequencer, StaysIdleInTheConcreteInstrument) {
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
