#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "platform/PropertyList.h"
#include "platform/PropertyListLimits.h"
#include "tests/platform/CommaLocale.h"

namespace morv {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

std::string fileOf(const std::string& value) { return kHead + value + "\n</plist>\n"; }

Result<PropertyListValue> read(const std::string& value) { return readPropertyList(fileOf(value)); }

std::string refusalOfFile(const std::string& file) {
  const auto result = readPropertyList(file);
  return result ? "read" : result.reason();
}

std::string refusalOf(const std::string& value) { return refusalOfFile(fileOf(value)); }

std::string nested(std::size_t levels) {
  std::string text;
  for (std::size_t i = 0; i < levels; ++i) text += "<array>";
  for (std::size_t i = 0; i < levels; ++i) text += "</array>";
  return text;
}

TEST(PropertyListRead, ReadsEachKindOfValue) {
  EXPECT_EQ(read("<true/>").value(), PropertyListValue(true));
  EXPECT_EQ(read("<false></false>").value(), PropertyListValue(false));
  EXPECT_EQ(read("<integer>-12</integer>").value(), PropertyListValue(-12));
  EXPECT_EQ(read("<real>0.1</real>").value(), PropertyListValue(0.1));
  EXPECT_EQ(read("<string>a b</string>").value(), PropertyListValue("a b"));
  EXPECT_EQ(read("<date>2001-01-01T00:00:00Z</date>").value(),
            PropertyListValue(PropertyListDate{978307200}));
  EXPECT_EQ(read("<data>AP8=</data>").value(), PropertyListValue(PropertyListValue::Data{0, 255}));
  EXPECT_EQ(read("<array><integer>1</integer><true/></array>").value(),
            PropertyListValue(PropertyListValue::Array{1, true}));
  EXPECT_EQ(read("<dict><key>k</key><integer>1</integer></dict>").value(),
            PropertyListValue(PropertyListDictionary{{"k", 1}}));
}

TEST(PropertyListRead, ReadsEmptyValues) {
  EXPECT_EQ(read("<string/>").value(), PropertyListValue(""));
  EXPECT_EQ(read("<string></string>").value(), PropertyListValue(""));
  EXPECT_EQ(read("<data/>").value(), PropertyListValue(PropertyListValue::Data{}));
  EXPECT_EQ(read("<data>\n</data>").value(), PropertyListValue(PropertyListValue::Data{}));
  EXPECT_EQ(read("<array/>").value(), PropertyListValue(PropertyListValue::Array{}));
  EXPECT_EQ(read("<dict></dict>").value(), PropertyListValue(PropertyListDictionary{}));
  EXPECT_EQ(read("<dict><key></key><true/></dict>").value(),
            PropertyListValue(PropertyListDictionary{{"", true}}));
}

TEST(PropertyListRead, KeepsTheOrderOfKeys) {
  const auto result = read("<dict><key>z</key><true/><key>a</key><true/><key>m</key><true/></dict>");

  const auto& entries = result.value().dictionary()->entries();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].first + entries[1].first + entries[2].first, "zam");
}

TEST(PropertyListRead, TakesTheLaterValueOfAKeyThatStandsTwice) {
  EXPECT_EQ(
      read("<dict><key>a&amp;</key><integer>1</integer><key>a&#38;</key><integer>2</integer></dict>").value(),
      PropertyListValue(PropertyListDictionary{{"a&", 2}}));
}

TEST(PropertyListRead, ReadsIntegersOfAllSizesAndForms) {
  EXPECT_EQ(read("<integer>-9223372036854775808</integer>").value().integer(), INT64_MIN);
  EXPECT_EQ(read("<integer>9223372036854775807</integer>").value().integer(), INT64_MAX);
  EXPECT_EQ(read("<integer>9223372036854775808</integer>").value().unsignedInteger(), 9223372036854775808U);
  EXPECT_EQ(read("<integer>18446744073709551615</integer>").value().unsignedInteger(), UINT64_MAX);
  EXPECT_EQ(read("<integer>+5</integer>").value().integer(), 5);
  EXPECT_EQ(read("<integer> \n7\t</integer>").value().integer(), 7);
  EXPECT_EQ(read("<integer>0x1F</integer>").value().integer(), 31);
  EXPECT_EQ(read("<integer>-0</integer>").value().integer(), 0);
  EXPECT_EQ(read("<integer>-1</integer>").value().integer(), -1);
}

