#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::cli {

// "morv presets list" and "morv presets show" with the words behind them.
ExitCode presetsListCommand(std::span<const std::string> words);
ExitCode presetsShowCommand(std::span<const std::string> words);

}  // namespace morv::cli
