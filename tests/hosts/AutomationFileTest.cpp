#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "hosts/cli/AutomationFile.h"

namespace morv::cli {
namespace {

std::string reasonFor(const std::string& text) {
  const auto file = AutomationFile::parse(text, "knobs.csv");
  return file ? "it was read" : file.reason();
}

TEST(AutomationFile, ReadsRows) {
  const auto file = AutomationFile::parse("0,filterCutoff,440\n1.5,ecoverb.reverbMix,-0.25\n", "knobs.csv");

  ASSERT_TRUE(file) << file.reason();
  ASSERT_EQ(file->rows().size(), 2U);
  EXPECT_EQ(file->rows()[0].seconds, 0.0);
  EXPECT_EQ(file->rows()[0].identifier, "filterCutoff");
  EXPECT_EQ(file->rows()[0].value, 440.0F);
  EXPECT_EQ(file->rows()[0].line, 1);
  EXPECT_EQ(file->rows()[1].seconds, 1.5);
  EXPECT_EQ(file->rows()[1].identifier, "ecoverb.reverbMix");
  EXPECT_EQ(file->rows()[1].value, -0.25F);
  EXPECT_EQ(file->rows()[1].line, 2);
}

TEST(AutomationFile, AllowsAHeaderInItsFirstLineOnly) {
  EXPECT_EQ(reasonFor("seconds,identifier,value\n0,volume,1\n"), "it was read");
  EXPECT_EQ(reasonFor("seconds, identifier, value\n"), "it was read");
  EXPECT_EQ(reasonFor("0,volume,1\nseconds,identifier,value\n"),
            "knobs.csv:2: 'seconds' is no time in seconds");
}

TEST(AutomationFile, AllowsBlanksEmptyLinesCarriageReturnsAndAByteOrderMark) {
  const auto file = AutomationFile::parse(
      "\xEF\xBB\xBFseconds,identifier,value\r\n\r\n \t\n  0.5 ,\tvolume , +1e-1 \r\n\n2,volume,0",
      "knobs.csv");

  ASSERT_TRUE(file) << file.reason();
  ASSERT_EQ(file->rows().size(), 2U);
  EXPECT_EQ(file->rows()[0].identifier, "volume");
  EXPECT_EQ(file->rows()[0].value, 0.1F);
  EXPECT_EQ(file->rows()[0].line, 4);
  EXPECT_EQ(file->rows()[1].line, 6);
}

TEST(AutomationFile, MayBeEmpty) {
  const auto file = AutomationFile::parse("", "knobs.csv");

  ASSERT_TRUE(file) << file.reason();
  EXPECT_TRUE(file->rows().empty());
}

TEST(AutomationFile, SortsRowsByTimeAndKeepsTheOrderOfOneTime) {
  const auto file = AutomationFile::parse("2,c,1\n1,a,1\n2,d,1\n1,b,1\n", "knobs.csv");

  ASSERT_TRUE(file) << file.reason();
  std::string order;
  for (const auto& row : file->rows()) order += row.identifier;
  EXPECT_EQ(order, "abcd");
}

TEST(AutomationFile, RefusesOtherNumbersOfFields) {
  EXPECT_EQ(reasonFor("0,volume\n"), "knobs.csv:1: expected seconds,identifier,value but found 2 fields");
  EXPECT_EQ(reasonFor("0,volume,1\n0,volume,1,2\n"),
            "knobs.csv:2: expected seconds,identifier,value but found 4 fields");
  EXPECT_EQ(reasonFor("volume\n"), "knobs.csv:1: expected seconds,identifier,value but found 1 field");
}

TEST(AutomationFile, RefusesTimesThatAreNone) {
  for (const char* time : {"x", "", "1s", "nan", "inf", "1,5", "0x10"}) {
    EXPECT_NE(reasonFor(std::string(time) + ",volume,1\n"), "it was read") << time;
  }
  EXPECT_EQ(reasonFor("-0.5,volume,1\n"), "knobs.csv:1: a time of -0.5 seconds lies before the start");
}

TEST(AutomationFile, RefusesValuesThatAreNone) {
  for (const char* value : {"x", "", "1 2", "nan", "-inf", "1e39", "on"}) {
    EXPECT_EQ(reasonFor("0,volume," + std::string(value) + "\n"),
              "knobs.csv:1: '" + std::string(value) + "' is no value");
  }
}

TEST(AutomationFile, RefusesAMissingIdentifier) {
  EXPECT_EQ(reasonFor("0,,1\n"), "knobs.csv:1: the identifier is missing");
}

TEST(AutomationFile, NamesTheFileThatCannotBeRead) {
  const auto file = AutomationFile::read("/nowhere/knobs.csv");

  EXPECT_FALSE(file);
  EXPECT_THAT(file.reason(), testing::StartsWith("/nowhere/knobs.csv: cannot be opened: "));
}

}  // namespace
}  // namespace morv::cli
