#include <gtest/gtest.h>

#include <algorithm>

#include "modulation/ModMatrixCore.h"
#include "modulation/ZRDSPModMatrix.h"

namespace morv {
namespace {

TEST(ModMatrixCore, LimitsAreFixed) {
  EXPECT_EQ(kMaxModRows, 475);
  EXPECT_EQ(kNumBuiltInSources, 11);
  EXPECT_EQ(kNumGlobalSourceBuffers, 24);
  EXPECT_EQ(kSharedMatrixBlockSize, 4096);
}

TEST(ModMatrixCore, StartsWithoutRowsAndWithSilentGlobalBuffers) {
  ModMatrixCore core;

  EXPECT_EQ(core.rows.size(), 475U);
  for (const auto& row : core.rows) EXPECT_EQ(row, nullptr);
  EXPECT_TRUE(core.routed.none());
  for (int number = 0; number < 24; ++number) {
    const float* buffer = core.globalSourceBuffer(number);
    EXPECT_TRUE(std::all_of(buffer, buffer + 4096, [](float x) { return x == 0.0F; })) << number;
  }
  EXPECT_EQ(core.globalSourceBuffer(24), nullptr);
  EXPECT_EQ(core.globalSourceBuffer(-1), nullptr);
}

TEST(ZRDSPModMatrixShared, IsMadeOnFirstUseAndThenKept) {
  const auto first = ZRDSPModMatrix::sharedMatrix();

  ASSERT_NE(first, nullptr);
  ASSERT_NE(first->getMatrixCore(), nullptr);
  EXPECT_EQ(first->blockSize, 4096);
  EXPECT_EQ(ZRDSPModMatrix::sharedMatrix(), first);
}

TEST(ZRDSPModMatrixShared, InitSingletonReplacesTheSharedMatrixByAnEmptyOne) {
  const auto shared = ZRDSPModMatrix::initSingleton();
  ZRDSPModMatrix matrix(64);
  matrix.setMatrixCore(shared->getMatrixCore());
  modMatrixRow* row = matrix.addRow("a", 1, 40, nullptr, 1, 0, false);
  shared->registerSource(nullptr, false, false, "x");
  const auto oldCore = shared->getMatrixCore();

  const auto fresh = ZRDSPModMatrix::initSingleton();

  EXPECT_NE(fresh, shared);
  EXPECT_EQ(ZRDSPModMatrix::sharedMatrix(), fresh);
  EXPECT_NE(fresh->getMatrixCore(), oldCore);
  EXPECT_EQ(fresh->getRowAtIndex(0), nullptr);
  EXPECT_EQ(fresh->rowCount, 0);
  EXPECT_EQ(fresh->registeredSourceCount, 0);
  EXPECT_EQ(fresh->blockSize, 4096);
  EXPECT_FALSE(fresh->isRouted(40));
  EXPECT_EQ(matrix.getMatrixCore(), oldCore);
  EXPECT_EQ(matrix.getRowAtIndex(0), row);
}

}  // namespace
}  // namespace morv
