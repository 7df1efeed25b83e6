#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "render/SafeCast.h"

namespace morv {
namespace {

TEST(SafeCast, CutsTowardsZero) {
  EXPECT_EQ(truncatedInt(2.9F), 2);
  EXPECT_EQ(truncatedInt(-2.9F), -2);
  EXPECT_EQ(truncatedInt(0.99F), 0);
  EXPECT_EQ(truncatedInt(-0.99F), 0);
  EXPECT_EQ(truncatedInt(127.0F), 127);
}

TEST(SafeCast, HoldsValuesInsideTheRangeOfInt) {
  EXPECT_EQ(truncatedInt(2147483648.0F), std::numeric_limits<int>::max());
  EXPECT_EQ(truncatedInt(1e30F), std::numeric_limits<int>::max());
  EXPECT_EQ(truncatedInt(std::numeric_limits<float>::infinity()), std::numeric_limits<int>::max());
  EXPECT_EQ(truncatedInt(-2147483648.0F), std::numeric_limits<int>::min());
  EXPECT_EQ(truncatedInt(-1e30F), std::numeric_limits<int>::min());
  EXPECT_EQ(truncatedInt(-std::numeric_limits<float>::infinity()), std::numeric_limits<int>::min());
}

TEST(SafeCast, KeepsTheLargestFloatsBelowTheBounds) {
  EXPECT_EQ(truncatedInt(std::nextafter(2147483648.0F, 0.0F)), 2147483520);
  EXPECT_EQ(truncatedInt(std::nextafter(-2147483648.0F, 0.0F)), -2147483520);
}

TEST(SafeCast, NotANumberGivesZero) {
  EXPECT_EQ(truncatedInt(std::nanf("")), 0);
  EXPECT_EQ(truncatedInt(std::nan("")), 0);
}

TEST(SafeCast, TreatsDoublesAlikeAndKeepsTheirDigits) {
  EXPECT_EQ(truncatedInt(16777217.9), 16777217);
  EXPECT_EQ(truncatedInt(-16777217.9), -16777217);
  EXPECT_EQ(truncatedInt(2147483647.5), std::numeric_limits<int>::max());
  EXPECT_EQ(truncatedInt(2147483648.0), std::numeric_limits<int>::max());
  EXPECT_EQ(truncatedInt(std::numeric_limits<double>::infinity()), std::numeric_limits<int>::max());
  EXPECT_EQ(truncatedInt(-2147483648.5), std::numeric_limits<int>::min());
  EXPECT_EQ(truncatedInt(-2147483649.0), std::numeric_limits<int>::min());
  EXPECT_EQ(truncatedInt(-std::numeric_limits<double>::infinity()), std::numeric_limits<int>::min());
}

}  // namespace
}  // namespace morv
