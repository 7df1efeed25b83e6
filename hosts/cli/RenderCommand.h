#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::cli {

// "morv render" with the words behind it. Messages go to the standard error stream.
ExitCode renderCommand(std::span<const std::string> words);

}  // namespace morv::cli
