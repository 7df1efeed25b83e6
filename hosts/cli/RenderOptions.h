#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hosts/cli/AudioFileWriter.h"
#include "hosts/cli/SettingOverrides.h"
#include "platform/Result.h"

namespace morv::cli {

// What "morv render" was asked to do, checked as far as the words alone allow.
struct RenderOptions {
  struct Set {
    std::string identifier;
    float value = 0;
  };

  bool help = false;  // if set, the rest does not count
  bool verbose = false;
  std::string midiPath;
  std::string outPath;
  std::optional<std::string> automationPath;
  int sampleRateHz = 44100;
  std::uint32_t blockFrames = 64;
  std::optional<double> tempo;    // beats per minute; none for the file's own
  std::optional<double> seconds;  // length; none for last event and tail
  double tailSeconds = 2;
  SampleFormat format = SampleFormat::f32;
  std::optional<std::uint64_t> seed;
  std::optional<std::string> preset;      // a name or a file
  std::optional<std::string> resources;   // folder instead of the library's own
  std::vector<Set> sets;                  // in their order
  std::vector<SettingOverride> settings;  // in their order

  // "ID=VALUE" of an option '--set'.
  static Result<Set> parseSet(const std::string& text);
  static Result<RenderOptions> parse(std::span<const std::string> words);
  static const char* helpText();
};

}  // namespace morv::cli
