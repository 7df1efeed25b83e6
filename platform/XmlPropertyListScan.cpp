#include "platform/XmlPropertyListScan.h"

#include <algorithm>

#include "platform/PropertyListDate.h"
#include "platform/PropertyListLimits.h"
#include "platform/XmlCharacters.h"
#include "platform/XmlScalarText.h"

namespace morv {
namespace {

constexpr std::size_t kMostMovedBytes = std::size_t{1} << 32U;  // about a second's work
constexpr std::size_t kLongestEntity = 10;                      // "&#x10FFFF;", the least common of all

bool isElement(std::string_view name) {
  static constexpr std::string_view kNames[] = {"array",   "data", "date",   "dict", "false",
                                                "integer", "real", "string", "true"};
  return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::string quoted(std::string_view text) {
  constexpr std::size_t kShown = 40;
  std::string shown = "\"" + std::string(text.substr(0, kShown));
  while (shown.size() > 1 && findBadXmlText(shown)) shown.pop_back();  // no half character
  return shown + (text.size() > kShown ? "...\"" : "\"");
}

}  // namespace

bool XmlPropertyListScan::fail(const std::string& reason) {
  const auto end = text_.begin() + static_cast<std::ptrdiff_t>(std::min(at_, text_.size()));
  reason_ = "line " + std::to_string(1 + std::count(text_.begin(), end, '\n')) + ": " + reason;
  return false;
}

bool XmlPropertyListScan::run() {
  if (text_.starts_with("\xEF\xBB\xBF")) text_.erase(0, 3);
  if (const auto bad = findBadXmlText(text_)) {
    at_ = *bad;
    return fail("a byte that is no UTF-8 text of XML");
  }
  if (!scanPrologue() || !scanPlist()) return false;
  if (!skipSpaceAndComments()) return false;
  return atEnd() || fail("something stands behind the property list");
}

bool XmlPropertyListScan::scanPrologue() {
  if (startsWith("<?xml") && !scanDeclaration()) return false;
  if (!skipSpaceAndComments()) return false;
  return !startsWith("<!DOCTYPE") || scanDocumentType();
}

bool XmlPropertyListScan::scanDeclaration() {
  const std::size_t begin = at_;
  if (!skipPast("?>", "the XML declaration")) return false;
  std::string declaration = text_.substr(begin, at_ - begin);
  for (char& c : declaration) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  if (declaration.find("encoding") == std::string::npos) return true;
  for (const char* known : {"\"utf-8\"", "'utf-8'", "\"us-ascii\"", "'us-ascii'"}) {
    if (declaration.find(known) != std::string::npos) return true;
  }
  return fail("an encoding other than UTF-8");
}

bool XmlPropertyListScan::scanDocumentType() {
  const std::size_t begin = at_;
  if (!skipPast(">", "the document type")) return false;
  if (std::string_view(text_).substr(begin, at_ - begin).find('[') != std::string_view::npos)
    return fail("a document type with definitions of its own");
  return skipSpaceAndComments();
}

bool XmlPropertyListScan::scanPlist() {
  if (atEnd()) return fail("no property list");
  if (!startsWith("<plist")) return fail("the element \"plist\" is expected");
  const std::size_t end = text_.find_first_of("<>", at_ + 1);
  const char behind = at_ + 6 < text_.size() ? text_[at_ + 6] : '\0';
  if (end == std::string::npos || text_[end] != '>' || text_[end - 1] == '/' ||
      (behind != '>' && !isXmlSpace(behind)))
    return fail("the element \"plist\" is expected");
  at_ = end + 1;
  Tag tag;
  return readTag(&tag) && scanValue(1, tag) && skipSpaceAndComments() && readEndTag("plist");
}

bool XmlPropertyListScan::scanValue(std::size_t depth, const Tag& tag) {
  if (tag.isEnd || !isElement(tag.name)) return fail("a value is expected, not " + quoted(tag.name));
  if (depth > kMaxPropertyListDepth)
    return fail("nested more than " + std::to_string(kMaxPropertyListDepth) + " levels deep");
  if (++values_ > kMaxPropertyListValues) return fail("too many values");
  const std::string_view name = tag.name;
  if (tag.isWhole)
    return (name != "integer" && name != "real" && name != "date") || fail("an empty " + std::string(name));
  if (name == "array") return scanArray(depth);
  if (name == "dict") return scanDictionary(depth);
  if (name == "string") return scanText(name);
  if (name == "true" || name == "false") return scanBoolean(name);
  return scanScalar(name);
}

bool XmlPropertyListScan::scanArray(std::size_t depth) {
  for (;;) {
    Tag tag;
    if (!readTag(&tag)) return false;
    if (tag.isEnd) return tag.name == "array" || fail("the end of an array is expected");
    if (!scanValue(depth + 1, tag)) return false;
  }
}

bool XmlPropertyListScan::scanDictionary(std::size_t depth) {
  for (;;) {
    Tag tag;
    if (!readTag(&tag)) return false;
    if (tag.isEnd) return tag.name == "dict" || fail("the end of a dictionary is expected");
    if (tag.name != "key" || tag.isWhole) return fail("a key is expected, not " + quoted(tag.name));
    if (!scanText("key") || !readTag(&tag)) return false;
    if (tag.isEnd || tag.name == "key") return fail("a key has no value");
    if (!scanValue(depth + 1, tag)) return false;
  }
}

bool XmlPropertyListScan::scanText(std::string_view element) {
  const std::size_t begin = at_;
  std::size_t pieces = 0;
  for (;; ++pieces) {
    at_ = std::min(text_.find_first_of("<&", at_), text_.size());
    if (atEnd()) return fail("the text of " + quoted(element) + " has no end");
    if (text_[at_] == '&') {
      if (!scanEntity()) return false;
    } else if (startsWith("<!--")) {
      at_ += 4;
      if (!skipPast("-->", "a comment")) return false;
    } else if (startsWith("<![CDATA[")) {
      at_ += 9;
      if (!skipPast("]]>", "a CDATA section")) return false;
    } else {
      movedBytes_ += pieces * (at_ - begin);
      if (movedBytes_ > kMostMovedBytes) return fail("too many entities in long texts");
      return readEndTag(element);
    }
  }
}

bool XmlPropertyListScan::scanEntity() {
  const std::size_t end = text_.find(';', at_);
  if (end == std::string::npos || end - at_ >= kLongestEntity) return fail("a \"&\" that begins no entity");
  if (!isEntityName(std::string_view(text_).substr(at_ + 1, end - at_ - 1)))
    return fail("an unknown entity " + quoted(std::string_view(text_).substr(at_, end - at_ + 1)));
  at_ = end + 1;
  return true;
}

bool XmlPropertyListScan::scanScalar(std::string_view element) {
  const std::size_t begin = at_;
  const std::size_t end = text_.find('<', at_);
  if (end == std::string::npos) return fail("the end of " + quoted(element) + " is expected");
  const std::string_view text = std::string_view(text_).substr(begin, end - begin);
  const std::string_view inner = withoutOuterSpace(text);
  bool isSound = false;
  if (element == "integer") isSound = checkInteger(begin, end);
  if (element == "real") isSound = isRealText(inner);
  if (element == "date") isSound = inner.size() == text.size() && dateOfText(text).has_value();
  if (element == "data") isSound = isBase64Text(text);
  if (!isSound) return fail("no " + std::string(element) + ": " + quoted(inner));
  at_ = end;
  return readEndTag(element);
}

bool XmlPropertyListScan::checkInteger(std::size_t begin, std::size_t end) {
  while (begin < end && isXmlSpace(text_[begin])) ++begin;
  const std::string_view inner = withoutOuterSpace(std::string_view(text_).substr(begin, end - begin));
  if (!isIntegerText(inner)) return false;
  if (inner.starts_with("0x") || inner.starts_with("0X")) return true;
  const bool isSigned = inner.front() == '+' || inner.front() == '-';
  const char sign = inner.front();
  const std::size_t last = begin + inner.size() - 1;
  std::size_t first = begin + (isSigned ? 1 : 0);
  const std::size_t digits = first;
  while (first < last && text_[first] == '0') ++first;
  std::fill(text_.begin() + static_cast<std::ptrdiff_t>(digits),
            text_.begin() + static_cast<std::ptrdiff_t>(first), ' ');
  if (isSigned) {
    text_[begin] = ' ';
    text_[first - 1] = sign;
  }
  return true;
}

bool XmlPropertyListScan::scanBoolean(std::string_view element) {
  while (!atEnd() && isXmlSpace(text_[at_])) ++at_;
  return readEndTag(element);
}

bool XmlPropertyListScan::skipSpaceAndComments() {
  for (;;) {
    while (!atEnd() && isXmlSpace(text_[at_])) ++at_;
    if (!startsWith("<!--")) return true;
    at_ += 4;
    if (!skipPast("-->", "a comment")) return false;
  }
}

bool XmlPropertyListScan::skipPast(std::string_view end, const std::string& what) {
  const std::size_t found = text_.find(end, at_);
  if (found == std::string::npos) return fail(what + " has no end");
  at_ = found + end.size();
  return true;
}

bool XmlPropertyListScan::readTag(Tag* tag) {
  if (!skipSpaceAndComments()) return false;
  if (atEnd()) return fail("the file ends too soon");
  if (text_[at_] != '<') return fail("text stands between the elements");
  std::size_t at = at_ + 1;
  tag->isEnd = at < text_.size() && text_[at] == '/';
  if (tag->isEnd) ++at;
  const std::size_t begin = at;
  while (at < text_.size() && isLetter(text_[at])) ++at;
  tag->name = std::string_view(text_).substr(begin, at - begin);
  while (at < text_.size() && isXmlSpace(text_[at])) ++at;
  tag->isWhole = !tag->isEnd && at < text_.size() && text_[at] == '/';
  if (tag->isWhole) ++at;
  if (tag->name.empty() || at >= text_.size() || text_[at] != '>') return fail("a broken tag");
  at_ = at + 1;
  return true;
}

bool XmlPropertyListScan::readEndTag(std::string_view name) {
  Tag tag;
  if (!startsWith("</") || !readTag(&tag) || !tag.isEnd || tag.name != name)
    return fail("the end of " + quoted(name) + " is expected");
  return true;
}

}  // namespace morv
