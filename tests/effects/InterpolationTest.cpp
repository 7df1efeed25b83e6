#include <gtest/gtest.h>

#include "effects/Interpolation.h"

namespace morv {
namespace {

TEST(Interpolation, EndsAndMiddleOfALine) {
  EXPECT_EQ(interpolate_linear(2.0F, 6.0F, 0.0F), 2.0F);
  EXPECT_EQ(interpolate_linear(2.0F, 6.0F, 1.0F), 6.0F);
  EXPECT_EQ(interpolate_linear(2.0F, 6.0F, 0.25F), 3.0F);
  EXPECT_EQ(interpolate_linear(6.0F, -2.0F, 0.5F), 2.0F);
}

TEST(Interpolation, ContinuesTheLineBeyondItsEnds) {
  EXPECT_EQ(interpolate_linear(2.0F, 6.0F, 1.5F), 8.0F);
  EXPECT_EQ(interpolate_linear(2.0F, 6.0F, -0.5F), 0.0F);
}

}  // namespace
}  // namespace morv
