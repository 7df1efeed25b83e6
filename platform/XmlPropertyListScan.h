#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace morv {

// Goes over the text of an XML property list ahead of the library that reads it, and refuses whatever that
// library would read wrongly, guess at or fall over: text that is not UTF-8, broken nesting, keys without a
// value, values without a key, numbers, dates and base64 that are none, unknown elements, attributes,
// entities and document types of the file's own, texts so full of entities that they would take hours, and
// anything beyond the limits.
//
// Held strictly: one `plist` element with one value. Integers are decimal or hexadecimal ("0x1F") and fit
// into 64 bits, signed or not. Reals are decimal numbers of a finite double's range, "nan", "infinity" or
// "inf", the latter two with or without a sign, in any case. Comments may stand between elements and inside
// strings and keys, where CDATA may stand too.
//
// Runs once, on one thread, under the C locale.
class XmlPropertyListScan {
 public:
  explicit XmlPropertyListScan(std::string text) : text_(std::move(text)) {}

  // Whether the text is sound.
  bool run();
  // The text for the library, behind a good run: the one given, but without a byte order mark, and with the
  // leading zeros of decimal integers, which that library takes for octal, turned into spaces.
  const std::string& text() const { return text_; }
  // What is wrong, and in which line, behind a bad run.
  const std::string& reason() const { return reason_; }

 private:
  struct Tag {
    std::string_view name;
    bool isEnd = false;    // "</name>"
    bool isWhole = false;  // "<name/>"
  };

  bool fail(const std::string& reason);
  bool scanPrologue();
  bool scanDeclaration();
  bool scanDocumentType();
  bool scanPlist();
  bool scanValue(std::size_t depth, const Tag& tag);
  bool scanArray(std::size_t depth);
  bool scanDictionary(std::size_t depth);
  bool scanText(std::string_view element);
  bool scanEntity();
  bool scanScalar(std::string_view element);
  bool scanBoolean(std::string_view element);
  bool checkInteger(std::size_t begin, std::size_t end);

  bool skipSpaceAndComments();
  bool skipPast(std::string_view end, const std::string& what);
  bool readTag(Tag* tag);
  bool readEndTag(std::string_view name);
  bool startsWith(std::string_view piece) const { return text_.compare(at_, piece.size(), piece) == 0; }
  bool atEnd() const { return at_ >= text_.size(); }

  std::string text_;
  std::size_t at_ = 0;
  std::size_t values_ = 0;
  std::size_t movedBytes_ = 0;  // by the library, which moves the rest of a text at each entity
  std::string reason_;
};

}  // namespace morv