TEST(PropertyListRead, TakesLeadingZerosOfIntegersForDecimal) {
  EXPECT_EQ(read("<integer>010</integer>").value().integer(), 10);
  EXPECT_EQ(read("<integer>-0089</integer>").value().integer(), -89);
  EXPECT_EQ(read("<integer> +007 </integer>").value().integer(), 7);
  EXPECT_EQ(read("<integer>000</integer>").value().integer(), 0);
}

TEST(PropertyListRead, RefusesWhatIsNoInteger) {
  for (const char* text : {"", " ", "-", "1.5", "1e3", "12x", "0x", "-0x5", "--5", "+-5", "1 2", "1,000",
                           "18446744073709551616", "-9223372036854775809", "0x10000000000000000"}) {
    EXPECT_THAT(refusalOf("<integer>" + std::string(text) + "</integer>"), HasSubstr("no integer")) << text;
  }
}

TEST(PropertyListRead, ReadsRealsToTheBit) {
  EXPECT_EQ(read("<real>0.10000000000000001</real>").value().real(), 0.1);
  EXPECT_EQ(read("<real>4.9406564584124654e-324</real>").value().real(), 5e-324);
  EXPECT_EQ(read("<real>1.7976931348623157E+308</real>").value().real(), std::numeric_limits<double>::max());
  EXPECT_EQ(read("<real>-.5</real>").value().real(), -0.5);
  EXPECT_EQ(read("<real> 3. </real>").value().real(), 3.0);
  EXPECT_EQ(read("<real>1e-400</real>").value().real(), 0.0);
  EXPECT_EQ(read("<real>-0.0</real>").value(), PropertyListValue(-0.0));
}

TEST(PropertyListRead, ReadsTheNamesOfRealsWithoutDigits) {
  const double infinity = std::numeric_limits<double>::infinity();

  EXPECT_TRUE(std::isnan(*read("<real>nan</real>").value().real()));
  EXPECT_EQ(read("<real>+infinity</real>").value().real(), infinity);
  EXPECT_EQ(read("<real>-infinity</real>").value().real(), -infinity);
  EXPECT_EQ(read("<real>Inf</real>").value().real(), infinity);
}

TEST(PropertyListRead, RefusesWhatIsNoReal) {
  for (const char* text : {"", ".", "-", "1,5", "1.5f", "1e", "e5", "0x1p3", "1.2.3", "1e400", "-1e400",
                           "nan(1)", "-nan", "zero", "1 2", "infinit"}) {
    EXPECT_THAT(refusalOf("<real>" + std::string(text) + "</real>"), HasSubstr("no real")) << text;
  }
}

TEST(PropertyListRead, ReadsRealsUnderALocaleWithCommas) {
  const CommaLocale locale;
  ASSERT_TRUE(locale.isActive());

  EXPECT_EQ(read("<real>0.1</real>").value().real(), 0.1);
  EXPECT_EQ(read("<real>1e308</real>").value().real(), 1e308);
  EXPECT_THAT(refusalOf("<real>0,1</real>"), HasSubstr("no real"));
  EXPECT_EQ(std::string(std::localeconv()->decimal_point), ",");
}

TEST(PropertyListRead, ReadsTextWithEntitiesCommentsAndCdata) {
  EXPECT_EQ(read("<string>&lt;&gt;&amp;&quot;&apos;</string>").value(), PropertyListValue("<>&\"'"));
  EXPECT_EQ(read("<string>&#xE9;&#233;&#x1F600;&#13;</string>").value(),
            PropertyListValue("\xC3\xA9\xC3\xA9\xF0\x9F\x98\x80\r"));
  EXPECT_EQ(read("<string>a<!-- < & -->b</string>").value(), PropertyListValue("ab"));
  EXPECT_EQ(read("<string>a<![CDATA[<&amp;]]>b<![CDATA[]]></string>").value(), PropertyListValue("a<&amp;b"));
  EXPECT_EQ(read("<string>  a\n\tb </string>").value(), PropertyListValue("  a\n\tb "));
  EXPECT_EQ(read("<dict><!-- 1 --><key>a&amp;<!-- 2 -->b</key><!-- 3 --><true/></dict>").value(),
            PropertyListValue(PropertyListDictionary{{"a&b", true}}));
}

