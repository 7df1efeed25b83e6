#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace morv {

// The UTF-8 form of text in UTF-16, the more significant byte of each unit first; none for half units and for
// surrogates without their partner.
std::optional<std::string> utf8OfUtf16(std::string_view bytes);

}  // namespace morv
