#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <set>
#include <vector>

#include "modulation/ZRDSPMIDIQuantizer.h"

namespace morv {
namespace {

using Notes = std::vector<int>;

// The scale values' notes within an octave and the size that is stored for them, written out by hand.
struct Row {
  int value;
  Notes notes;
  int storedSize;
};

const std::vector<Row>& rows() {
  static const std::vector<Row> table = {
      {1, {0, 2, 4, 5, 7, 9, 11}, 7},      // major
      {2, {0, 2, 3, 5, 7, 9, 10}, 7},      // dorian
      {3, {0, 1, 3, 5, 7, 8, 10}, 7},      // phrygian
      {4, {0, 2, 4, 6, 7, 9, 11}, 7},      // lydian
      {5, {0, 2, 4, 5, 7, 9, 10}, 7},      // mixolydian
      {6, {0, 2, 3, 5, 7, 8, 10}, 7},      // aeolian
      {7, {0, 1, 3, 5, 6, 8, 10}, 7},      // locrian
      {8, {0, 2, 3, 5, 7, 8, 11}, 7},      // harmonic
      {9, {0, 2, 3, 5, 7, 9, 11}, 7},      // melodic
      {10, {0, 2, 3, 4, 7, 9}, 6},         // major blues
      {11, {0, 3, 5, 6, 7, 10}, 6},        // minor blues
      {12, {0, 4, 8}, 6},                  // major third, with a size that is not its own
      {13, {0, 3, 6, 9}, 4},               // minor third
      {14, {0, 7}, 2},                     // fifth
      {15, {0, 2, 4, 6, 8, 10}, 6},        // whole tone
      {16, {0, 1, 3, 4, 6, 7, 9, 10}, 8},  // octatonic
      {17, {0, 2, 4, 7, 9}, 5},            // major pentatonic
      {18, {0, 3, 5, 7, 10}, 5},           // minor pentatonic
      {19, {0, 1, 4, 5, 7, 8, 11}, 7},     // arabic
      {20, {0, 1, 4, 5, 7, 8, 10}, 7},     // spanish
      {21, {0, 2, 3, 6, 7, 8, 11}, 7},     // gypsy
      {22, {0, 4, 5, 7, 8}, 5},            // ryukyu
      {23, {0, 2, 4, 5, 7, 9, 11}, 7},     // what has no table is diatonic
      {1000, {0, 2, 4, 5, 7, 9, 11}, 7},
      {-1, {0, 2, 4, 5, 7, 9, 11}, 7},
      {INT_MIN, {0, 2, 4, 5, 7, 9, 11}, 7},
  };
  return table;
}

ZRDSPMIDIQuantizer quantizerOf(int scale, int root = 0) {
  ZRDSPMIDIQuantizer quantizer;
  quantizer.setScale(static_cast<ZRQuantizerScale>(scale));
  quantizer.setRootNote(root);
  return quantizer;
}

Notes tableOf(ZRDSPMIDIQuantizer& quantizer) {
  const int* table = quantizer.getCurrentScale();
  return {table, table + 140};
}

// Walks up from the note, one semitone at a time.
int roundedUp(const Notes& notes, int root, int note) {
  for (int wanted = note; wanted <= 127; ++wanted) {
    if (wanted < root) continue;
    const int degree = (wanted - root) % 12;
    if (std::find(notes.begin(), notes.end(), degree) != notes.end()) return wanted;
  }
  return note;
}

TEST(ZRDSPMIDIQuantizer, StartsAsTheDiatonicScaleAtRootZero) {
  ZRDSPMIDIQuantizer quantizer;

  EXPECT_EQ(quantizer.scaleSize, 7);
  EXPECT_EQ(quantizer.rootNote, 0);
  EXPECT_EQ(quantizer.scale, ZRQuantizerScale::major);
  EXPECT_EQ(quantizer.mode, 1);
  EXPECT_EQ(quantizer.userScale, (std::array<int, 12>{}));
  EXPECT_EQ(tableOf(quantizer)[0], 0);
  EXPECT_EQ(tableOf(quantizer)[6], 11);
  EXPECT_EQ(tableOf(quantizer)[7], 12);
  EXPECT_EQ(tableOf(quantizer)[139], 12 * 19 + 11);
}

TEST(ZRDSPMIDIQuantizer, EveryScaleValueHasItsTableAndStoredSize) {
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.value);
    ZRDSPMIDIQuantizer quantizer = quantizerOf(row.value);

