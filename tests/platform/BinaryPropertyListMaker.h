#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace morv {

// Puts the bytes of a binary property list together, object by object; references are one byte wide, offsets
// two.
class BinaryPropertyListMaker {
 public:
  // Adds an object of the given bytes and gives its number.
  std::uint8_t add(const std::string& bytes) {
    objects_.push_back(bytes);
    return static_cast<std::uint8_t>(objects_.size() - 1);
  }
  std::uint8_t addText(const std::string& text) { return add(static_cast<char>(0x50 + text.size()) + text); }
  std::uint8_t addArray(const std::vector<std::uint8_t>& items) {
    return add(static_cast<char>(0xA0 + items.size()) + std::string(items.begin(), items.end()));
  }
  std::uint8_t addDictionary(const std::vector<std::uint8_t>& keys, const std::vector<std::uint8_t>& values) {
    return add(static_cast<char>(0xD0 + keys.size()) + std::string(keys.begin(), keys.end()) +
               std::string(values.begin(), values.end()));
  }

  // The whole file with the given object on top.
  std::string file(std::uint8_t top) const {
    std::string bytes = "bplist00";
    std::string offsets;
    for (const std::string& object : objects_) {
      offsets += bigEndian(bytes.size(), 2);
      bytes += object;
    }
    const std::size_t table = bytes.size();
    return bytes + offsets + std::string(6, '\0') + "\x02\x01" + bigEndian(objects_.size(), 8) +
           bigEndian(top, 8) + bigEndian(table, 8);
  }
  std::string fileOfOne(const std::string& bytes) { return file(add(bytes)); }

  static std::string bigEndian(std::uint64_t number, std::size_t size) {
    std::string bytes;
    for (std::size_t i = size; i-- > 0;) bytes += static_cast<char>(number >> (8 * i) & 0xFFU);
    return bytes;
  }

 private:
  std::vector<std::string> objects_;
};

}  // namespace morv
