#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "platform/PropertyList.h"
#include "platform/PropertyListLimits.h"
#include "tests/platform/BinaryPropertyListMaker.h"

namespace morv {
namespace {

using testing::HasSubstr;
using Maker = BinaryPropertyListMaker;

PropertyListValue readOne(const std::string& bytes) {
  return readPropertyList(Maker().fileOfOne(bytes)).value();
}

std::string refusalOfFile(const std::string& file) {
  const auto result = readPropertyList(file);
  return result ? "read" : result.reason();
}

std::string refusalOf(const std::string& bytes) { return refusalOfFile(Maker().fileOfOne(bytes)); }

std::string number(char marker, std::uint64_t bits, std::size_t size) {
  return marker + Maker::bigEndian(bits, size);
}

TEST(PropertyListBinary, ReadsEachKindOfValue) {
  EXPECT_EQ(readOne("\x09"), PropertyListValue(true));
  EXPECT_EQ(readOne("\x08"), PropertyListValue(false));
  EXPECT_EQ(readOne("\x10\xFF"), PropertyListValue(255));
  EXPECT_EQ(readOne("\x11\x01\x02"), PropertyListValue(258));
  EXPECT_EQ(readOne(number('\x12', 0xFFFFFFFF, 4)), PropertyListValue(4294967295U));
  EXPECT_EQ(readOne(number('\x22', std::bit_cast<std::uint32_t>(0.1F), 4)), PropertyListValue(0.1F));
  EXPECT_EQ(readOne(number('\x23', std::bit_cast<std::uint64_t>(-0.1), 8)), PropertyListValue(-0.1));
  EXPECT_EQ(readOne("Sabc"), PropertyListValue("abc"));
  EXPECT_EQ(readOne(std::string("\x42\x00\xFF", 3)), PropertyListValue(PropertyListValue::Data{0, 255}));
}

TEST(PropertyListBinary, TellsNegativeIntegersFromGreatOnes) {
  EXPECT_EQ(readOne(number('\x13', UINT64_MAX, 8)), PropertyListValue(-1));
  EXPECT_EQ(readOne(number('\x13', 0x8000000000000000, 8)), PropertyListValue(INT64_MIN));
  EXPECT_EQ(readOne('\x14' + Maker::bigEndian(0, 8) + Maker::bigEndian(UINT64_MAX, 8)),
            PropertyListValue(UINT64_MAX));
  EXPECT_THAT(refusalOf('\x14' + Maker::bigEndian(1, 8) + Maker::bigEndian(0, 8)), HasSubstr("64 bits"));
}

TEST(PropertyListBinary, ReadsDatesAndCutsThemToSeconds) {
  const auto date = [](double seconds) { return number('\x33', std::bit_cast<std::uint64_t>(seconds), 8); };

  EXPECT_EQ(readOne(date(0)), PropertyListValue(PropertyListDate{978307200}));
  EXPECT_EQ(readOne(date(8e9)), PropertyListValue(PropertyListDate{978307200 + 8'000'000'000}));
  EXPECT_EQ(readOne(date(10.75)), PropertyListValue(PropertyListDate{978307210}));
  EXPECT_THAT(refusalOf(date(1e300)), HasSubstr("date outside"));
  EXPECT_THAT(refusalOf(date(std::numeric_limits<double>::quiet_NaN())), HasSubstr("date outside"));
}

TEST(PropertyListBinary, ReadsTextOfTwoBytesPerUnit) {
  EXPECT_EQ(readOne(std::string("\x63\x00\xE9\xD8\x3D\xDE\x00", 7)),
            PropertyListValue("\xC3\xA9\xF0\x9F\x98\x80"));
  EXPECT_THAT(refusalOf(std::string("\x61\xD8\x3D", 3)), HasSubstr("UTF-16"));
  EXPECT_THAT(refusalOf(std::string("\x61\xDE\x00", 3)), HasSubstr("UTF-16"));
  EXPECT_THAT(refusalOf(std::string("\x61\x00\x00", 3)), HasSubstr("XML cannot hold"));
}

TEST(PropertyListBinary, ReadsNestedValuesInTheirOrder) {
  Maker maker;
  const auto z = maker.addText("z");
  const auto a = maker.addText("a");
  const auto list = maker.addArray({z, a});
  const auto inner = maker.addDictionary({}, {});
  const auto top = maker.addDictionary({z, a}, {list, inner});

  const auto result = readPropertyList(maker.file(top));

  EXPECT_EQ(result.value(), PropertyListValue(PropertyListDictionary{
                                {"z", PropertyListValue::Array{"z", "a"}}, {"a", PropertyListDictionary{}}}));
  EXPECT_EQ(result.value().dictionary()->entries()[0].first, "z");
}

TEST(PropertyListBinary, ReadsCountsAbove14) {
  const std::string text(300, 'x');

  EXPECT_EQ(readOne("\x5F\x11" + Maker::bigEndian(300, 2) + text), PropertyListValue(text));
  EXPECT_THAT(refusalOf("\x5F\x22" + std::string(4, '\0')), HasSubstr("count"));
  EXPECT_THAT(refusalOf("\x5F\x13" + Maker::bigEndian(UINT64_MAX, 8)), HasSubstr("outside the file"));
  EXPECT_THAT(refusalOf("\x6F\x13" + Maker::bigEndian(0x8000000000000000, 8)), HasSubstr("outside the file"));
}

TEST(PropertyListBinary, RefusesObjectsThatXmlHasNoElementFor) {
  EXPECT_THAT(refusalOf(std::string(1, '\0')), HasSubstr("unknown kind"));
  EXPECT_THAT(refusalOf("\x80\x01"), HasSubstr("unknown kind"));
  EXPECT_THAT(refusalOf("\xC0"), HasSubstr("unknown kind"));
  EXPECT_THAT(refusalOf("\x15" + std::string(32, 'a')), HasSubstr("unknown size"));
  EXPECT_THAT(refusalOf(std::string("\x21\x00\x00", 3)), HasSubstr("unknown size"));
  EXPECT_THAT(refusalOf("\x51\x80"), HasSubstr("ASCII"));
}

TEST(PropertyListBinary, RefusesKeysThatAreNoStringsOrStandTwice) {
  Maker maker;
  const auto truth = maker.add("\x09");
  const auto key = maker.addText("a");
  const auto twin = maker.addText("a");

  EXPECT_THAT(refusalOfFile(maker.file(maker.addDictionary({truth}, {truth}))), HasSubstr("no string"));
  EXPECT_THAT(refusalOfFile(maker.file(maker.addDictionary({key, twin}, {truth, truth}))),
              HasSubstr("twice"));
}

TEST(PropertyListBinary, RefusesLoopsAndWhatUnfoldsWithoutBounds) {
  Maker loop;
  EXPECT_THAT(refusalOfFile(loop.file(loop.addArray({0}))), HasSubstr("levels deep"));

  Maker maker;
  std::uint8_t top = maker.add("\x09");
  for (int i = 0; i < 40; ++i) top = maker.addArray({top, top, top});
  EXPECT_THAT(refusalOfFile(maker.file(top)), HasSubstr("too many values"));

  Maker wide;
  top = wide.add("\x5F\x11" + Maker::bigEndian(30000, 2) + std::string(30000, 'x'));
  for (int i = 0; i < 5; ++i) top = wide.addArray(std::vector<std::uint8_t>(10, top));
  EXPECT_THAT(refusalOfFile(wide.file(top)), HasSubstr("too many bytes"));
}

TEST(PropertyListBinary, RefusesDamagedTrailersAndTables) {
  Maker maker;
  const std::string file = maker.fileOfOne("\x09");
  const auto with = [&](std::size_t fromEnd, char byte) {
    std::string damaged = file;
    damaged[file.size() - fromEnd] = byte;
    return damaged;
  };

  EXPECT_EQ(refusalOfFile(file), "read");
  EXPECT_THAT(refusalOfFile(with(26, '\0')), HasSubstr("trailer"));
  EXPECT_THAT(refusalOfFile(with(25, '\x09')), HasSubstr("trailer"));
  EXPECT_THAT(refusalOfFile(with(24, '\x7F')), HasSubstr("table"));
  EXPECT_THAT(refusalOfFile(with(17, '\0')), HasSubstr("not there"));
  EXPECT_THAT(refusalOfFile(with(9, '\x05')), HasSubstr("not there"));
  EXPECT_THAT(refusalOfFile(with(1, '\x7F')), HasSubstr("table"));
  EXPECT_THAT(refusalOfFile(with(8, '\xFF')), HasSubstr("table"));
  EXPECT_THAT(refusalOfFile(file.substr(0, 30)), HasSubstr("ends too soon"));
  EXPECT_THAT(refusalOfFile("bplist"), HasSubstr("version"));
}

}  // namespace
}  // namespace morv
