#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>

#include "modulation/ZRDSPModMatrix.h"
#include "render/BlockLimits.h"

namespace morv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kFrames = 64;

class ZRDSPModMatrixTest : public ::testing::Test {
 protected:
  ZRDSPModMatrixTest() {
    matrix.setMatrixCore(shared->getMatrixCore());
    second.setMatrixCore(shared->getMatrixCore());
    for (ZRDSPParameter& depth : depths) {
      depth.minValue = -1;
      depth.maxValue = 1;
    }
  }

  static bool isSilent(const float* buffer, int frames) {
    return std::all_of(buffer, buffer + frames, [](float x) { return x == 0.0F; });
  }

  std::shared_ptr<ZRDSPModMatrix> shared = ZRDSPModMatrix::initSingleton();
  ZRDSPModMatrix matrix{kFrames};
  ZRDSPModMatrix second{kFrames};
  std::array<ZRDSPParameter, 4> depths;
};

TEST_F(ZRDSPModMatrixTest, NewMatrixIsEnabledAndEmpty) {
  ZRDSPModMatrix fresh(17);

  EXPECT_TRUE(fresh.enabled);
  EXPECT_EQ(fresh.rowCount, 0);
  EXPECT_EQ(fresh.registeredSourceCount, 0);
  EXPECT_EQ(fresh.blockSize, 17);
  EXPECT_EQ(fresh.getMatrixCore(), nullptr);
}

TEST_F(ZRDSPModMatrixTest, WithoutARowArrayNothingIsRoutedAndRunningChangesNothing) {
  ZRDSPModMatrix fresh(kFrames);
  fresh.destinationBuffer(3)[0] = 0.5F;

  fresh.runMatrix(kFrames);

  EXPECT_FALSE(fresh.isRouted(3));
  EXPECT_EQ(fresh.destinationBuffer(3)[0], 0.5F);
}

TEST_F(ZRDSPModMatrixTest, StartsWithTheEightNamedSources) {
  EXPECT_THAT(matrix.getPublicSourceNames(), ElementsAre("None", "NOTE", "Velocity", "Mod Wheel",
                                                         "Pitch Wheel", "Pressure", "Slide", "Release"));
  EXPECT_EQ(matrix.getNumRegisteredSources(), 8);
  EXPECT_EQ(matrix.getNumPublicSources(), 8);
  int index = 0;
  for (const modMatrixSource* source : matrix.getPublicSources()) {
    EXPECT_EQ(source->index, index);
    EXPECT_EQ(source->name, matrix.getNameForSource(index));
    EXPECT_FALSE(source->isGlobal);
    EXPECT_TRUE(source->isPublic);
    ++index;
  }
}

TEST_F(ZRDSPModMatrixTest, ElevenSourceSlotsHaveSilentBuffersAndTheLastThreeNoName) {
  for (int source = 0; source < 11; ++source) {
    ASSERT_NE(matrix.sourceBuffer(source), nullptr);
    EXPECT_TRUE(isSilent(matrix.sourceBuffer(source), kMaxBlockFrames));
  }
  for (int source = 8; source < 11; ++source) EXPECT_EQ(matrix.getNameForSource(source), "");
  EXPECT_EQ(matrix.sourceBuffer(11), nullptr);
  EXPECT_EQ(matrix.sourceBuffer(474), nullptr);
  EXPECT_EQ(matrix.sourceBuffer(475), nullptr);
}

TEST_F(ZRDSPModMatrixTest, EveryDestinationBelow475HasASilentBufferOfItsOwn) {
  std::set<float*> buffers;
  for (int address = 0; address < 475; ++address) {
    float* buffer = matrix.destinationBuffer(address);
    ASSERT_NE(buffer, nullptr);
    EXPECT_TRUE(isSilent(buffer, kMaxBlockFrames));
    buffers.insert(buffer);
  }
  EXPECT_EQ(buffers.size(), 475U);
  EXPECT_EQ(matrix.destinationBuffer(475), nullptr);
  EXPECT_EQ(matrix.destinationBuffer(-1), nullptr);
}

