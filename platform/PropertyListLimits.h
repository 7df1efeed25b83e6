#pragma once

#include <cstddef>

namespace morv {

// What a property list may be at most; reading and writing refuse anything beyond. The limits lie far above
// what a bank of a thousand presets takes and far below what exhausts the stack or the memory.
inline constexpr std::size_t kMaxPropertyListBytes = std::size_t{64} << 20U;
inline constexpr std::size_t kMaxPropertyListDepth = 128;         // a lone value has depth 1
inline constexpr std::size_t kMaxPropertyListValues = 4'000'000;  // keys not counted

}  // namespace morv
