#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "hosts/cli/Json.h"

namespace morv::cli {
namespace {

TEST(Json, QuotesTextsAndEscapesWhatItCannotShow) {
  EXPECT_EQ(jsonQuoted(""), "\"\"");
  EXPECT_EQ(jsonQuoted("a\"b\\c"), "\"a\\\"b\\\\c\"");
  EXPECT_EQ(jsonQuoted(std::string("\0\n\x1F", 3)), "\"\\u0000\\u000a\\u001f\"");
  EXPECT_EQ(jsonQuoted("\u00C4ther \U0001D11E"), "\"\u00C4ther \U0001D11E\"");
}

TEST(Json, PutsTheReplacementForEachByteThatIsNoText) {
  EXPECT_EQ(jsonQuoted("a\xFFz"), "\"a\\ufffdz\"");
  EXPECT_EQ(jsonQuoted("\xC3"), "\"\\ufffd\"");
  EXPECT_EQ(jsonQuoted("\xED\xA0\x80"), "\"\\ufffd\\ufffd\\ufffd\"");
}

TEST(Json, HasNoNumberForWhatIsNotFinite) {
  EXPECT_EQ(jsonNumber(1.25, 2), "1.25");
  EXPECT_EQ(jsonNumber(std::numeric_limits<double>::infinity(), 2), "null");
  EXPECT_EQ(jsonNumber(std::numeric_limits<double>::quiet_NaN(), 2), "null");
}

}  // namespace
}  // namespace morv::cli
