#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

#include "modulation/ZRMidiQuantizer.h"

namespace morv {
namespace {

using Notes = std::vector<int>;

const std::vector<std::pair<int, Notes>>& rows() {
  static const std::vector<std::pair<int, Notes>> table = {{1, {0, 2, 4, 5, 7, 9, 11}},
                                                           {2, {0, 2, 3, 5, 7, 9, 10}},
                                                           {3, {0, 1, 3, 5, 7, 8, 10}},
                                                           {4, {0, 2, 4, 6, 7, 9, 11}},
                                                           {5, {0, 2, 4, 5, 7, 9, 10}},
                                                           {6, {0, 2, 3, 5, 7, 8, 10}},
                                                           {7, {0, 1, 3, 5, 6, 8, 10}},
                                                           {8, {0, 2, 3, 4, 7, 9}},
                                                           {9, {0, 3, 5, 6, 7, 10}},
                                                           {10, {0, 4, 8}},
                                                           {11, {0, 3, 6, 9}},
                                                           {12, {0, 7}},
                                                           {13, {0, 2, 4, 6, 8, 10}},
                                                           {14, {0, 1, 3, 4, 6, 7, 9, 10}},
                                                           {15, {0, 2, 4, 7, 9}},
                                                           {16, {0, 3, 5, 7, 10}},
                                                           {17, {0, 1, 4, 5, 7, 8, 11}},
                                                           {18, {0, 1, 4, 5, 7, 8, 10}},
                                                           {19, {0, 2, 3, 6, 7, 8, 11}},
                                                           {20, {0, 4, 5, 7, 8}},
                                                           {21, {0, 2, 4, 5, 7, 9, 11}},
                                                           {99, {0, 2, 4, 5, 7, 9, 11}},
                                                           {INT_MIN, {0, 2, 4, 5, 7, 9, 11}}};
  return table;
}

TEST(ZRMidiQuantizer, StartsAsTheDiatonicScaleAtRootZeroRoundingUp) {
  const ZRMidiQuantizer quantizer;

  EXPECT_EQ(quantizer.rootNote, 0);
  EXPECT_EQ(quantizer.scaleType, 1);
  EXPECT_EQ(quantizer.type, 0);
  EXPECT_EQ(quantizer.currentScale.size(), 70U);
  EXPECT_EQ(quantizer.quantize(61), 62);
}

TEST(ZRMidiQuantizer, EveryScaleTypeHasItsTableAtEveryRoot) {
  for (const auto& [type, notes] : rows()) {
    for (const int root : {0, 1, 11}) {
      SCOPED_TRACE(::testing::Message() << "type " << type << " root " << root);
      ZRMidiQuantizer quantizer;
      quantizer.setScaleType(type);
      quantizer.setRootNote(root);

      const int size = static_cast<int>(notes.size());
      for (int i = 0; i < 70; ++i) {
        ASSERT_EQ(quantizer.currentScale[static_cast<std::size_t>(i)],
                  notes[static_cast<std::size_t>(i % size)] + 12 * (i / size) + root);
      }
    }
  }
}

TEST(ZRMidiQuantizer, EveryNoteRoundsUpWhileTheTableLasts) {
  for (const auto& [type, notes] : rows()) {
    ZRMidiQuantizer quantizer;
    quantizer.setScaleType(type);
    const int last = quantizer.currentScale[69];
    for (int note = 0; note <= last; ++note) {
      int expected = note;
      while (std::find(notes.begin(), notes.end(), expected % 12) == notes.end()) ++expected;
      ASSERT_EQ(quantizer.quantize(note), expected) << "type " << type << " note " << note;
    }
  }
}

TEST(ZRMidiQuantizer, ANoteAboveTheTableComesBackUnchanged) {
  ZRMidiQuantizer quantizer;

  EXPECT_EQ(quantizer.quantize(119), 119);
  EXPECT_EQ(quantizer.quantize(120), 120);
  EXPECT_EQ(quantizer.quantize(INT_MAX), INT_MAX);
}

TEST(ZRMidiQuantizer, RoundsUpPastTheMidiRangeWhereTheTableReachesThere) {
  ZRMidiQuantizer quantizer;
  quantizer.setScaleType(12);  // fifths: 127, 132

  EXPECT_EQ(quantizer.quantize(128), 132);
}

TEST(ZRMidiQuantizer, ScaleTypeZeroGivesTheNoteBackWhateverTheType) {
  ZRMidiQuantizer quantizer;
  quantizer.setScaleType(0);

  for (const int type : {0, 1, 2}) {
    quantizer.type = type;
    EXPECT_EQ(quantizer.quantize(61), 61);
    EXPECT_EQ(quantizer.quantize(500), 500);
  }
}

TEST(ZRMidiQuantizer, TypeOneReadsTheNoteAsAnIndexHeldInsideTheTable) {
  ZRMidiQuantizer quantizer;
  quantizer.setRootNote(2);
  quantizer.type = 1;

  EXPECT_EQ(quantizer.quantize(0), 2);
  EXPECT_EQ(quantizer.quantize(8), 16);
  EXPECT_EQ(quantizer.quantize(69), 121);
  EXPECT_EQ(quantizer.quantize(70), 121);
  EXPECT_EQ(quantizer.quantize(-1), 2);
}

TEST(ZRMidiQuantizer, AnotherTypeGivesTheNoteBack) {
  ZRMidiQuantizer quantizer;
  quantizer.type = 2;

  EXPECT_EQ(quantizer.quantize(61), 61);
}

TEST(ZRMidiQuantizer, ACustomScaleRepeatsEachOctaveAndTakesTheRootAtItsNextChange) {
  ZRMidiQuantizer quantizer;
  const std::vector<int> notes = {0, 1, 6, -1, 9};

  quantizer.setQuantizerCustomScale(notes);
  EXPECT_EQ(quantizer.quantize(2), 6);
  EXPECT_EQ(quantizer.quantize(7), 12);
  EXPECT_EQ(quantizer.quantize(14), 18);

  quantizer.setRootNote(3);
  EXPECT_EQ(quantizer.quantize(0), 3);
  EXPECT_EQ(quantizer.quantize(5), 9);

  quantizer.setScaleType(1);
  EXPECT_EQ(quantizer.quantize(6), 7);
}

TEST(ZRMidiQuantizer, AnEmptyCustomScaleChangesNothing) {
  ZRMidiQuantizer quantizer;
  const auto before = quantizer.currentScale;

  quantizer.setQuantizerCustomScale({});
  quantizer.setQuantizerCustomScale(std::vector<int>{-1, 4});

  EXPECT_EQ(quantizer.currentScale, before);
}

}  // namespace
}  // namespace morv