TEST(PropertyListRead, RefusesUnknownEntities) {
  for (const char* text : {"&", "&amp", "& ;", "&foo;", "&#0;", "&#x0;", "&#xD800;", "&#x110000;", "&#;",
                           "&#x;", "&#-5;", "&#1;", "&#xFFFE;", "&#00000000000065;"}) {
    EXPECT_THAT(refusalOf("<string>" + std::string(text) + "</string>"), HasSubstr("entity")) << text;
  }
}

TEST(PropertyListRead, ReadsBase64WithWhiteSpaceAnywhere) {
  EXPECT_EQ(read("<data>\n\tA Q\n I\tD\n</data>").value(),
            PropertyListValue(PropertyListValue::Data{1, 2, 3}));
  EXPECT_EQ(read("<data>AQ = =</data>").value(), PropertyListValue(PropertyListValue::Data{1}));
  EXPECT_EQ(read("<data>+/+/</data>").value(), PropertyListValue(PropertyListValue::Data{0xFB, 0xFF, 0xBF}));
}

TEST(PropertyListRead, RefusesWhatIsNoBase64) {
  for (const char* text : {"A", "AQ", "AQI", "AQ=", "A===", "AQ==AQ==", "AQI*", "AQ-_", "====", "=AQI"}) {
    EXPECT_THAT(refusalOf("<data>" + std::string(text) + "</data>"), HasSubstr("no data")) << text;
  }
}

TEST(PropertyListRead, ReadsDatesFarFromToday) {
  EXPECT_EQ(read("<date>0001-01-01T00:00:00Z</date>").value().date(), kFirstPropertyListDate);
  EXPECT_EQ(read("<date>9999-12-31T23:59:59Z</date>").value().date(), kLastPropertyListDate);
  EXPECT_EQ(read("<date>1900-03-01T00:00:00Z</date>").value().date(), PropertyListDate{-2203891200});
  EXPECT_THAT(refusalOf("<date>2001-02-29T00:00:00Z</date>"), HasSubstr("no date"));
  EXPECT_THAT(refusalOf("<date/>"), HasSubstr("empty date"));
}

TEST(PropertyListRead, RefusesKeysAndValuesThatAreNotInPairs) {
  EXPECT_THAT(refusalOf("<dict><key>a</key></dict>"), HasSubstr("key has no value"));
  EXPECT_THAT(refusalOf("<dict><key>a</key><key>b</key><true/></dict>"), HasSubstr("key has no value"));
  EXPECT_THAT(refusalOf("<dict><true/></dict>"), HasSubstr("key is expected"));
  EXPECT_THAT(refusalOf("<dict><key/><true/></dict>"), HasSubstr("key is expected"));
  EXPECT_THAT(refusalOf("<array><key>a</key></array>"), HasSubstr("value is expected"));
  EXPECT_THAT(refusalOf("<key>a</key>"), HasSubstr("value is expected"));
}

TEST(PropertyListRead, RefusesBrokenStructure) {
  for (const char* text : {"",
                           "<dict>",
                           "<dict></array>",
                           "<array></dict>",
                           "</array>",
                           "<array/><array/>",
                           "<array>x</array>",
                           "<string>",
                           "<string>a",
                           "<string>a</key>",
                           "<string>a</string",
                           "<true>x</true>",
                           "<true><true/></true>",
                           "<uid>1</uid>",
                           "<Dict/>",
                           "<dict a=\"1\"/>",
                           "<string a='>'>b</string>",
                           "<",
                           "<>",
                           "< dict/>",
                           "<dict//>",
                           "<array><!-- </array>",
                           "<integer>1<!-- 2 --></integer>",
                           "<string><![CDATA[</string>",
                           "<?php ?><true/>"}) {
    EXPECT_THAT(refusalOf(text), StartsWith("line ")) << text;
  }
}