    const Notes table = tableOf(quantizer);

    const int size = static_cast<int>(row.notes.size());
    for (int i = 0; i < 140; ++i) {
      ASSERT_EQ(table[static_cast<std::size_t>(i)],
                row.notes[static_cast<std::size_t>(i % size)] + 12 * (i / size))
          << i;
    }
    EXPECT_EQ(quantizer.scaleSize, row.storedSize);
  }
}

TEST(ZRDSPMIDIQuantizer, TheRootMovesTheTableUpAsAWhole) {
  for (const Row& row : rows()) {
    for (const int root : {1, 7, 11, 60}) {
      SCOPED_TRACE(::testing::Message() << "scale " << row.value << " root " << root);
      ZRDSPMIDIQuantizer plain = quantizerOf(row.value);
      ZRDSPMIDIQuantizer moved = quantizerOf(row.value, root);

      Notes expected = tableOf(plain);
      for (int& entry : expected) entry += root;

      EXPECT_EQ(tableOf(moved), expected);
    }
  }
}

TEST(ZRDSPMIDIQuantizer, EveryNoteRoundsUpInEveryScaleAndRoot) {
  for (const Row& row : rows()) {
    for (int root = 0; root < 12; ++root) {
      const ZRDSPMIDIQuantizer quantizer = quantizerOf(row.value, root);
      for (int note = -3; note < 140; ++note) {
        ASSERT_EQ(quantizer.quantize(note), roundedUp(row.notes, root, note))
            << "scale " << row.value << " root " << root << " note " << note;
      }
    }
  }
}

TEST(ZRDSPMIDIQuantizer, TheChromaticScaleKeepsEveryNoteWhateverTheRoot) {
  ZRDSPMIDIQuantizer quantizer = quantizerOf(0, 5);

  for (int note = 0; note <= 127; ++note) EXPECT_EQ(quantizer.quantize(note), note);
  for (int i = 0; i < 140; ++i) EXPECT_EQ(quantizer.quantizeByIndex(i), i);
}

TEST(ZRDSPMIDIQuantizer, TheChromaticScaleLeavesTheStoredSizeOfTheOneBefore) {
  ZRDSPMIDIQuantizer quantizer = quantizerOf(14);

  quantizer.setScale(ZRQuantizerScale::chromatic);

  EXPECT_EQ(quantizer.scaleSize, 2);
}

TEST(ZRDSPMIDIQuantizer, NothingBelowTheRootIsInTheTable) {
  const ZRDSPMIDIQuantizer quantizer = quantizerOf(1, 11);

  EXPECT_EQ(quantizer.quantize(0), 11);
  EXPECT_EQ(quantizer.quantize(10), 11);
  EXPECT_EQ(quantizer.quantize(12), 13);
}

TEST(ZRDSPMIDIQuantizer, RoundsUpAndNeverDown) {
  const ZRDSPMIDIQuantizer quantizer;

  EXPECT_EQ(quantizer.quantize(60), 60);
  EXPECT_EQ(quantizer.quantize(61), 62);
  EXPECT_EQ(quantizer.quantize(66), 67);
  EXPECT_EQ(quantizer.quantize(70), 71);
}

