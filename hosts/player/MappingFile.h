#pragma once

#include <map>
#include <string>

#include "platform/Result.h"

namespace morv::player {

// Reads a table from controller number to parameter address as the mapper keeps it: a property list with the
// controllers as keys and the addresses as integers. Controllers that drive nothing (address -1) are left
// out. The reason names the file, and what in it is no such entry; one parameter has one controller.
Result<std::map<int, std::uint64_t>> readMappingFile(const std::string& path);

}  // namespace morv::player
