#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"
#include "platform/AUParameterTree.h"

namespace morv::cli {

// "morv parameters" with the words behind it: prints the tree of a fresh instrument.
ExitCode parametersCommand(std::span<const std::string> words);

// The tree as tab-separated lines under a header: group, identifier, address, name, minimum, maximum,
// default, unit (number), flags, value strings (parted by "|"). The values at hand are the defaults.
std::string parametersAsTable(const AUParameterTree& tree);
// The same as a JSON array of objects, value strings as an array.
std::string parametersAsJson(const AUParameterTree& tree);

}  // namespace morv::cli
