#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::cli {

// "morv presets render-all" with the words behind it.
ExitCode presetsRenderAllCommand(std::span<const std::string> words);

}  // namespace morv::cli
