#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/Export.h"

namespace morv {

// Whether XML may hold the character: not a surrogate, not beyond Unicode, and of the control characters only
// tabulator, line feed and carriage return.
bool isXmlCharacter(char32_t character) noexcept;

// The place of the first byte that is no well-formed UTF-8 (of shortest form) or whose character XML may not
// hold; none if the text is sound.
MORV_EXPORT std::optional<std::size_t> findBadXmlText(std::string_view text) noexcept;

}  // namespace morv
