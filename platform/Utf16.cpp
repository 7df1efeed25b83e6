#include "platform/Utf16.h"

#include <cstddef>

namespace morv {
namespace {

char32_t unitAt(std::string_view bytes, std::size_t at) {
  return static_cast<char32_t>(static_cast<unsigned char>(bytes[at])) << 8U |
         static_cast<unsigned char>(bytes[at + 1]);
}

bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void append(std::string* text, char32_t character) {
  const auto following = [&](unsigned shift) {
    text->push_back(static_cast<char>(0x80U | ((character >> shift) & 0x3FU)));
  };
  if (character < 0x80) {
    text->push_back(static_cast<char>(character));
  } else if (character < 0x800) {
    text->push_back(static_cast<char>(0xC0U | character >> 6U));
    following(0);
  } else if (character < 0x10000) {
    text->push_back(static_cast<char>(0xE0U | character >> 12U));
    following(6);
    following(0);
  } else {
    text->push_back(static_cast<char>(0xF0U | character >> 18U));
    following(12);
    following(6);
    following(0);
  }
}

}  // namespace

std::optional<std::string> utf8OfUtf16(std::string_view bytes) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 2) {
    char32_t character = unitAt(bytes, at);
    if (isLowSurrogate(character)) return std::nullopt;
    if (isHighSurrogate(character)) {
      at += 2;
      if (at >= bytes.size() || !isLowSurrogate(unitAt(bytes, at))) return std::nullopt;
      character = 0x10000 + ((character - 0xD800) << 10U) + (unitAt(bytes, at) - 0xDC00);
    }
    append(&text, character);
  }
  return text;
}

}  // namespace morv
