#pragma once

#include <cstdint>

namespace morv {

// Standard format of a bus: non-interleaved 32-bit floats.
struct AVAudioFormat {
  double sampleRate = 44100.0;  // Hz
  std::uint32_t channelCount = 2;
};

}  // namespace morv
