#include "platform/XmlCharacters.h"

#include "platform/Utf8.h"

namespace morv {
bool isXmlCharacter(char32_t character) noexcept {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  return character < 0xD800 || (character > 0xDFFF && character < 0xFFFE) ||
         (character > 0xFFFF && character <= 0x10FFFF);
}

std::optional<std::size_t> findBadXmlText(std::string_view text) noexcept {
  std::size_t at = 0;
  while (at < text.size()) {
    const auto next = firstUtf8Character(text.substr(at));
    if (!next || !isXmlCharacter(next->character)) return at;
    at += next->bytes;
  }
  return std::nullopt;
}

}  // namespace morv
