#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Result.h"

namespace morv::cli {

// Rates at which effects run, in Hz.
inline constexpr double kLeastEffectRateHz = 1000;
inline constexpr double kGreatestEffectRateHz = 768000;

// What "morv effect run" was asked to do.
struct EffectOptions {
  // A control's new value; ahead of the first block that begins at or behind the frame.
  struct Set {
    std::string identifier;
    float value = 0;
    std::uint64_t frame = 0;
  };

  // The reason says what is wrong with the words.
  static Result<EffectOptions> parse(std::span<const std::string> words);
  // The options, a line or two for each.
  static std::string helpText();

  std::string effect;
  std::string inPath;
  std::string outPath;
  std::uint32_t blockFrames = 256;
  double tempo = 120;                   // beats per minute
  std::optional<double> constructRate;  // Hz; none for the file's
  std::optional<double> prepareRate;    // the same
  std::vector<Set> preSets;             // ahead of the preparation
  std::vector<Set> sets;                // behind it
  std::vector<Set> laterSets;           // in the order of their frames
  std::optional<std::uint64_t> seed;
  bool help = false;
};

}  // namespace morv::cli
