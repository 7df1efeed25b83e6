#include "hosts/player/AlsaDeviceChoice.h"

#include <algorithm>
#include <array>

namespace morv::player {

Result<AlsaDeviceInfo> chooseAlsaDevice(const std::string& wanted,
                                        const std::vector<AlsaDeviceInfo>& devices) {
  if (devices.empty()) return Failure{"ALSA has no output device"};
  if (wanted.empty()) {
    const auto standard = std::find_if(devices.begin(), devices.end(),
                                       [](const AlsaDeviceInfo& each) { return each.isDefault; });
    return standard != devices.end() ? *standard : devices.front();
  }
  std::vector<AlsaDeviceInfo> found;
  std::string names;
  for (const AlsaDeviceInfo& each : devices) {
    if (each.name == wanted || std::to_string(each.number) == wanted) return each;
    if (each.name.find(wanted) != std::string::npos) found.push_back(each);
    names += (names.empty() ? "'" : ", '") + each.name + "'";
  }
  if (found.size() == 1) return found.front();
  return Failure{(found.empty() ? "no ALSA device '" : "more than one ALSA device has '") + wanted +
                 (found.empty() ? "'" : "' in its name") + "; there are " + names};
}

Result<unsigned> chooseAlsaRate(unsigned wantedHz, const AlsaDeviceInfo& device) {
  constexpr std::array kUsualHz = {48000U, 44100U};
  const std::vector<unsigned>& rates = device.sampleRatesHz;
  const auto has = [&rates](unsigned rate) {
    return std::find(rates.begin(), rates.end(), rate) != rates.end();
  };
  if (rates.empty()) return wantedHz > 0 ? wantedHz : kUsualHz.front();
  if (wantedHz > 0) {
    if (has(wantedHz)) return wantedHz;
    return Failure{"'" + device.name + "' does not run at " + std::to_string(wantedHz) + " Hz"};
  }
  for (const unsigned usual : kUsualHz) {
    if (has(usual)) return usual;
  }
  return *std::max_element(rates.begin(), rates.end());
}

}  // namespace morv::player
