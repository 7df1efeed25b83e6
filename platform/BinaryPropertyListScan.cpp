#include "platform/BinaryPropertyListScan.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <set>
#include <utility>

#include "platform/PropertyListDate.h"
#include "platform/PropertyListLimits.h"
#include "platform/Utf16.h"
#include "platform/XmlCharacters.h"

namespace morv {
namespace {

constexpr std::size_t kHeaderBytes = 8;
constexpr std::size_t kTrailerBytes = 32;
constexpr double kSecondsFrom1970To2001 = 978307200;

// The high halves of the markers.
enum Kind : unsigned {
  kSimple = 0x0,
  kInteger = 0x1,
  kReal = 0x2,
  kDate = 0x3,
  kData = 0x4,
  kAscii = 0x5,
  kUtf16 = 0x6,
  kArray = 0xA,
  kDictionary = 0xD,
};

bool isCounted(unsigned kind) {
  return kind == kData || kind == kAscii || kind == kUtf16 || kind == kArray || kind == kDictionary;
}

}  // namespace

bool BinaryPropertyListScan::fail(std::string reason) {
  reason_ = "binary property list: " + std::move(reason);
  return false;
}

std::uint64_t BinaryPropertyListScan::numberAt(std::size_t at, std::size_t size) const {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < size; ++i) number = number << 8U | static_cast<unsigned char>(bytes_[at + i]);
  return number;
}

bool BinaryPropertyListScan::run() {
  if (!bytes_.starts_with("bplist00")) return fail("an unknown version");
  return readTrailer() && scanObject(top_, 1);
}

bool BinaryPropertyListScan::readTrailer() {
  if (bytes_.size() < kHeaderBytes + kTrailerBytes) return fail("the file ends too soon");
  const std::size_t trailer = bytes_.size() - kTrailerBytes;
  offsetSize_ = numberAt(trailer + 6, 1);
  referenceSize_ = numberAt(trailer + 7, 1);
  objects_ = numberAt(trailer + 8, 8);
  top_ = numberAt(trailer + 16, 8);
  const std::uint64_t table = numberAt(trailer + 24, 8);
  const auto isSize = [](std::size_t size) { return size >= 1 && size <= 8; };
  if (!isSize(offsetSize_) || !isSize(referenceSize_)) return fail("a broken trailer");
  if (table < kHeaderBytes || table > trailer || objects_ > (trailer - table) / offsetSize_)
    return fail("the table of offsets lies outside the file");
  table_ = static_cast<std::size_t>(table);
  return true;
}

bool BinaryPropertyListScan::take(std::size_t at, std::uint64_t count, std::size_t size) {
  if (at > table_ || count > (table_ - at) / size) return fail("an object lies outside the file");
  unfoldedBytes_ += static_cast<std::size_t>(count) * size;
  return unfoldedBytes_ <= kMaxPropertyListBytes || fail("shared objects unfold to too many bytes");
}

bool BinaryPropertyListScan::scanObject(std::uint64_t number, std::size_t depth) {
  if (depth > kMaxPropertyListDepth)
    return fail("nested more than " + std::to_string(kMaxPropertyListDepth) + " levels deep");
  if (++values_ > kMaxPropertyListValues) return fail("too many values");
  Object object;
  return openObject(number, &object) && scanContent(object, depth);
}

bool BinaryPropertyListScan::openObject(std::uint64_t number, Object* object) {
  if (number >= objects_) return fail("a reference to an object that is not there");
  const std::uint64_t offset = numberAt(table_ + static_cast<std::size_t>(number) * offsetSize_, offsetSize_);
  if (offset < kHeaderBytes || offset >= table_) return fail("an object lies outside the file");
  object->at = static_cast<std::size_t>(offset) + 1;
  const std::uint64_t marker = numberAt(object->at - 1, 1);
  object->kind = static_cast<unsigned>(marker >> 4U);
  object->detail = static_cast<unsigned>(marker & 0xFU);
  object->count = object->detail;
  return !isCounted(object->kind) || object->detail != 0xF || readCount(object);
}

