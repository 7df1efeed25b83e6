#include "platform/XmlCharacters.h"

namespace morv {
namespace {

// How a sequence begins: how many bytes follow, and what the first one and the shortest form have to say.
struct SequenceForm {
  std::size_t following;
  char32_t firstBits;
  char32_t least;  // smaller characters have a shorter form
};

std::optional<SequenceForm> formOf(unsigned char lead) {
  if (lead < 0x80) return SequenceForm{0, lead, 0};
  if (lead >= 0xC2 && lead < 0xE0) return SequenceForm{1, lead & 0x1FU, 0x80};
  if (lead >= 0xE0 && lead < 0xF0) return SequenceForm{2, lead & 0x0FU, 0x800};
  if (lead >= 0xF0 && lead < 0xF5) return SequenceForm{3, lead & 0x07U, 0x10000};
  return std::nullopt;
}

}  // namespace

bool isXmlCharacter(char32_t character) noexcept {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  return character < 0xD800 || (character > 0xDFFF && character < 0xFFFE) ||
         (character > 0xFFFF && character <= 0x10FFFF);
}

std::optional<std::size_t> findBadXmlText(std::string_view text) noexcept {
  std::size_t at = 0;
  while (at < text.size()) {
    const auto form = formOf(static_cast<unsigned char>(text[at]));
    if (!form || form->following >= text.size() - at) return at;
    char32_t character = form->firstBits;
    for (std::size_t i = 1; i <= form->following; ++i) {
      const auto byte = static_cast<unsigned char>(text[at + i]);
      if ((byte & 0xC0U) != 0x80U) return at;
      character = character << 6U | (byte & 0x3FU);
    }
    if (character < form->least || !isXmlCharacter(character)) return at;
    at += form->following + 1;
  }
  return std::nullopt;
}

}  // namespace morv
