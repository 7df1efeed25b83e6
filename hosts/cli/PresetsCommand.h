#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::cli {

// "morv presets" with the words behind it: list, show, render-all, import or export-state.
ExitCode presetsCommand(std::span<const std::string> words);

// Its help, which tells all five.
const char* presetsHelp();

}  // namespace morv::cli
