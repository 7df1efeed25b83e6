#pragma once

#include <cstdint>

#include "platform/AVAudioFormat.h"

namespace morv {

// One audio connection point of a unit. Main thread; read-only while rendering.
struct AUAudioUnitBus {
  explicit AUAudioUnitBus(const AVAudioFormat& busFormat) : format(busFormat) {}
  AVAudioFormat format;
  std::uint32_t maximumChannelCount = 0;
};

}  // namespace morv