TEST(ZRDSPMIDIQuantizer, ANoteAboveTheLastOfTheScalePassesThrough) {
  EXPECT_EQ(quantizerOf(1).quantize(128), 128);
  // 121 and 128 are in the scale, 127 is not; the search ends at 127.
  EXPECT_EQ(quantizerOf(14, 1).quantize(121), 121);
  EXPECT_EQ(quantizerOf(14, 1).quantize(122), 122);
  EXPECT_EQ(quantizerOf(14, 1).quantize(127), 127);
}

TEST(ZRDSPMIDIQuantizer, AnswersAtOnceForAnyInt) {
  const ZRDSPMIDIQuantizer quantizer;

  EXPECT_EQ(quantizer.quantize(INT_MAX), INT_MAX);
  EXPECT_EQ(quantizer.quantize(INT_MIN), 0);
}

TEST(ZRDSPMIDIQuantizer, ReadsByIndexAndHoldsTheIndexInsideTheTable) {
  const ZRDSPMIDIQuantizer quantizer = quantizerOf(1, 2);

  EXPECT_EQ(quantizer.quantizeByIndex(0), 2);
  EXPECT_EQ(quantizer.quantizeByIndex(8), 16);
  EXPECT_EQ(quantizer.quantizeByIndex(139), 241);
  EXPECT_EQ(quantizer.quantizeByIndex(140), 241);
  EXPECT_EQ(quantizer.quantizeByIndex(INT_MAX), 241);
  EXPECT_EQ(quantizer.quantizeByIndex(-1), 2);
}

TEST(ZRDSPMIDIQuantizer, FindsTheIndexOfANoteAndGivesBackTheNoteOtherwise) {
  const ZRDSPMIDIQuantizer quantizer;

  EXPECT_EQ(quantizer.getIndexOfNote(0), 0);
  EXPECT_EQ(quantizer.getIndexOfNote(12), 7);
  EXPECT_EQ(quantizer.getIndexOfNote(60), 35);
  EXPECT_EQ(quantizer.getIndexOfNote(61), 61);
  EXPECT_EQ(quantizer.getIndexOfNote(-5), -5);
}

TEST(ZRDSPMIDIQuantizer, NeverSaysThatANoteIsInTheScale) {
  const ZRDSPMIDIQuantizer quantizer;

  for (int note = 0; note <= 127; ++note) EXPECT_FALSE(quantizer.isNoteInScale(note));
}

TEST(ZRDSPMIDIQuantizer, TheSameRootOrScaleAgainDoesNotRebuildTheTable) {
  ZRDSPMIDIQuantizer quantizer = quantizerOf(3, 4);
  quantizer.getCurrentScale()[0] = 99;

  quantizer.setRootNote(4);
  quantizer.setScale(ZRQuantizerScale::phrygian);
  EXPECT_EQ(quantizer.quantizeByIndex(0), 99);

  quantizer.setRootNote(5);
  EXPECT_EQ(quantizer.quantizeByIndex(0), 5);
}

TEST(ZRDSPMIDIQuantizer, TheUsersScaleRepeatsEachOctaveWithoutTheRoot) {
  ZRDSPMIDIQuantizer quantizer = quantizerOf(1, 5);
  const std::array<int, 12> notes = {1, 6, 8, -1, -1, -1, -1, -1, -1, -1, -1, -1};

  quantizer.setUserScale(notes.data());

  EXPECT_EQ(quantizer.scaleSize, 3);
  EXPECT_EQ(quantizer.userScale, notes);
  EXPECT_EQ(quantizer.getUserScale()[1], 6);
  for (int i = 0; i < 140; ++i) {
    const int expected = std::array{1, 6, 8}[static_cast<std::size_t>(i % 3)] + 12 * (i / 3);
    ASSERT_EQ(quantizer.getCurrentScale()[i], expected);
    ASSERT_EQ(quantizer.baseScale[static_cast<std::size_t>(i)], expected);
  }
  EXPECT_EQ(quantizer.quantize(2), 6);
  EXPECT_EQ(quantizer.quantize(9), 13);
}

