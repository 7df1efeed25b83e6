#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "platform/Random.h"

namespace morv {
namespace {

constexpr int kFrames = 16;
constexpr int kTarget = 40;  // a destination

class ZRDSPModMatrixRun : public ::testing::Test {
 protected:
  ZRDSPModMatrixRun() {
    matrix.setMatrixCore(shared->getMatrixCore());
    second.setMatrixCore(shared->getMatrixCore());
    for (ZRDSPParameter& depth : depths) {
      depth.minValue = -1;
      depth.maxValue = 1;
      depth = 1.0F;
    }
  }

  void fillSource(int source, float value) { std::fill_n(matrix.sourceBuffer(source), kFrames, value); }
  void fillGlobal(int number, float value) {
    std::fill_n(shared->getMatrixCore()->globalSourceBuffer(number), kFrames, value);
  }
  float runAndRead(int address = kTarget) {
    matrix.runMatrix(kFrames);
    return matrix.destinationBuffer(address)[kFrames - 1];
  }

  std::shared_ptr<ZRDSPModMatrix> shared = ZRDSPModMatrix::initSingleton();
  ZRDSPModMatrix matrix{kFrames};
  ZRDSPModMatrix second{kFrames};
  std::array<ZRDSPParameter, 4> depths;
};

struct TransformCase {
  int transform;
  float x;
  float y;
};

// Input and output of each transform, by hand.
constexpr std::array<TransformCase, 21> kTransforms = {{
    {0, 0.3F, 0.3F},    {0, -3.0F, -3.0F},   {1, 0.0F, -1.0F},    {1, 0.75F, 0.5F},  {1, 1.0F, 1.0F},
    {2, -1.0F, 0.0F},   {2, 0.5F, 0.75F},    {2, 1.0F, 1.0F},     {3, 0.5F, 0.25F},  {3, -3.0F, 9.0F},
    {4, 0.5F, 0.0625F}, {4, -2.0F, 16.0F},   {5, 127.0F, 1.0F},   {5, 254.0F, 2.0F}, {5, -63.5F, -0.5F},
    {7, 63.5F, 0.25F},  {7, -63.5F, -0.25F}, {7, -127.0F, -1.0F}, {9, 0.5F, 0.25F},  {9, -3.0F, 9.0F},
    {7, 254.0F, 4.0F},
}};

TEST_F(ZRDSPModMatrixRun, EachTransformInThePerVoicePass) {
  modMatrixRow* row = matrix.addRow(2, kTarget, nullptr, 1, 0);
  for (const TransformCase& c : kTransforms) {
    row->transform = static_cast<ZRDSPModMatrixTransform>(c.transform);
    fillSource(2, c.x);
    EXPECT_FLOAT_EQ(runAndRead(), c.y) << c.transform << " of " << c.x;
  }
}

TEST_F(ZRDSPModMatrixRun, EachTransformInTheGlobalPass) {
  modMatrixRow* row = matrix.addRow("g", 2, kTarget, nullptr, 1, 0, true);
  for (const TransformCase& c : kTransforms) {
    row->transform = static_cast<ZRDSPModMatrixTransform>(c.transform);
    fillGlobal(2, c.x);
    EXPECT_FLOAT_EQ(runAndRead(), c.y) << c.transform << " of " << c.x;
  }
}

TEST_F(ZRDSPModMatrixRun, TransformEightIsASquareOf80InThePerVoicePassOnly) {
  modMatrixRow* row = matrix.addRow(2, kTarget, nullptr, 1, 8);
  for (const auto& [x, y] : std::vector<std::pair<float, float>>{{40, 0.25F}, {-40, 0.25F}, {160, 4}}) {
    fillSource(2, x);
    EXPECT_FLOAT_EQ(runAndRead(), y);
  }

  row->isGlobal = true;
  fillGlobal(2, 40);
  EXPECT_EQ(runAndRead(), 0.0F);
}

TEST_F(ZRDSPModMatrixRun, TransformsWithoutAnOperationAddNothing) {
  fillSource(3, 5);
  fillSource(2, 1);
  matrix.addRow(3, kTarget + 1, nullptr, 1, 0);  // leaves its samples in the scratch
  modMatrixRow* row = matrix.addRow(2, kTarget, nullptr, 1, 6);
  for (const int transform : {6, 10, 99, -1}) {
    row->transform = static_cast<ZRDSPModMatrixTransform>(transform);
    EXPECT_EQ(runAndRead(), 0.0F) << transform;
  }
}

TEST_F(ZRDSPModMatrixRun, GainIsTheNormalisedDepthTimesTheAmount) {
  depths[0].maxValue = 4;
  depths[0] = 1.0F;
  matrix.addRow("a", 2, kTarget, depths.data(), 0.5F, 0, false);
  fillSource(2, 8);

  EXPECT_FLOAT_EQ(runAndRead(), 8 * (1.0F / 4.0F) * 0.5F);

  depths[0] = -4.0F;
  EXPECT_FLOAT_EQ(runAndRead(), -4.0F);
}

TEST_F(ZRDSPModMatrixRun, ARowWithoutDepthAlwaysRunsAtItsAmount) {
  matrix.addRow(2, kTarget, nullptr, 0.25F, 0);
  fillSource(2, 8);

  matrix.resetActiveRows();

  EXPECT_EQ(runAndRead(), 2.0F);
}

TEST_F(ZRDSPModMatrixRun, EverySampleIsRoutedOnItsOwn) {
  matrix.addRow(2, kTarget, nullptr, 2, 0);
  for (int i = 0; i < kFrames; ++i) matrix.sourceBuffer(2)[i] = static_cast<float>(i);

  matrix.runMatrix(kFrames);

  for (int i = 0; i < kFrames; ++i)
    EXPECT_EQ(matrix.destinationBuffer(kTarget)[i], 2 * static_cast<float>(i));
}

TEST_F(ZRDSPModMatrixRun, RowsOfBothPassesAddUpAndDoNotPileUpOverBlocks) {
  matrix.addRow(2, kTarget, nullptr, 1, 0);
  matrix.addRow("g", 3, kTarget, nullptr, 1, 0, true);
  matrix.addRow("d", 4, kTarget, depths.data(), 1, 0, false);
  matrix.addRow(4, kTarget + 1, nullptr, 1, 0);
  fillSource(2, 1);
  fillGlobal(3, 10);
  fillSource(4, 100);

  for (int block = 0; block < 3; ++block) EXPECT_EQ(runAndRead(), 111.0F);
  EXPECT_EQ(matrix.destinationBuffer(kTarget + 1)[0], 100.0F);
}

TEST_F(ZRDSPModMatrixRun, VoicesShareRowsAndKeepTheirOwnBuffers) {
  matrix.addRow("a", 2, kTarget, depths.data(), 1, 0, false);
  second.addRow("a", 2, kTarget, &depths[1], 1, 0, false);
  fillSource(2, 1);
  std::fill_n(second.sourceBuffer(2), kFrames, 7.0F);
  depths[1] = 0.0F;  // nobody looks at it

  matrix.runMatrix(kFrames);
  second.runMatrix(kFrames);

  EXPECT_EQ(matrix.destinationBuffer(kTarget)[0], 1.0F);
  EXPECT_EQ(second.destinationBuffer(kTarget)[0], 7.0F);
}

TEST_F(ZRDSPModMatrixRun, ADestinationThatLosesItsLastRowIsClearedAndStaysZero) {
  matrix.addRow("a", 2, kTarget, depths.data(), 1, 0, false);
  fillSource(2, 1);
  EXPECT_EQ(runAndRead(), 1.0F);

  depths[0] = 0.0F;

  for (int block = 0; block < 3; ++block) {
    matrix.runMatrix(kFrames);
    for (int i = 0; i < kFrames; ++i) ASSERT_EQ(matrix.destinationBuffer(kTarget)[i], 0.0F);
  }
}

TEST_F(ZRDSPModMatrixRun, SamplesThatCancelExactlyOutliveADepthOfZero) {
  matrix.addRow("a", 2, kTarget, depths.data(), 1, 0, false);
  for (int i = 0; i < kFrames; ++i) matrix.sourceBuffer(2)[i] = i % 2 == 0 ? 0.5F : -0.5F;
  matrix.runMatrix(kFrames);

  depths[0] = 0.0F;
  matrix.runMatrix(kFrames);

  EXPECT_EQ(matrix.destinationBuffer(kTarget)[0], 0.5F);
  EXPECT_EQ(matrix.destinationBuffer(kTarget)[1], -0.5F);

  // An odd number of samples does not cancel; those samples alone are cleared.
  matrix.runMatrix(kFrames - 1);
  EXPECT_EQ(matrix.destinationBuffer(kTarget)[0], 0.0F);
  EXPECT_EQ(matrix.destinationBuffer(kTarget)[kFrames - 2], 0.0F);
  EXPECT_EQ(matrix.destinationBuffer(kTarget)[kFrames - 1], -0.5F);
}

TEST_F(ZRDSPModMatrixRun, WhatIsNoNumberIsClearedAtADepthOfZero) {
  matrix.addRow("a", 2, kTarget, depths.data(), 1, 0, false);
  depths[0] = 0.0F;
  matrix.destinationBuffer(kTarget)[3] = std::numeric_limits<float>::quiet_NaN();
  matrix.destinationBuffer(kTarget)[5] = std::numeric_limits<float>::infinity();

  matrix.runMatrix(kFrames);

  for (int i = 0; i < kFrames; ++i) EXPECT_EQ(matrix.readDestination(kTarget)[i], 0.0F) << i;
}

TEST_F(ZRDSPModMatrixRun, AModulesSamplesBeyondTheBlockOutliveItAndAreClearedByALongerOne) {
  matrix.addRow(2, kTarget, nullptr, 1, 0);
  fillSource(2, 1);
  std::fill_n(matrix.destinationBuffer(kTarget, kFrames), kFrames, 9.0F);

  matrix.runMatrix(4);
  EXPECT_EQ(matrix.readDestination(kTarget)[3], 1.0F);
  EXPECT_EQ(matrix.readDestination(kTarget)[4], 9.0F);
  matrix.enabled = false;
  matrix.runMatrix(8);
  EXPECT_EQ(matrix.readDestination(kTarget)[7], 0.0F);
  EXPECT_EQ(matrix.readDestination(kTarget)[8], 9.0F);
  matrix.enabled = true;

  matrix.runMatrix(kFrames);

  for (int i = 0; i < kFrames; ++i) EXPECT_EQ(matrix.readDestination(kTarget)[i], 1.0F) << i;
}

TEST_F(ZRDSPModMatrixRun, DestinationsOutsideTheTableHaveNoBufferToReadOrWrite) {
  EXPECT_EQ(matrix.readDestination(-1), nullptr);
  EXPECT_EQ(matrix.readDestination(475), nullptr);
  EXPECT_EQ(matrix.destinationBuffer(-1), nullptr);
  EXPECT_EQ(matrix.destinationBuffer(475, 1), nullptr);
  EXPECT_EQ(matrix.readDestination(474), matrix.destinationBuffer(474));
}

TEST_F(ZRDSPModMatrixRun, AnyRowAtWorkClearsEvenSamplesThatCancel) {
  matrix.addRow("off", 2, kTarget, depths.data(), 1, 0, false);
  matrix.addRow("on", 3, kTarget, &depths[1], 1, 0, false);
  depths[0] = 0.0F;
  fillSource(3, 1);
  matrix.destinationBuffer(kTarget)[0] = 5;
  matrix.destinationBuffer(kTarget)[1] = -5;

  matrix.runMatrix(kFrames);

  EXPECT_EQ(matrix.destinationBuffer(kTarget)[0], 1.0F);
  EXPECT_EQ(matrix.destinationBuffer(kTarget)[1], 1.0F);
}

TEST_F(ZRDSPModMatrixRun, OnlyTheFramesOfTheBlockAreTouched) {
  matrix.addRow(2, kTarget, nullptr, 1, 0);
  fillSource(2, 1);
  matrix.destinationBuffer(kTarget)[4] = 9;

  matrix.runMatrix(4);

  EXPECT_EQ(matrix.destinationBuffer(kTarget)[3], 1.0F);
  EXPECT_EQ(matrix.destinationBuffer(kTarget)[4], 9.0F);
  matrix.runMatrix(0);
  EXPECT_EQ(matrix.destinationBuffer(kTarget)[3], 1.0F);
}

TEST_F(ZRDSPModMatrixRun, DestinationsWithoutRowsKeepWhatTheirModuleWrote) {
  matrix.addRow(2, kTarget, nullptr, 1, 0);
  matrix.destinationBuffer(kTarget + 1)[0] = 0.5F;

  matrix.runMatrix(kFrames);

  EXPECT_EQ(matrix.destinationBuffer(kTarget + 1)[0], 0.5F);
}

TEST_F(ZRDSPModMatrixRun, ADestinationThatAModuleHoldsIsFilledAndKnownUntilSomebodyWritesIt) {
  float value = 5.0F;
  EXPECT_TRUE(matrix.isHeld(kTarget, kFrames, value));
  EXPECT_EQ(value, 0.0F);

  matrix.holdDestination(kTarget, 0.25F, kFrames);

  for (int i = 0; i < kFrames; ++i) EXPECT_EQ(matrix.readDestination(kTarget)[i], 0.25F);
  EXPECT_TRUE(matrix.isHeld(kTarget, kFrames, value));
  EXPECT_EQ(value, 0.25F);
  EXPECT_FALSE(matrix.isHeld(kTarget, kFrames + 1, value));
  matrix.destinationBuffer(kTarget)[3] = 1.0F;
  EXPECT_FALSE(matrix.isHeld(kTarget, kFrames, value));
}

TEST_F(ZRDSPModMatrixRun, ARowAtDepthZeroClearsWhatAModuleHoldsInItsDestination) {
  matrix.addRow(2, kTarget, &depths[0], 1, 0);
  depths[0] = 0.0F;
  fillSource(2, 1.0F);
  for (const float held : {0.25F, -3.0F, std::numeric_limits<float>::quiet_NaN(), 0.0F}) {
    matrix.holdDestination(kTarget, held, kFrames);

    matrix.runMatrix(kFrames);

    for (int i = 0; i < kFrames; ++i) EXPECT_EQ(matrix.readDestination(kTarget)[i], 0.0F) << held;
  }
}

TEST_F(ZRDSPModMatrixRun, InactiveRowsNeitherClearNorAdd) {
  modMatrixRow* row = matrix.addRow("a", 2, kTarget, depths.data(), 1, 0, false);
  modMatrixRow* global = matrix.addRow("g", 2, kTarget, depths.data(), 1, 0, true);
  fillSource(2, 1);
  fillGlobal(2, 1);
  matrix.destinationBuffer(kTarget)[kFrames - 1] = 0.5F;
  row->active = false;
  global->active = false;

  EXPECT_EQ(runAndRead(), 0.5F);
  depths[0] = 0.0F;
  EXPECT_EQ(runAndRead(), 0.5F);
}

TEST_F(ZRDSPModMatrixRun, DisabledMatrixClearsAndAddsNothing) {
  matrix.addRow(2, kTarget, nullptr, 1, 0);
  matrix.addRow("g", 2, kTarget + 1, nullptr, 1, 0, true);
  fillSource(2, 1);
  fillGlobal(2, 1);
  EXPECT_EQ(runAndRead(), 1.0F);

  matrix.enabled = false;

  EXPECT_EQ(runAndRead(), 0.0F);
  EXPECT_EQ(runAndRead(kTarget + 1), 0.0F);
}

TEST_F(ZRDSPModMatrixRun, SecondSourcesOfMidiValuesAreDividedBy127InThePerVoicePass) {
  modMatrixRow* row = matrix.addRow(2, kTarget, nullptr, 1, 0);
  const int registered = matrix.registerSource(nullptr, false, false, "x");
  row->modAmount = 0.5F;
  for (int source = 1; source <= registered; ++source) {
    for (int other = 0; other <= registered; ++other) fillSource(other, 0);
    fillSource(2, 3);
    if (source != 2) fillSource(source, 254);
    row->modSource = source;

    const float x = source == 2 ? 3.0F : 254.0F;
    const bool isMidi = source == 1 || source == 2 || source == 3 || source == 5 || source == 6;
    EXPECT_FLOAT_EQ(runAndRead(), 3.0F * ((isMidi ? x / 127.0F : x) * 0.5F)) << source;
  }
}

TEST_F(ZRDSPModMatrixRun, SecondSourcesOfTheGlobalPassComeFromTheOwnMatrixAndLeaveSlideUndivided) {
  modMatrixRow* row = matrix.addRow("g", 2, kTarget, nullptr, 1, 0, true);
  const int registered = matrix.registerSource(nullptr, false, false, "x");
  row->modAmount = 0.5F;
  fillGlobal(2, 3);
  for (int source = 1; source <= registered; ++source) {
    fillSource(source, 254);
    row->modSource = source;

    const bool isMidi = source == 1 || source == 2 || source == 3 || source == 5;
    EXPECT_FLOAT_EQ(runAndRead(), 3.0F * ((isMidi ? 2.0F : 254.0F) * 0.5F)) << source;
  }
}

TEST_F(ZRDSPModMatrixRun, ModAmountZeroSilencesOnlyARowWithASecondSource) {
  modMatrixRow* row = matrix.addRow(2, kTarget, nullptr, 1, 0);
  fillSource(2, 3);
  fillSource(4, 1);

  row->modAmount = 0.0F;
  EXPECT_EQ(runAndRead(), 3.0F);
  row->modAmount = 0.7F;  // without a second source it scales nothing
  EXPECT_EQ(runAndRead(), 3.0F);
  row->modSource = 4;
  row->modAmount = 0.0F;
  EXPECT_EQ(runAndRead(), 0.0F);
}

TEST_F(ZRDSPModMatrixRun, TheSecondSourceActsBehindTheTransformAndAheadOfTheDepth) {
  depths[0] = 0.5F;
  modMatrixRow* row = matrix.addRow("a", 2, kTarget, depths.data(), 4, 3, false);
  row->modSource = 4;
  row->modAmount = 0.25F;
  fillSource(2, 3);
  fillSource(4, 2);

  EXPECT_FLOAT_EQ(runAndRead(), 9.0F * (2.0F * 0.25F) * (0.5F * 4.0F));
}

TEST_F(ZRDSPModMatrixRun, GlobalRowsReadTheSharedTableByTheIndexWithoutItsSign) {
  const int source = matrix.registerSource(nullptr, true, false, "global");
  ASSERT_EQ(source, -11);
  matrix.addRow("negative", source, kTarget, nullptr, 1, 0, true);
  matrix.addRow("built-in", 2, kTarget + 1, nullptr, 1, 0, true);
  std::fill_n(matrix.sourceBuffer(source), kFrames, 0.5F);
  fillSource(2, 9);  // this voice's velocity is not what a global row reads

  EXPECT_EQ(runAndRead(), 0.5F);
  EXPECT_EQ(runAndRead(kTarget + 1), 0.0F);
}

TEST_F(ZRDSPModMatrixRun, GlobalRowsFollowTheirDepth) {
  matrix.addRow("g", 2, kTarget, depths.data(), 2, 0, true);
  fillGlobal(2, 1);
  depths[0] = 0.5F;
  EXPECT_EQ(runAndRead(), 1.0F);

  depths[0] = 0.0F;
  EXPECT_EQ(runAndRead(), 0.0F);
}

TEST_F(ZRDSPModMatrixRun, RowsOverMissingBuffersAddNothing) {
  matrix.addRow(300, kTarget, nullptr, 1, 0);
  matrix.addRow("g", 24, kTarget, nullptr, 1, 0, true);
  matrix.addRow(2, 475, nullptr, 1, 0);
  matrix.addRow(2, -1, nullptr, 1, 0);
  modMatrixRow* row = matrix.addRow(2, kTarget + 1, nullptr, 1, 0);
  row->modSource = 300;
  row->modAmount = 1.0F;
  fillSource(2, 1);

  EXPECT_EQ(runAndRead(), 0.0F);
  EXPECT_EQ(runAndRead(kTarget + 1), 0.0F);
}

TEST_F(ZRDSPModMatrixRun, BlockSizeMakesNoDifferenceAndTheToldOneIsNoLimit) {
  constexpr int kTotal = 4096;
  Random random(3);
  std::vector<float> input(kTotal);
  for (float& x : input) x = 254.0F * random.unit31() - 127.0F;
  modMatrixRow* row = matrix.addRow(4, kTarget, nullptr, 0.3F, 7);
  row->modSource = 2;
  row->modAmount = 0.9F;
  const auto runWith = [&](int frames) {
    std::vector<float> output(kTotal);
    for (int at = 0; at < kTotal; at += frames) {
      const int n = std::min(frames, kTotal - at);
      std::copy_n(input.data() + at, n, matrix.sourceBuffer(4));
      std::copy_n(input.data() + at, n, matrix.sourceBuffer(2));
      matrix.runMatrix(n);
      std::copy_n(matrix.destinationBuffer(kTarget), n, output.data() + at);
    }
    return output;
  };
  const auto whole = runWith(kTotal);

  for (const int frames : {1, 7, 64}) EXPECT_EQ(runWith(frames), whole) << frames;
  const auto x = static_cast<double>(input[4000]);
  const double expected = std::copysign(x * x / (127.0 * 127.0), x) * x / 127.0 * 0.9 * 0.3;
  EXPECT_NEAR(whole[4000], expected, 1e-6);
}

TEST_F(ZRDSPModMatrixRun, EditsFromAnotherThreadAreSeenByTheNextBlock) {
  modMatrixRow* row = matrix.addRow("a", 2, kTarget, depths.data(), 1, 0, false);
  fillSource(2, 1);
  fillSource(4, 1);
  std::atomic<bool> stop{false};
  std::thread editor([&] {
    for (int i = 0; !stop; ++i) {
      depths[0] = i % 2 == 0 ? 0.25F : 0.5F;
      row->modSource = i % 3 == 0 ? 0 : 4;
      row->modAmount = 1.0F;
    }
    depths[0] = 0.75F;
    row->modSource = 0;
  });

  bool isBounded = true;
  for (int block = 0; block < 2000; ++block) {
    const float y = runAndRead();
    isBounded = isBounded && y >= 0.0F && y <= 1.0F;
  }
  stop = true;
  editor.join();

  EXPECT_TRUE(isBounded);
  EXPECT_EQ(runAndRead(), 0.75F);
}

}  // namespace
}  // namespace morv
