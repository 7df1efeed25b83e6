#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace morv {

// A moment in universal time, to the second.
struct PropertyListDate {
  std::int64_t secondsSince1970 = 0;
  bool operator==(const PropertyListDate&) const = default;
};

// The first and the last moment that have a text: the years 1 to 9999.
inline constexpr PropertyListDate kFirstPropertyListDate{-62135596800};
inline constexpr PropertyListDate kLastPropertyListDate{253402300799};

// "2026-03-04T05:06:07Z"; none outside the years 1 to 9999.
MORV_EXPORT std::optional<std::string> textOfDate(PropertyListDate date);
// The moment of exactly such a text; none for any other, for days that no calendar has, and for leap seconds.
MORV_EXPORT std::optional<PropertyListDate> dateOfText(std::string_view text);

}  // namespace morv
