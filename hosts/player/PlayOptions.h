#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hosts/cli/RenderOptions.h"
#include "hosts/cli/SettingOverrides.h"
#include "platform/Result.h"

namespace morv::player {

enum class AudioChoice : std::uint8_t {
  automatic,  // JACK if a server answers, else ALSA
  jack,
  alsa,
};

// What "morv play" was asked to do, checked as far as the words alone allow.
struct PlayOptions {
  static constexpr unsigned kLeastLatencyFrames = 16;
  static constexpr unsigned kGreatestLatencyFrames = 8192;

  bool help = false;  // if set, the rest does not count
  bool verbose = false;
  bool connects = true;
  AudioChoice audio = AudioChoice::automatic;
  std::string device;
  std::string clientName = "morv";
  unsigned latencyFrames = 0;                  // 0 for the driver's choice
  unsigned sampleRateHz = 0;                   // 0 for the device's own
  std::optional<double> seconds;               // to play; none for no end
  std::optional<std::string> preset;           // a name or a file
  std::optional<std::string> resources;        // folder instead of the library's own
  std::optional<std::string> mapFile;          // of controllers
  std::vector<cli::RenderOptions::Set> sets;   // in their order
  std::vector<cli::SettingOverride> settings;  // in their order

  static Result<PlayOptions> parse(std::span<const std::string> words);
  static const char* helpText();
};

}  // namespace morv::player
