#include "hosts/player/AlsaDevices.h"

#include <RtAudio.h>
#include <RtMidi.h>

#include <exception>

#include "hosts/player/SilencedErrors.h"

namespace morv::player {
namespace {

constexpr unsigned kChannels = 2;

}  // namespace

Result<std::vector<AlsaDeviceInfo>> listAlsaDevices() {
  const SilencedErrors silence;
  std::vector<AlsaDeviceInfo> devices;
  try {
    RtAudio audio(RtAudio::LINUX_ALSA);
    audio.showWarnings(false);
    const unsigned count = audio.getDeviceCount();
    for (unsigned i = 0; i < count; ++i) {
      const RtAudio::DeviceInfo info = audio.getDeviceInfo(i);
      if (!info.probed || info.outputChannels < kChannels) continue;
      devices.push_back({i, info.name, info.outputChannels, info.isDefaultOutput, info.sampleRates});
    }
  } catch (const std::exception& error) {
    return Failure{std::string("ALSA: ") + error.what()};
  }
  return devices;
}

Result<std::vector<std::string>> listAlsaMidiSources() {
  const SilencedErrors silence;
  std::vector<std::string> sources;
  try {
    RtMidiIn midi(RtMidi::LINUX_ALSA, "morv-devices");
    const unsigned count = midi.getPortCount();
    for (unsigned i = 0; i < count; ++i) sources.push_back(midi.getPortName(i));
  } catch (const std::exception&) {
    return Failure{"no sequencer"};
  }
  return sources;
}

}  // namespace morv::player
