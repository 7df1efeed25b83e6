#include <gtest/gtest.h>

#include "hosts/cli/TableCell.h"

namespace morv::cli {
namespace {

TEST(TableCell, ShowsTabsAndEndsOfLinesAndLeavesAllElse) {
  EXPECT_EQ(tableCell("a\tb\nc\rd"), "a\\tb\\nc\\rd");
  EXPECT_EQ(tableCell("plain \xC3\xA4 \\ \x01"), "plain \xC3\xA4 \\ \x01");
  EXPECT_EQ(tableCell(""), "");
}

}  // namespace
}  // namespace morv::cli
