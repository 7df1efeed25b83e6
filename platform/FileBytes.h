#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/Result.h"

namespace morv {

// `count` bytes of a file from `offset` on; none if it cannot be opened or is too short. Not for the render
// thread.
std::optional<std::vector<unsigned char>> readFileBytes(const std::string& path, std::size_t offset,
                                                        std::size_t count);

// All bytes of a regular file, which may be `limit` bytes long at most. Not for the render thread.
MORV_EXPORT Result<std::string> readWholeFile(const std::string& path, std::size_t limit);

// Full paths of the files in a folder that bear the extension (with its dot), in ascending order of path;
// empty if the folder cannot be read.
std::vector<std::string> filesWithExtension(const std::string& folder, const std::string& extension);

}  // namespace morv
