#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

#include "hosts/cli/Numbers.h"

namespace morv::cli {
namespace {

TEST(Numbers, ReadsWholeRealTexts) {
  EXPECT_EQ(parseReal("0"), 0.0);
  EXPECT_EQ(parseReal("-1.25"), -1.25);
  EXPECT_EQ(parseReal("+2"), 2.0);
  EXPECT_EQ(parseReal(" 1e3\t"), 1000.0);
  EXPECT_EQ(parseReal(".5"), 0.5);
}

TEST(Numbers, RefusesWhatIsNoFiniteReal) {
  for (const char* text :
       {"", " ", "x", "1x", "1 2", "1,5", "--1", "+-1", "+", "nan", "inf", "1e999", "0x1p3"}) {
    EXPECT_FALSE(parseReal(text).has_value()) << text;
  }
}

TEST(Numbers, ReadsIntegersThatFit) {
  EXPECT_EQ(parseInteger("-12"), -12);
  EXPECT_EQ(parseInteger("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(parseUnsigned("18446744073709551615"), UINT64_MAX);
  EXPECT_FALSE(parseInteger("1.5").has_value());
  EXPECT_FALSE(parseInteger("9223372036854775808").has_value());
  EXPECT_FALSE(parseUnsigned("-1").has_value());
  EXPECT_FALSE(parseUnsigned("18446744073709551616").has_value());
}

TEST(Numbers, PrintsTheShortestTextThatReadsBack) {
  EXPECT_EQ(printReal(0.1F), "0.1");
  EXPECT_EQ(printReal(20000.0F), "20000");
  EXPECT_EQ(printReal(-0.001F), "-0.001");
  EXPECT_EQ(printReal(1.0 / 3.0), "0.3333333333333333");
}

TEST(Numbers, PrintsAFixedNumberOfDecimals) {
  EXPECT_EQ(printFixed(1.005, 1), "1.0");
  EXPECT_EQ(printFixed(-6.0206, 2), "-6.02");
  EXPECT_EQ(printFixed(-std::numeric_limits<double>::infinity(), 2), "-inf");
  EXPECT_EQ(printFixed(1e300, 0).size(), 301U);
}

TEST(Numbers, KeepsThePointInALocaleThatWritesACommaToo) {
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C"}) {
    if (std::setlocale(LC_ALL, name) == nullptr) continue;
    EXPECT_EQ(parseReal("1.5"), 1.5);
    EXPECT_EQ(printReal(1.5F), "1.5");
    EXPECT_EQ(printFixed(1.5, 1), "1.5");
  }
  std::setlocale(LC_ALL, "C");
}

TEST(Numbers, TrimsBlanksAtTheEnds) {
  EXPECT_EQ(trimmed(" \t a b \r"), "a b");
  EXPECT_EQ(trimmed(" \t"), "");
  EXPECT_EQ(trimmed(""), "");
}

}  // namespace
}  // namespace morv::cli
