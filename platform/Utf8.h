#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/Export.h"

namespace morv {

// A character and how many bytes it takes in UTF-8.
struct Utf8Character {
  char32_t character;
  std::size_t bytes;
};

// The first character of a text that is not empty; none if it does not begin with well-formed UTF-8: the
// shortest form, whole, no surrogate and nothing beyond Unicode. Any thread.
MORV_EXPORT std::optional<Utf8Character> firstUtf8Character(std::string_view text) noexcept;

}  // namespace morv