TEST_F(ZRDSPModMatrixTest, BuffersHoldTheGreatestBlockWhateverSizeIsTold) {
  for (const int told : {1, 64, 8192}) {
    ZRDSPModMatrix sized(told);
    const int frames = std::max(told, kMaxBlockFrames);
    for (int address = 0; address < 475; ++address)
      std::fill_n(sized.destinationBuffer(address), frames, static_cast<float>(address));
    for (int address = 0; address < 475; ++address) {
      const float* buffer = sized.destinationBuffer(address);
      ASSERT_EQ(buffer[0], static_cast<float>(address));
      ASSERT_EQ(buffer[frames - 1], static_cast<float>(address));
    }
  }
}

TEST_F(ZRDSPModMatrixTest, RegisteredSourcesCountUpFromEleven) {
  EXPECT_EQ(matrix.registerSource(nullptr, false, true, "one"), 11);
  EXPECT_EQ(matrix.registerSource(nullptr, false, false, "two"), 12);

  EXPECT_EQ(matrix.registeredSourceCount, 2);
  EXPECT_EQ(matrix.getNumRegisteredSources(), 10);
  EXPECT_EQ(matrix.getNameForSource(11), "one");
  EXPECT_EQ(matrix.getNameForSource(12), "two");
  ASSERT_NE(matrix.sourceBuffer(12), nullptr);
  EXPECT_TRUE(isSilent(matrix.sourceBuffer(12), kMaxBlockFrames));
  EXPECT_EQ(matrix.sourceBuffer(13), nullptr);
}

TEST_F(ZRDSPModMatrixTest, RegisteringMoreSourcesMovesNoBuffer) {
  matrix.registerSource(nullptr, false, false, "first");
  float* const builtIn = matrix.sourceBuffer(1);
  float* const first = matrix.sourceBuffer(11);

  for (int i = 0; i < 60; ++i) matrix.registerSource(nullptr, false, false, "more");

  EXPECT_EQ(matrix.sourceBuffer(1), builtIn);
  EXPECT_EQ(matrix.sourceBuffer(11), first);
}

TEST_F(ZRDSPModMatrixTest, EmptyNameTakesTheEntitys) {
  ZRDSPEntity entity(44100.0F);
  entity.name = "LFO";

  const int unnamed = matrix.registerSource(&entity, false, true, "");
  const int named = matrix.registerSource(&entity, false, true, "Other");

  EXPECT_EQ(matrix.getNameForSource(unnamed), "LFO");
  EXPECT_EQ(matrix.getNameForSource(named), "Other");
  EXPECT_EQ(matrix.getPublicSources()[8]->name, "LFO");
}

TEST_F(ZRDSPModMatrixTest, GlobalSourcesGetNegativeIndicesInTheSameCount) {
  EXPECT_EQ(matrix.registerSource(nullptr, false, false, "own"), 11);
  EXPECT_EQ(matrix.registerSource(nullptr, true, true, "global"), -12);
  EXPECT_EQ(matrix.registerSource(nullptr, false, false, "own again"), 13);

  EXPECT_EQ(matrix.getNameForSource(-12), "global");
  EXPECT_EQ(matrix.getNameForSource(12), "");
  EXPECT_EQ(matrix.sourceBuffer(12), nullptr);
  const modMatrixSource* listed = matrix.getPublicSources().back();
  EXPECT_EQ(listed->index, -12);
  EXPECT_TRUE(listed->isGlobal);
}

TEST_F(ZRDSPModMatrixTest, AGlobalSourcesBufferStandsInTheSharedCore) {
  const int source = matrix.registerSource(nullptr, true, false, "global");

  matrix.sourceBuffer(source)[5] = 0.75F;

  EXPECT_EQ(second.sourceBuffer(source), matrix.sourceBuffer(source));
  EXPECT_EQ(shared->getMatrixCore()->globalSourceBuffer(11)[5], 0.75F);
  EXPECT_TRUE(isSilent(matrix.destinationBuffer(0), kFrames));
}

