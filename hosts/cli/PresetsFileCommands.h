#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"

namespace morv::cli {

// "morv presets import" and "morv presets export-state" with the words behind them.
ExitCode presetsImportCommand(std::span<const std::string> words);
ExitCode presetsExportStateCommand(std::span<const std::string> words);

}  // namespace morv::cli
