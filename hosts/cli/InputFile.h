#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/Result.h"

namespace morv::cli {

// Greatest input file that is read; a score or a list of knob moves of that size is none.
inline constexpr std::size_t kMaxInputBytes = std::size_t{64} << 20U;

// All bytes of a file. The reason names the file: it cannot be opened or read, is no file, or is too large.
Result<std::vector<std::uint8_t>> readInputFile(const std::string& path);

// Whether two paths lead to one file that is there; an empty path leads to none.
bool isSameFile(const std::string& one, const std::string& other);

}  // namespace morv::cli
