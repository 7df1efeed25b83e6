#include "platform/Utf8.h"

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

std::optional<Utf8Character> firstUtf8Character(std::string_view text) noexcept {
  if (text.empty()) return std::nullopt;
  const auto form = formOf(static_cast<unsigned char>(text.front()));
  if (!form || form->following >= text.size()) return std::nullopt;
  char32_t character = form->firstBits;
  for (std::size_t i = 1; i <= form->following; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0U) != 0x80U) return std::nullopt;
    character = character << 6U | (byte & 0x3FU);
  }
  const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
  if (character < form->least || isSurrogate || character > 0x10FFFF) return std::nullopt;
  return Utf8Character{character, form->following + 1};
}

}  // namespace morv