TEST(PropertyListRead, RefusesAFileThatIsNoPropertyList) {
  for (const char* file :
       {"", " ", "\n", "hello", "<plist>", "<plist/>", "<plist></plist>", "<plists><true/></plists>",
        "<true/>", "<plist><true/></plist><true/>", "<plist><true/></plist>x", "{ a = 1; }"}) {
    EXPECT_NE(refusalOfFile(file), "read") << file;
  }
}

TEST(PropertyListRead, TellsTheLineOfARefusal) {
  EXPECT_THAT(refusalOf("<dict>\n<key>a</key>\n<real>x</real></dict>"), StartsWith("line 6: no real: \"x\""));
  EXPECT_THAT(refusalOf("\n\n<string>\xFF</string>"), StartsWith("line 6: "));
}

TEST(PropertyListRead, ReadsAFileWithoutDeclarationAndWithAByteOrderMark) {
  EXPECT_EQ(readPropertyList("<plist><true/></plist>").value(), PropertyListValue(true));
  EXPECT_EQ(
      readPropertyList("\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><plist><true/></plist>").value(),
      PropertyListValue(true));
  EXPECT_EQ(readPropertyList(
                "<?xml version=\"1.0\"?>\r\n<!-- a -->\r\n<plist>\r\n<true/>\r\n</plist>\r\n<!-- b -->")
                .value(),
            PropertyListValue(true));
}

TEST(PropertyListRead, RefusesOtherEncodingsAndDefinitions) {
  EXPECT_THAT(refusalOfFile("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><plist><true/></plist>"),
              HasSubstr("encoding"));
  EXPECT_THAT(refusalOfFile("<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><true/></plist>"),
              HasSubstr("document type"));
}

TEST(PropertyListRead, RefusesTextThatIsNoUtf8) {
  const std::string nul(1, '\0');
  for (const std::string& bytes :
       {std::string("\xFF"), std::string("\x80"), std::string("\xC3"), std::string("\xC0\x80"),
        std::string("\xE0\x80\x80"), std::string("\xED\xA0\x80"), std::string("\xF4\x90\x80\x80"),
        std::string("\xF0\x80\x80\x80"), std::string("\xEF\xBF\xBE"), std::string("\x01"),
        std::string("\x1F"), nul}) {
    EXPECT_THAT(refusalOf("<string>a" + bytes + "b</string>"), HasSubstr("UTF-8"));
    EXPECT_THAT(refusalOf("<dict><key>" + bytes + "</key><true/></dict>"), HasSubstr("UTF-8"));
  }
}

TEST(PropertyListRead, RefusesWhatIsNestedTooDeep) {
  EXPECT_TRUE(read(nested(kMaxPropertyListDepth)));
  EXPECT_THAT(refusalOf(nested(kMaxPropertyListDepth + 1)), HasSubstr("levels deep"));
  EXPECT_THAT(refusalOf(nested(1'000'000)), HasSubstr("levels deep"));
  std::string dictionaries;
  for (int i = 0; i < 1'000'000; ++i) dictionaries += "<dict><key>a</key>";
  EXPECT_THAT(refusalOf(dictionaries), HasSubstr("levels deep"));
}

TEST(PropertyListRead, RefusesWhatIsTooLong) {
  std::string file = fileOf("<true/>");
  file.append(kMaxPropertyListBytes - file.size(), ' ');

  EXPECT_TRUE(readPropertyList(file));
  EXPECT_THAT(refusalOfFile(file + " "), HasSubstr("longer than"));
}

TEST(PropertyListRead, RefusesTooManyValues) {
  std::string values = "<array>";
  for (std::size_t i = 0; i < kMaxPropertyListValues; ++i) values += "<true/>";

  EXPECT_THAT(refusalOf(values + "</array>"), HasSubstr("too many values"));
}

TEST(PropertyListRead, RefusesLongTextsFullOfEntitiesInsteadOfTakingHours) {
  const auto textOf = [](std::size_t entities) {
    std::string text = "<string>";
    for (std::size_t i = 0; i < entities; ++i) text += "&amp;";
    return text + "</string>";
  };

  EXPECT_EQ(read(textOf(20'000)).value(), PropertyListValue(std::string(20'000, '&')));
  EXPECT_THAT(refusalOf(textOf(1'000'000)), HasSubstr("too many entities"));
}

}  // namespace
}  // namespace morv
