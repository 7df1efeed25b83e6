#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::player {

// "morv devices" with the words behind it.
cli::ExitCode devicesCommand(std::span<const std::string> words);

}  // namespace morv::player
