#include <gtest/gtest.h>

#include "unit/GroupName.h"

namespace morv {
namespace {

TEST(GroupName, IsMadeOfTheSecondAndThirdPieceOfTheBundlesName) {
  EXPECT_EQ(groupNameOfBundle("com.maker.Product"), "group.maker.Product");
  EXPECT_EQ(groupNameOfBundle("com.maker.Product.extension"), "group.maker.Product");
  EXPECT_EQ(groupNameOfBundle("org.maker.Product"), "group.maker.Product");
  EXPECT_EQ(groupNameOfBundle(kBundleIdentifier), "group.morv.MORV");
}

TEST(GroupName, ChangesEveryCompanyOfTheName) {
  EXPECT_EQ(groupNameOfBundle("com.telecom.Product"), "group.telegroup.Product");
}

TEST(GroupName, CountsEmptyPieces) {
  EXPECT_EQ(groupNameOfBundle("com..Product"), "group..Product");
  EXPECT_EQ(groupNameOfBundle("com.maker."), "group.maker.");
}

TEST(GroupName, IsEmptyForFewerThanThreePieces) {
  EXPECT_EQ(groupNameOfBundle("com.maker"), "");
  EXPECT_EQ(groupNameOfBundle("maker"), "");
  EXPECT_EQ(groupNameOfBundle(""), "");
}

}  // namespace
}  // namespace morv
