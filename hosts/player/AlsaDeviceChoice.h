#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "hosts/player/DeviceList.h"

namespace morv::player {

// The device that a word means: its name, its number, or a part of the name that no other has; of an empty
// word the default one, else the first. Fails with the names.
Result<AlsaDeviceInfo> chooseAlsaDevice(const std::string& wanted,
                                        const std::vector<AlsaDeviceInfo>& devices);
// The device's own rate for a player: the wanted one if it is above 0, else 48000 or 44100 hertz if the
// device has them, else its greatest. Fails if the device does not have the wanted one.
Result<unsigned> chooseAlsaRate(unsigned wantedHz, const AlsaDeviceInfo& device);

}  // namespace morv::player
