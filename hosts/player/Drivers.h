#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hosts/player/AudioDriver.h"
#include "hosts/player/DeviceList.h"
#include "hosts/player/PlayOptions.h"
#include "hosts/player/PlayerEngine.h"

namespace morv::player {

// The drivers that this build has.

// Opens the chosen driver, or the first of several that does open. The reason tells it of each. The engine
// outlives the driver.
Result<std::unique_ptr<AudioDriver>> openDriver(AudioChoice choice, PlayerEngine& engine,
                                                const DriverOptions& options);

// Fail with the reason if there is no server, or if the driver is not part of this build.
Result<JackServerInfo> findJackServer();
Result<std::vector<AlsaDeviceInfo>> findAlsaDevices();
// Sequencer ports that send MIDI.
Result<std::vector<std::string>> findAlsaMidiSources();

}  // namespace morv::player
