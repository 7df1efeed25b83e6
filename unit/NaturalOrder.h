#pragma once

#include <string_view>

#include "platform/Export.h"

namespace morv {

// Whether `a` stands ahead of `b` in a list for people: punctuation ahead of digits ahead of letters, numbers
// inside names as numbers ("Pad 2" ahead of "Pad 10"), letters without regard to case and accents ("Ä" with
// "A", "ß" as "ss"). Names that are the same by that go by their bytes.
//
// Texts are UTF-8. Accents are known on the letters of Latin-1 and Latin Extended-A (up to U+017F) and as
// combining marks (U+0300 to U+036F); the letters beyond stand behind all of these in the order of Unicode,
// each as it is, and bytes that are no UTF-8 behind those. The language of the user does not count. Any
// thread.
MORV_EXPORT bool isNaturallyBefore(std::string_view a, std::string_view b) noexcept;

}  // namespace morv