// Counts from 15 on stand in an integer of their own.
bool BinaryPropertyListScan::readCount(Object* object) {
  if (!take(object->at, 1, 1)) return false;
  const std::uint64_t marker = numberAt(object->at, 1);
  if (marker < 0x10 || marker > 0x13) return fail("a broken count");
  const std::size_t size = std::size_t{1} << (marker & 0xFU);
  if (!take(object->at + 1, 1, size)) return false;
  object->count = numberAt(object->at + 1, size);
  object->at += 1 + size;
  return true;
}

bool BinaryPropertyListScan::scanContent(const Object& object, std::size_t depth) {
  switch (object.kind) {
    case kSimple:
      return object.detail == 8 || object.detail == 9 || fail("an object of unknown kind");
    case kInteger:
      return scanInteger(object);
    case kReal:
      if (object.detail != 2 && object.detail != 3) return fail("a real of unknown size");
      return take(object.at, 1, std::size_t{1} << object.detail);
    case kDate:
      return scanDate(object);
    case kData:
      return take(object.at, object.count, 1);
    case kAscii:
    case kUtf16: {
      std::string text;
      return readText(object, &text);
    }
    case kArray:
      return take(object.at, object.count, referenceSize_) && scanEntries(object, depth);
    case kDictionary:
      if (!take(object.at, object.count, 2 * referenceSize_)) return false;
      return scanKeys(object) && scanEntries(object, depth);
    default:
      return fail("an object of unknown kind");
  }
}

bool BinaryPropertyListScan::scanInteger(const Object& object) {
  if (object.detail > 4) return fail("an integer of unknown size");
  if (!take(object.at, 1, std::size_t{1} << object.detail)) return false;
  return object.detail < 4 || numberAt(object.at, 8) == 0 || fail("an integer beyond 64 bits");
}

bool BinaryPropertyListScan::scanDate(const Object& object) {
  if (object.detail != 3) return fail("a date of unknown size");
  if (!take(object.at, 1, 8)) return false;
  const double seconds = std::floor(std::bit_cast<double>(numberAt(object.at, 8)) + kSecondsFrom1970To2001);
  const bool isInside = seconds >= static_cast<double>(kFirstPropertyListDate.secondsSince1970) &&
                        seconds <= static_cast<double>(kLastPropertyListDate.secondsSince1970);
  return isInside || fail("a date outside the years 1 to 9999");
}

bool BinaryPropertyListScan::scanKeys(const Object& object) {
  std::set<std::string> keys;
  for (std::uint64_t i = 0; i < object.count; ++i) {
    Object key;
    const std::size_t at = object.at + static_cast<std::size_t>(i) * referenceSize_;
    if (!openObject(numberAt(at, referenceSize_), &key)) return false;
    if (key.kind != kAscii && key.kind != kUtf16) return fail("a key that is no string");
    std::string text;
    if (!readText(key, &text)) return false;
    if (!keys.insert(std::move(text)).second) return fail("a key stands twice");
  }
  return true;
}

bool BinaryPropertyListScan::readText(const Object& object, std::string* text) {
  const std::size_t size = object.kind == kAscii ? 1 : 2;
  if (!take(object.at, object.count, size)) return false;
  const std::string_view bytes = bytes_.substr(object.at, static_cast<std::size_t>(object.count) * size);
  if (object.kind == kAscii) {
    if (std::any_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) > 127; }))
      return fail("a string that is no ASCII");
    *text = std::string(bytes);
  } else if (auto converted = utf8OfUtf16(bytes)) {
    *text = *std::move(converted);
  } else {
    return fail("a string that is no UTF-16");
  }
  return !findBadXmlText(*text) || fail("a string with a character that XML cannot hold");
}

bool BinaryPropertyListScan::scanEntries(const Object& object, std::size_t depth) {
  const std::uint64_t keys = object.kind == kDictionary ? object.count : 0;
  for (std::uint64_t i = 0; i < object.count; ++i) {
    const std::size_t at = object.at + static_cast<std::size_t>(keys + i) * referenceSize_;
    if (!scanObject(numberAt(at, referenceSize_), depth + 1)) return false;
  }
  return true;
}

}  // namespace morv
