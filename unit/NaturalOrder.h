#pragma once

#include <string_view>

#include "platform/Export.h"

namespace morv {

// Whether `a` stands ahead of `b` in a list for people: numbers inside names compare as numbers ("Pad 2"
// ahead of "Pad 10"), letters without regard to case; names that are the same by that go by their bytes. Any
// thread.
MORV_EXPORT bool isNaturallyBefore(std::string_view a, std::string_view b) noexcept;

}  // namespace morv
