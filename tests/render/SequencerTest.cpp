// The rules of the step sequencer, one by one.

#include <gtest/gtest.h>

#include <vector>

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

TEST_F(Sequencer, VoicesThatDoNotRunAreReachedToo) {
  start(4);
  instrument->voiceNumber = 2.0F;
  setRow();
  setAll(1, 12);
  instrument->seqGateLength = 0.0F;
  call(4);
  forget();

  call();

  EXPECT_EQ(allCalls(),
            (Calls{"0: gateAt 0 36 0 0", "1: gateAt 0 36 0 0", "2: gateAt 0 36 0 0", "3: gateAt 0 36 0 0",
                   "0: gateAt 1 60 0 0", "1: gateAt 1 60 0 0", "2: gateAt 1 60 0 0", "3: gateAt 1 60 0 0",
                   "0: pressure 127", "1: pressure 127", "2: pressure 127", "3: pressure 127"}));
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

    // Rounded behind the quotient and again behind the product.
    const float share = static_cast<float>(value) / 12.0F;
    EXPECT_EQ(voice(0).pressure, share * 127.0F) << value;
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

}  // namespace
}  // namespace morv