TEST_F(ZRDSPModMatrixTest, PublicListsLeaveOutPrivateSourcesAndKeepTheOrder) {
  matrix.registerSource(nullptr, false, true, "b");
  matrix.registerSource(nullptr, false, false, "hidden");
  matrix.registerSource(nullptr, false, true, "a");

  const auto names = matrix.getPublicSourceNames();

  ASSERT_EQ(names.size(), 10U);
  EXPECT_EQ(names[8], "b");
  EXPECT_EQ(names[9], "a");
  EXPECT_EQ(matrix.getNumPublicSources(), 10);
  EXPECT_EQ(matrix.getPublicSources()[9]->index, 13);
  EXPECT_EQ(matrix.getNumRegisteredSources(), 11);
}

TEST_F(ZRDSPModMatrixTest, UnknownSourceHasAnEmptyName) {
  EXPECT_EQ(matrix.getNameForSource(300), "");
  EXPECT_EQ(matrix.getNameForSource(-4), "");
}

TEST_F(ZRDSPModMatrixTest, FullFormFillsTheRow) {
  modMatrixRow* row = matrix.addRow("2 > 40", "Velocity", 2, "Cutoff", 40, depths.data(), 0.25F, 7, true);

  EXPECT_EQ(row->identifier, "2 > 40");
  EXPECT_EQ(row->displayIdentifier, "2 > 40");
  EXPECT_EQ(row->source, 2);
  EXPECT_EQ(row->destinationIndex, 40);
  EXPECT_EQ(row->destination.name, "Cutoff");
  EXPECT_EQ(row->destination.index, 40);
  EXPECT_EQ(row->depth, depths.data());
  EXPECT_EQ(row->amount, 0.25F);
  EXPECT_EQ(row->transform, ZRDSPModMatrixTransform::midiSquare);
  EXPECT_TRUE(row->isGlobal);
  EXPECT_TRUE(row->active);
  EXPECT_EQ(row->modSource, 0);
  EXPECT_EQ(row->modAmount, 0.0F);
  EXPECT_EQ(matrix.rowCount, 1);
  EXPECT_EQ(matrix.getRowAtIndex(0), row);
}

TEST_F(ZRDSPModMatrixTest, WithoutASourceNameTheDestinationStaysUnnamed) {
  modMatrixRow* row = matrix.addRow("id", "", 2, "Cutoff", 40, nullptr, 1, 0, false);

  EXPECT_EQ(row->destinationIndex, 40);
  EXPECT_EQ(row->destination.name, "");
  EXPECT_EQ(row->destination.index, 0);
}

TEST_F(ZRDSPModMatrixTest, ShortFormsForward) {
  modMatrixRow* named = matrix.addRow("id", 3, 41, depths.data(), 0.5F, 4, true);
  modMatrixRow* plain = matrix.addRow(5, 42, &depths[1], 2.0F, 1);

  EXPECT_EQ(named->identifier, "id");
  EXPECT_EQ(named->source, 3);
  EXPECT_EQ(named->destinationIndex, 41);
  EXPECT_EQ(named->depth, depths.data());
  EXPECT_EQ(named->amount, 0.5F);
  EXPECT_EQ(named->transform, ZRDSPModMatrixTransform::fourthPower);
  EXPECT_TRUE(named->isGlobal);
  EXPECT_EQ(named->destination.name, "");
  EXPECT_EQ(plain->identifier, "");
  EXPECT_EQ(plain->source, 5);
  EXPECT_EQ(plain->destinationIndex, 42);
  EXPECT_EQ(plain->depth, &depths[1]);
  EXPECT_EQ(plain->amount, 2.0F);
  EXPECT_EQ(plain->transform, ZRDSPModMatrixTransform::toBipolar);
  EXPECT_FALSE(plain->isGlobal);
}

