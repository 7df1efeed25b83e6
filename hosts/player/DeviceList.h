#pragma once

#include <string>
#include <vector>

#include "platform/Result.h"

namespace morv::player {

// A running JACK server as a new client finds it.
struct JackServerInfo {
  unsigned sampleRateHz = 0;
  unsigned cycleFrames = 0;
  std::vector<std::string> playbackPorts;  // physical ones
  std::vector<std::string> midiSources;
};
// An ALSA device with outputs.
struct AlsaDeviceInfo {
  unsigned number = 0;  // of this moment
  std::string name;
  unsigned channels = 0;
  bool isDefault = false;
  std::vector<unsigned> sampleRatesHz;
};

// What "morv devices" shows.
struct DeviceList {
  Result<JackServerInfo> jack;
  Result<std::vector<AlsaDeviceInfo>> alsa;
  Result<std::vector<std::string>> alsaMidiSources;
};

std::string devicesAsText(const DeviceList& list);
// An object with a "version", 1: later versions only add to it.
std::string devicesAsJson(const DeviceList& list);

}  // namespace morv::player
