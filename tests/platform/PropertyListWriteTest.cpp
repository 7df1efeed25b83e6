#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "platform/PropertyList.h"
#include "platform/PropertyListLimits.h"
#include "platform/Random.h"
#include "tests/platform/CommaLocale.h"

namespace morv {
namespace {

using testing::HasSubstr;

std::string written(const PropertyListValue& value) {
  const auto result = writePropertyList(value);
  return result ? result.value() : result.reason();
}

PropertyListValue again(const PropertyListValue& value) { return readPropertyList(written(value)).value(); }

PropertyListValue oneOfEach() {
  return PropertyListDictionary{
      {"string", "\xC3\xA9 <&>\"' \t\n\r\n ]]> <integer>5</integer>"},
      {"empty", ""},
      {"", true},
      {"key <&>\r", false},
      {"negative", INT64_MIN},
      {"great", UINT64_MAX},
      {"real", -0.1},
      {"float", 0.1F},
      {"date", PropertyListDate{-1}},
      {"data", PropertyListValue::Data{0, 1, 2, 253, 254, 255}},
      {"no data", PropertyListValue::Data{}},
      {"array", PropertyListValue::Array{1, "two", 3.0, PropertyListDictionary{{"4", 5}}}},
      {"no array", PropertyListValue::Array{}},
      {"dictionary", PropertyListDictionary{{"b", PropertyListDictionary{}}, {"a", 1}}}};
}

TEST(PropertyListWrite, WritesWhatReadingGivesBack) { EXPECT_EQ(again(oneOfEach()), oneOfEach()); }

TEST(PropertyListWrite, WritesTheSameTextAgainBehindARead) {
  const std::string text = written(oneOfEach());

  EXPECT_EQ(written(readPropertyList(text).value()), text);
}

TEST(PropertyListWrite, WritesPlainXml) {
  EXPECT_EQ(written(PropertyListDictionary{{"b", 0.5}, {"a", PropertyListValue::Array{-1, "x&\r"}}}),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n<dict>\n\t<key>b</key>\n\t<real>0.5</real>\n\t<key>a</key>\n\t<array>\n"
            "\t\t<integer>-1</integer>\n\t\t<string>x&amp;&#13;</string>\n\t</array>\n</dict>\n</plist>\n");
}

TEST(PropertyListWrite, WritesRealsInTheShortestTextThatReadsBackToTheBit) {
  EXPECT_THAT(written(0.1), HasSubstr("<real>0.1</real>"));
  EXPECT_THAT(written(-0.0), HasSubstr("<real>-0</real>"));
  EXPECT_THAT(written(std::numeric_limits<double>::quiet_NaN()), HasSubstr("<real>nan</real>"));
  EXPECT_THAT(written(std::numeric_limits<double>::infinity()), HasSubstr("<real>+infinity</real>"));
  EXPECT_THAT(written(-std::numeric_limits<double>::infinity()), HasSubstr("<real>-infinity</real>"));
  const double none = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double number : {0.0, -0.0, 5e-324, 2.2250738585072014e-308, std::numeric_limits<double>::max(),
                              1.0 / 3.0, 1e22, 123456789012345678.0, none, infinity, -infinity}) {
    EXPECT_EQ(again(number), PropertyListValue(number)) << number;
  }
}

TEST(PropertyListWrite, KeepsFloatsAndDoublesToTheBit) {
  Random random(7);
  PropertyListValue::Array values;
  std::vector<std::uint32_t> floats;
  const auto bits32 = [&] { return static_cast<std::uint32_t>(random.unitDouble() * 4294967296.0); };
  while (values.size() < 20000) {
    const auto number = std::bit_cast<float>(bits32());
    const auto wide = std::bit_cast<double>(static_cast<std::uint64_t>(bits32()) << 32U | bits32());
    if (number != number || wide != wide) continue;  // what is no number keeps no payload
    values.emplace_back(number);
    floats.push_back(std::bit_cast<std::uint32_t>(number));
    values.emplace_back(wide);
  }

  const PropertyListValue read = again(values);

  EXPECT_TRUE(read == PropertyListValue(values));
  for (std::size_t i = 0; i < floats.size(); ++i)
    ASSERT_EQ(std::bit_cast<std::uint32_t>(static_cast<float>(*(*read.array())[2 * i].real())), floats[i]);
}

TEST(PropertyListWrite, WritesTheSameUnderALocaleWithCommas) {
  const std::string text = written(oneOfEach());
  const CommaLocale locale;
  ASSERT_TRUE(locale.isActive());

  EXPECT_EQ(written(oneOfEach()), text);
  EXPECT_EQ(again(oneOfEach()), oneOfEach());
  EXPECT_EQ(std::string(std::localeconv()->decimal_point), ",");
}

TEST(PropertyListWrite, WritesIntegersOfAllSizes) {
  for (const std::int64_t number : {INT64_MIN, std::int64_t{-1}, std::int64_t{0}, INT64_MAX})
    EXPECT_EQ(again(number), PropertyListValue(number));
  EXPECT_THAT(written(UINT64_MAX), HasSubstr("<integer>18446744073709551615</integer>"));
  EXPECT_THAT(written(-5), HasSubstr("<integer>-5</integer>"));
}

TEST(PropertyListWrite, WritesAllDatesThatHaveAText) {
  for (const PropertyListDate date : {kFirstPropertyListDate, PropertyListDate{0}, kLastPropertyListDate})
    EXPECT_EQ(again(date), PropertyListValue(date));
  EXPECT_THAT(written(PropertyListDate{INT64_MAX}), HasSubstr("date outside"));
}

TEST(PropertyListWrite, RefusesTextThatXmlCannotHold) {
  EXPECT_THAT(written("a\xFF"), HasSubstr("string that XML cannot hold"));
  EXPECT_THAT(written(std::string("a\0b", 3)), HasSubstr("string that XML cannot hold"));
  EXPECT_THAT(written(PropertyListDictionary{{"\x01", 1}}), HasSubstr("key that XML cannot hold"));
}

TEST(PropertyListWrite, RefusesWhatReadingRefuses) {
  PropertyListValue deep;
  for (std::size_t i = 1; i < kMaxPropertyListDepth; ++i) {
    PropertyListValue::Array around;
    around.push_back(std::move(deep));
    deep = PropertyListValue(std::move(around));
  }
  EXPECT_EQ(again(deep), deep);
  PropertyListValue::Array around;
  around.push_back(std::move(deep));
  EXPECT_THAT(written(around), HasSubstr("levels deep"));
  EXPECT_THAT(written(std::string(kMaxPropertyListBytes, 'a')), HasSubstr("longer than"));
  EXPECT_THAT(written(std::string(200'000, '&')), HasSubstr("too many entities"));
}

TEST(PropertyListWrite, KeepsWhatItDoesNotKnow) {
  PropertyListValue state = again(oneOfEach());

  state.dictionary()->set("real", 0.25);

  PropertyListValue expected = oneOfEach();
  expected.dictionary()->set("real", 0.25);
  EXPECT_EQ(again(state), expected);
}

TEST(PropertyListWrite, HoldsABankOfAThousandPresets) {
  PropertyListDictionary bank;
  for (int preset = 0; preset < 1000; ++preset) {
    PropertyListDictionary state;
    for (int i = 0; i < 100; ++i) state.set("parameter" + std::to_string(i), 0.001 * preset + i);
    bank.set("[USER]_PL_" + std::to_string(preset), std::move(state));
  }

  EXPECT_TRUE(again(bank) == PropertyListValue(bank));
}

}  // namespace
}  // namespace morv