TEST_F(ZRDSPModMatrixTest, LaterMatricesTakeOverTheRowsInOrder) {
  modMatrixRow* a = matrix.addRow("a", 2, 40, depths.data(), 1, 0, false);
  modMatrixRow* b = matrix.addRow("b", 3, 41, &depths[1], 1, 0, false);

  EXPECT_EQ(second.addRow("a", 2, 40, &depths[2], 1, 0, false), a);
  EXPECT_EQ(second.rowCount, 1);
  EXPECT_EQ(second.addRow("b", 3, 41, &depths[3], 1, 0, false), b);
  EXPECT_EQ(second.rowCount, 2);

  EXPECT_EQ(a->depth, depths.data());
  EXPECT_EQ(b->depth, &depths[1]);
  EXPECT_EQ(second.getRowAtIndex(1), b);
  EXPECT_EQ(shared->getMatrixCore()->rows[2], nullptr);
}

TEST_F(ZRDSPModMatrixTest, AnotherOrderTakesOverTheWrongRowsUnchanged) {
  modMatrixRow* a = matrix.addRow("a", 2, 40, nullptr, 1, 0, false);

  modMatrixRow* taken = second.addRow("z", "Slide", 6, "Other", 77, &depths[0], 9, 5, true);

  EXPECT_EQ(taken, a);
  EXPECT_EQ(taken->identifier, "a");
  EXPECT_EQ(taken->source, 2);
  EXPECT_EQ(taken->destinationIndex, 40);
  EXPECT_EQ(taken->depth, nullptr);
  EXPECT_EQ(taken->amount, 1.0F);
  EXPECT_EQ(taken->destination.name, "");
  EXPECT_FALSE(taken->isGlobal);
  EXPECT_FALSE(second.isRouted(77));
}

TEST_F(ZRDSPModMatrixTest, OnlyTheMatrixThatMadeARowKnowsItsIdentifier) {
  modMatrixRow* row = matrix.addRow("a", 2, 40, nullptr, 1, 0, false);
  second.addRow("a", 2, 40, nullptr, 1, 0, false);

  EXPECT_EQ(matrix.getRowWithIdentifier("a"), row);
  EXPECT_THROW(second.getRowWithIdentifier("a"), std::out_of_range);
}

TEST_F(ZRDSPModMatrixTest, AMatrixThatRunsAheadAddsTheRowsBehind) {
  matrix.addRow(2, 40, nullptr, 1, 0);
  second.addRow(2, 40, nullptr, 1, 0);

  modMatrixRow* row = second.addRow(3, 41, nullptr, 1, 0);

  EXPECT_EQ(matrix.rowCount, 1);
  EXPECT_EQ(second.rowCount, 2);
  EXPECT_EQ(matrix.getRowAtIndex(1), row);
}

TEST_F(ZRDSPModMatrixTest, UnknownIdentifierThrows) {
  EXPECT_THROW(matrix.getRowWithIdentifier("none"), std::out_of_range);
  EXPECT_THROW(matrix.getRowWithIdentifier(""), std::out_of_range);
}

TEST_F(ZRDSPModMatrixTest, EmptyIdentifierGivesTheLastRowAddedWithoutOne) {
  matrix.addRow(2, 40, nullptr, 1, 0);
  modMatrixRow* last = matrix.addRow(3, 41, nullptr, 1, 0);
  matrix.addRow("named", 4, 42, nullptr, 1, 0, false);

  EXPECT_EQ(matrix.getRowWithIdentifier(""), last);
}

TEST_F(ZRDSPModMatrixTest, RowsWithADestinationComeInOrderOfTheArray) {
  modMatrixRow* a = matrix.addRow("a", "NOTE", 1, "Cutoff", 40, nullptr, 1, 0, false);
  matrix.addRow("b", "NOTE", 1, "Mode", 41, nullptr, 1, 0, false);
  modMatrixRow* c = matrix.addRow("c", "Slide", 6, "Cutoff", 40, nullptr, 1, 0, false);
  matrix.addRow("d", 6, 40, nullptr, 1, 0, false);
  second.addRow("a", "NOTE", 1, "Cutoff", 40, nullptr, 1, 0, false);

  EXPECT_THAT(matrix.getRowsWithDestination("Cutoff"), ElementsAre(a, c));
  EXPECT_THAT(matrix.getRowsWithDestination("Pan"), IsEmpty());
  EXPECT_EQ(matrix.getRowsWithDestination("").size(), 1U);
  EXPECT_THAT(second.getRowsWithDestination("Cutoff"), ElementsAre(a));
}

