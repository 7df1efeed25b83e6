#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::player {

// "morv play" with the words behind it.
cli::ExitCode playCommand(std::span<const std::string> words);

}  // namespace morv::player
