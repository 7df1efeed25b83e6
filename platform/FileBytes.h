#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace morv {

// `count` bytes of a file from `offset` on; none if it cannot be opened or is too short. Not for the render
// thread.
std::optional<std::vector<unsigned char>> readFileBytes(const std::string& path, std::size_t offset,
                                                        std::size_t count);

// Full paths of the files in a folder that bear the extension (with its dot), in ascending order of path;
// empty if the folder cannot be read.
std::vector<std::string> filesWithExtension(const std::string& folder, const std::string& extension);

}  // namespace morv