TEST_F(ZRDSPModMatrixTest, ActiveRowsAreThoseWhoseDepthIsNotZero) {
  modMatrixRow* positive = matrix.addRow("a", 1, 40, depths.data(), 1, 0, false);
  matrix.addRow("b", 1, 41, &depths[1], 1, 0, false);
  modMatrixRow* negative = matrix.addRow("c", 1, 42, &depths[2], 1, 0, false);
  matrix.addRow("d", 1, 43, nullptr, 1, 0, false);
  second.addRow("a", 1, 40, nullptr, 1, 0, false);
  depths[0] = 0.5F;
  depths[2] = -1.0F;

  EXPECT_THAT(matrix.getActiveRows(), ElementsAre(positive, negative));
  EXPECT_THAT(second.getActiveRows(), ElementsAre(positive));
}

TEST_F(ZRDSPModMatrixTest, ResettingClearsDepthsAndSecondSourcesOfTheWalkedRows) {
  modMatrixRow* a = second.addRow("a", 1, 40, depths.data(), 0.5F, 4, false);
  modMatrixRow* b = second.addRow("b", 1, 41, nullptr, 1, 0, false);
  modMatrixRow* beyond = second.addRow("c", 1, 42, &depths[1], 1, 0, false);
  matrix.addRow("a", 1, 40, nullptr, 1, 0, false);
  matrix.addRow("b", 1, 41, nullptr, 1, 0, false);
  depths[0] = 0.5F;
  depths[1] = 0.5F;
  for (modMatrixRow* row : {a, b, beyond}) {
    row->modSource = 3;
    row->modAmount = 0.7F;
  }

  matrix.resetActiveRows();

  EXPECT_EQ(depths[0].value, 0.0F);
  EXPECT_EQ(depths[0].normalizedValueCache, 0.0F);
  for (modMatrixRow* row : {a, b}) {
    EXPECT_EQ(row->modSource, 0);
    EXPECT_EQ(row->modAmount, 0.0F);
    EXPECT_TRUE(row->active);
  }
  EXPECT_EQ(a->amount, 0.5F);
  EXPECT_EQ(a->transform, ZRDSPModMatrixTransform::fourthPower);
  EXPECT_EQ(depths[1].value, 0.5F);
  EXPECT_EQ(beyond->modSource, 3);
  EXPECT_THAT(matrix.getActiveRows(), IsEmpty());
}

TEST_F(ZRDSPModMatrixTest, ADestinationIsRoutedOnceAnyRowFeedsIt) {
  EXPECT_FALSE(matrix.isRouted(40));

  matrix.addRow("a", 1, 40, depths.data(), 1, 0, false);

  EXPECT_TRUE(matrix.isRouted(40));
  EXPECT_TRUE(second.isRouted(40));
  EXPECT_FALSE(matrix.isRouted(41));
  EXPECT_FALSE(matrix.isRouted(-1));
  EXPECT_FALSE(matrix.isRouted(475));
}

TEST_F(ZRDSPModMatrixTest, AllRowSlotsCanBeFilled) {
  for (int i = 0; i < kMaxModRows; ++i) matrix.addRow(2, i, nullptr, 1, 0);
  matrix.sourceBuffer(2)[0] = 3;

  matrix.runMatrix(1);

  EXPECT_EQ(matrix.rowCount, 475);
  for (int i = 0; i < kMaxModRows; ++i) ASSERT_EQ(matrix.destinationBuffer(i)[0], 3.0F);
}

}  // namespace
}  // namespace morv
