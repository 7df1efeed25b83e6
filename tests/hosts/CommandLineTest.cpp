#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "hosts/cli/CommandLine.h"

namespace morv::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::array kSpecs = {OptionSpec{"out"}, OptionSpec{"set"}, OptionSpec{"json", false}};

Result<CommandLine> parsed(const std::vector<std::string>& words) {
  return CommandLine::parse(words, kSpecs);
}

TEST(CommandLine, TakesValuesAsTheNextWordOrBehindAnEqualsSign) {
  const auto line = parsed({"--out", "a.wav", "--set=volume=1"});

  ASSERT_TRUE(line) << line.reason();
  EXPECT_EQ(line->value("out"), "a.wav");
  EXPECT_EQ(line->value("set"), "volume=1");
  EXPECT_FALSE(line->has("json"));
}

TEST(CommandLine, TakesTheNextWordEvenIfItLooksLikeAnOption) {
  EXPECT_EQ(parsed({"--out", "--json"})->value("out"), "--json");
  EXPECT_EQ(parsed({"--out", "-1"})->value("out"), "-1");
  EXPECT_EQ(parsed({"--out="})->value("out"), "");
}

TEST(CommandLine, KeepsAllValuesAndPrefersTheLast) {
  const auto line = parsed({"--set", "a", "--set=b", "--set", "c"});

  EXPECT_THAT(line->values("set"), ElementsAre("a", "b", "c"));
  EXPECT_EQ(line->value("set"), "c");
}

TEST(CommandLine, KnowsFlags) {
  EXPECT_TRUE(parsed({"--json"})->has("json"));
  EXPECT_THAT(parsed({"--json=1"}).reason(), HasSubstr("'--json' takes no value"));
}

TEST(CommandLine, PartsOperandsFromOptions) {
  const auto line = parsed({"x", "--json", "-", "y", "--", "--out", "--"});

  ASSERT_TRUE(line) << line.reason();
  EXPECT_THAT(line->operands(), ElementsAre("x", "-", "y", "--out", "--"));
  EXPECT_FALSE(line->has("out"));
}

TEST(CommandLine, RefusesUnknownOptionsAndNamesTheNearest) {
  EXPECT_EQ(parsed({"--jsn"}).reason(), "unknown option '--jsn'; the nearest is --json");
  EXPECT_EQ(parsed({"--ouut=x"}).reason(), "unknown option '--ouut'; the nearest is --out");
  EXPECT_THAT(parsed({"-o"}).reason(), HasSubstr("unknown option '-o'"));
  EXPECT_THAT(parsed({"---out", "x"}).reason(), HasSubstr("unknown option '---out'"));
  EXPECT_THAT(parsed({"--=x"}).reason(), HasSubstr("unknown option '--'"));
}

TEST(CommandLine, RefusesAMissingValue) {
  EXPECT_EQ(parsed({"--json", "--out"}).reason(), "option '--out' needs a value");
}

}  // namespace
}  // namespace morv::cli
