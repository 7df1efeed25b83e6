#pragma once

#include <span>
#include <string>

#include "hosts/cli/ExitCode.h"
#include "hosts/player/Drivers.h"

namespace morv::player {

// What "morv devices" shows.
struct DeviceList {
  Result<JackServerInfo> jack;
  Result<std::vector<AlsaDeviceInfo>> alsa;
  Result<std::vector<std::string>> alsaMidiSources;
};

std::string devicesAsText(const DeviceList& list);
// An object with a "version", 1: later versions only add to it.
std::string devicesAsJson(const DeviceList& list);

// "morv devices" with the words behind it.
cli::ExitCode devicesCommand(std::span<const std::string> words);

}  // namespace morv::player
