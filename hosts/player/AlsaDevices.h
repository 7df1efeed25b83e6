#pragma once

#include <string>
#include <vector>

#include "hosts/player/DeviceList.h"

namespace morv::player {

// What the ALSA library finds on this machine. Main thread.

// All devices with two outputs or more, in the library's order.
Result<std::vector<AlsaDeviceInfo>> listAlsaDevices();
// Fails without a sequencer.
Result<std::vector<std::string>> listAlsaMidiSources();

}  // namespace morv::player
