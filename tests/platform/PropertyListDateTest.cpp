#include <gtest/gtest.h>

#include "platform/PropertyListDate.h"

namespace morv {
namespace {

TEST(PropertyListDate, HasATextToTheSecond) {
  EXPECT_EQ(textOfDate({0}), "1970-01-01T00:00:00Z");
  EXPECT_EQ(textOfDate({-1}), "1969-12-31T23:59:59Z");
  EXPECT_EQ(textOfDate({978307200}), "2001-01-01T00:00:00Z");
  EXPECT_EQ(textOfDate({951782400 + 3600 + 120 + 3}), "2000-02-29T01:02:03Z");
}

TEST(PropertyListDate, HasNoTextOutsideTheYears1To9999) {
  EXPECT_EQ(textOfDate(kFirstPropertyListDate), "0001-01-01T00:00:00Z");
  EXPECT_EQ(textOfDate(kLastPropertyListDate), "9999-12-31T23:59:59Z");
  EXPECT_FALSE(textOfDate({kFirstPropertyListDate.secondsSince1970 - 1}));
  EXPECT_FALSE(textOfDate({kLastPropertyListDate.secondsSince1970 + 1}));
}

TEST(PropertyListDate, IsReadFromItsText) {
  EXPECT_EQ(dateOfText("1970-01-01T00:00:00Z"), PropertyListDate{0});
  EXPECT_EQ(dateOfText("2000-02-29T01:02:03Z"), PropertyListDate{951782400 + 3600 + 120 + 3});
  EXPECT_EQ(dateOfText("0001-01-01T00:00:00Z"), kFirstPropertyListDate);
  EXPECT_EQ(dateOfText("9999-12-31T23:59:59Z"), kLastPropertyListDate);
}

TEST(PropertyListDate, IsNotReadFromAnyOtherText) {
  for (const char* text :
       {"", "1970-01-01", "1970-01-01T00:00:00", "1970-01-01 00:00:00Z", "1970-01-01T00:00:00z",
        "1970-1-1T00:00:00Z", "0000-01-01T00:00:00Z", "1970-00-01T00:00:00Z", "1970-13-01T00:00:00Z",
        "1970-01-00T00:00:00Z", "1970-02-29T00:00:00Z", "1970-01-01T24:00:00Z", "1970-01-01T00:60:00Z",
        "1970-01-01T00:00:60Z", "+970-01-01T00:00:00Z", "1970-01-01T00:00:00Z "}) {
    EXPECT_FALSE(dateOfText(text)) << text;
  }
}

}  // namespace
}  // namespace morv
