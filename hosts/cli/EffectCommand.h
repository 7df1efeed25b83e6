#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::cli {

// "morv effect list | parameters NAME | run NAME ...": the effects one by one, over files.
ExitCode effectCommand(std::span<const std::string> words);

}  // namespace morv::cli
