#include <gtest/gtest.h>

#include "modulation/ZRDSPModMatrix.h"

namespace morv {
namespace {

TEST(ZRDSPModMatrix, StartsWithTheEightNamedSources) {
  ZRDSPModMatrix matrix(64);

  EXPECT_EQ(matrix.getNumRegisteredSources(), 8);
  EXPECT_EQ(matrix.getNameForSource(3), "Mod Wheel");
}

}  // namespace
}  // namespace morv
