// Which note a step plays: quantiser, transpose, shift and variation.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/render/SequencerTesting.h"

namespace morv {
namespace {

using Steps = std::vector<int>;
using SequencerNotes = SequencerFixture;

TEST_F(SequencerNotes, NotesAreQuantisedUpwards) {
  instrument->seqScale = 1.0F;
  setRow();

  EXPECT_EQ(notesIn(1 + kCallsPerTick * 8), (Steps{60, 62, 62, 64, 64, 65, 67, 67}));
}

TEST_F(SequencerNotes, RootAndScaleTakeEffectAtTheNextStep) {
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

TEST_F(SequencerNotes, NamesAndTablesOfTheScalesDisagreeFromTheEighthOn) {
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

TEST_F(SequencerNotes, TheLastKeyTransposesTheQuantisedNote) {
  instrument->seqKeyTranspose = 1.0F;
  setAll(0, 61, true);

  instrument->lastNote = 24;
  EXPECT_EQ(notesIn(5), Steps{62});
  instrument->lastNote = 31;
  instrument->quantizer->setScale(ZRQuantizerScale::major);
  EXPECT_EQ(notesIn(4), Steps{69});
}

TEST_F(SequencerNotes, WithoutTransposeTheLastKeyDoesNotMatter) {
  instrument->lastNote = 99;
  setAll(0, 62, true);

  EXPECT_EQ(notesIn(5), Steps{62});
}

TEST_F(SequencerNotes, TheShiftComesAheadOfTheQuantiser) {
  instrument->seqShift = 1;
  setAll(0, 60, true);

  EXPECT_EQ(notesIn(5), Steps{62});
}

TEST_F(SequencerNotes, AChanceOfZeroNeverVaries) {
  instrument->seqVariationType = 3.0F;
  setAll(0, 60, true);

  call(kCallsPerTick * 300);

  EXPECT_EQ(instrument->seqShift, 0);
}

TEST_F(SequencerNotes, AFullChanceVariesUnlessTheDiceShowTwelve) {
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

TEST_F(SequencerNotes, EveryTickThrowsTheDiceAndVariesStrictlyBelowTheChance) {
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

}  // namespace
}  // namespace morv
