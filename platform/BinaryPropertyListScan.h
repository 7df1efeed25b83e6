#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace morv {

// Goes over a binary property list ahead of the library that reads it, and refuses whatever that library
// would read wrongly, guess at or fall over: places outside the file, loops, shared objects that unfold
// beyond the limits, keys that are no strings or stand twice, strings that XML cannot hold, dates without a
// text, and kinds of objects that a property list in XML has no element for (none, unique identifiers, sets).
//
// Runs once, on one thread.
class BinaryPropertyListScan {
 public:
  // The bytes outlive the scan.
  explicit BinaryPropertyListScan(std::string_view bytes) : bytes_(bytes) {}

  static bool hasItsMark(std::string_view bytes) { return bytes.starts_with("bplist"); }

  // Whether the bytes are sound.
  bool run();
  // What is wrong behind a bad run.
  const std::string& reason() const { return reason_; }

 private:
  // Where an object's content lies: `count` bytes, characters or entries of `kind` from `at` on.
  struct Object {
    unsigned kind = 0;    // the high half of the marker
    unsigned detail = 0;  // the low half
    std::size_t at = 0;
    std::uint64_t count = 0;
  };

  bool fail(std::string reason);
  bool readTrailer();
  bool scanObject(std::uint64_t number, std::size_t depth);
  bool openObject(std::uint64_t number, Object* object);
  bool readCount(Object* object);
  bool scanContent(const Object& object, std::size_t depth);
  bool scanInteger(const Object& object);
  bool scanDate(const Object& object);
  bool scanKeys(const Object& object);
  bool readText(const Object& object, std::string* text);
  bool scanEntries(const Object& object, std::size_t depth);
  // Whether `count` pieces of `size` bytes lie between `at` and the table of offsets; they count as unfolded.
  bool take(std::size_t at, std::uint64_t count, std::size_t size);
  // A number of the file, the most significant byte first; `size` is at most 8.
  std::uint64_t numberAt(std::size_t at, std::size_t size) const;

  std::string_view bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t objects_ = 0;
  std::uint64_t top_ = 0;
  std::size_t table_ = 0;
  std::size_t values_ = 0;
  std::size_t unfoldedBytes_ = 0;
  std::string reason_;
};

}  // namespace morv