TEST(ZRDSPMIDIQuantizer, TheUsersScaleTakesAsManySlotsFromTheFrontAsAreUsed) {
  ZRDSPMIDIQuantizer quantizer;
  std::array<int, 12> notes{};
  notes.fill(-1);
  notes[0] = 2;
  notes[5] = 9;  // counted, but the second slot is what is read

  quantizer.setUserScale(notes.data());

  EXPECT_EQ(quantizer.scaleSize, 2);
  EXPECT_EQ(quantizer.quantizeByIndex(0), 2);
  EXPECT_EQ(quantizer.quantizeByIndex(1), -1);
  EXPECT_EQ(quantizer.quantizeByIndex(2), 14);
}

TEST(ZRDSPMIDIQuantizer, AnEmptyUsersScaleIsKeptButChangesNothing) {
  ZRDSPMIDIQuantizer quantizer = quantizerOf(2, 3);
  const Notes before = tableOf(quantizer);
  std::array<int, 12> notes{};
  notes.fill(-7);

  quantizer.setUserScale(notes.data());

  EXPECT_EQ(quantizer.userScale, notes);
  EXPECT_EQ(tableOf(quantizer), before);
  EXPECT_EQ(quantizer.scaleSize, 7);
}

TEST(ZRDSPMIDIQuantizer, ANewRootPutsTheBuiltInScaleBack) {
  ZRDSPMIDIQuantizer quantizer;
  const std::array<int, 12> notes = {1, 6, 8, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  quantizer.setUserScale(notes.data());

  quantizer.setRootNote(1);

  EXPECT_EQ(quantizer.scaleSize, 7);
  EXPECT_EQ(quantizer.quantizeByIndex(1), 3);
}

TEST(ZRDSPMIDIQuantizer, TheUsersScaleKeepsTheRootForTheNextScale) {
  ZRDSPMIDIQuantizer quantizer = quantizerOf(1, 5);
  const std::array<int, 12> notes = {1, 6, 8, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  quantizer.setUserScale(notes.data());
  EXPECT_EQ(quantizer.rootNote, 5);
  EXPECT_EQ(quantizer.quantizeByIndex(0), 1);

  quantizer.setScale(static_cast<ZRQuantizerScale>(14));  // fifths

  EXPECT_EQ(quantizer.quantizeByIndex(0), 5);
  EXPECT_EQ(quantizer.quantizeByIndex(1), 12);
  EXPECT_EQ(quantizer.quantizeByIndex(2), 17);
}

TEST(ZRDSPMIDIQuantizer, ExtremeRootsAndUsersNotesStayInsideTheRangeOfInt) {
  ZRDSPMIDIQuantizer quantizer = quantizerOf(1, INT_MAX);
  EXPECT_EQ(quantizer.quantizeByIndex(139), INT_MAX);
  EXPECT_EQ(quantizer.quantize(60), 60);

  std::array<int, 12> notes{};
  notes.fill(INT_MAX);
  quantizer.setUserScale(notes.data());

  EXPECT_EQ(quantizer.quantizeByIndex(139), INT_MAX);
}

// Reaches the base of the chromatic scale, which no operation puts to use.
class BaseOfQuantizer : public ZRDSPMIDIQuantizer {
 public:
  void makeChromaticBase() {
    scale = ZRQuantizerScale::chromatic;
    _makeBaseScale();
  }
};

TEST(ZRDSPMIDIQuantizer, TheChromaticBaseSkipsEverySecondOctave) {
  BaseOfQuantizer quantizer;

  quantizer.makeChromaticBase();

  EXPECT_EQ(quantizer.scaleSize, 12);
  EXPECT_EQ(quantizer.baseScale[11], 11);
  EXPECT_EQ(quantizer.baseScale[12], 24);
  EXPECT_EQ(quantizer.baseScale[25], 49);
  EXPECT_EQ(quantizer.baseScale[139], 139 + 12 * 11);
}

}  // namespace
}  // namespace morv
