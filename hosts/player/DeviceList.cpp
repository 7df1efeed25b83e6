#include "hosts/player/DeviceList.h"

#include <array>
#include <vector>

#include "hosts/cli/Json.h"

namespace morv::player {
namespace {

using cli::jsonQuoted;

// Any number within the player's limits will do; these are the usual ones.
constexpr std::array kLatencyFrames = {32, 64, 128, 256, 512, 1024, 2048};

template <typename Items>
std::string joined(const Items& items, const std::string& separator) {
  std::string text;
  for (const auto& each : items) {
    if (!text.empty()) text += separator;
    if constexpr (requires { std::to_string(each); }) {
      text += std::to_string(each);
    } else {
      text += each;
    }
  }
  return text;
}

std::string arrayOf(const std::vector<std::string>& texts) {
  std::vector<std::string> quoted;
  quoted.reserve(texts.size());
  for (const std::string& each : texts) quoted.push_back(jsonQuoted(each));
  return "[" + joined(quoted, ", ") + "]";
}

template <typename Numbers>
std::string numberArrayOf(const Numbers& numbers) {
  return "[" + joined(numbers, ", ") + "]";
}

std::string linesOf(const std::vector<std::string>& items, const std::string& title) {
  std::string text;
  for (const std::string& each : items)
    text.append("  ").append(title).append("  ").append(each).append("\n");
  return text;
}

std::string jackAsText(const Result<JackServerInfo>& jack) {
  if (!jack.ok()) return "JACK: " + jack.reason() + "\n";
  const JackServerInfo& server = jack.value();
  return "JACK: " + std::to_string(server.sampleRateHz) + " Hz, " + std::to_string(server.cycleFrames) +
         " frames in a cycle\n" + linesOf(server.playbackPorts, "output") +
         linesOf(server.midiSources, "MIDI  ");
}

std::string alsaAsText(const Result<std::vector<AlsaDeviceInfo>>& alsa) {
  if (!alsa.ok()) return "ALSA: " + alsa.reason() + "\n";
  if (alsa.value().empty()) return "ALSA: no output device\n";
  std::string text = "ALSA: latency choices " + joined(kLatencyFrames, " ") + "\n";
  for (const AlsaDeviceInfo& each : alsa.value()) {
    text += "  " + std::to_string(each.number) + "  " + each.name + (each.isDefault ? " (default), " : ", ") +
            std::to_string(each.channels) + " outputs, " + joined(each.sampleRatesHz, " ") + " Hz\n";
  }
  return text;
}

}  // namespace

std::string devicesAsText(const DeviceList& list) {
  std::string text = jackAsText(list.jack) + alsaAsText(list.alsa);
  const auto& midi = list.alsaMidiSources;
  if (!midi.ok()) return text + "ALSA MIDI: " + midi.reason() + "\n";
  return text +
         (midi.value().empty() ? "ALSA MIDI: no source\n" : "ALSA MIDI:\n" + linesOf(midi.value(), "MIDI  "));
}

std::string devicesAsJson(const DeviceList& list) {
  std::string json = "{\"version\": 1,\n \"jack\": ";
  if (list.jack.ok()) {
    const JackServerInfo& server = list.jack.value();
    json += "{\"available\": true, \"rate\": " + std::to_string(server.sampleRateHz) +
            ", \"frames\": " + std::to_string(server.cycleFrames) +
            ", \"outputs\": " + arrayOf(server.playbackPorts) + ", \"midi\": " + arrayOf(server.midiSources) +
            "}";
  } else {
    json += "{\"available\": false, \"reason\": " + jsonQuoted(list.jack.reason()) + "}";
  }
  json += ",\n \"alsa\": {";
  if (!list.alsa.ok()) json += "\"reason\": " + jsonQuoted(list.alsa.reason()) + ", ";
  json += "\"devices\": [";
  std::vector<std::string> devices;
  for (const AlsaDeviceInfo& each : list.alsa.ok() ? list.alsa.value() : std::vector<AlsaDeviceInfo>()) {
    devices.push_back("\n   {\"number\": " + std::to_string(each.number) + ", \"name\": " +
                      jsonQuoted(each.name) + ", \"outputs\": " + std::to_string(each.channels) +
                      ", \"default\": " + (each.isDefault ? "true" : "false") +
                      ", \"rates\": " + numberArrayOf(each.sampleRatesHz) + "}");
  }
  const auto& midi = list.alsaMidiSources;
  return json + joined(devices, ",") + "], \"latencies\": " + numberArrayOf(kLatencyFrames) +
         ", \"midi\": " + arrayOf(midi.ok() ? midi.value() : std::vector<std::string>()) + "}}\n";
}

}  // namespace morv::player
