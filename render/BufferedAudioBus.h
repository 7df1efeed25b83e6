#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/AUAudioUnitBus.h"
#include "platform/AVAudioPCMBuffer.h"
#include "platform/AudioBufferList.h"

namespace morv {

// A bus with memory of its own for hosts that bring none. `init` and allocation: main thread, not while
// rendering.
class BufferedAudioBus {
 public:
  void init(const AVAudioFormat& format, std::uint32_t maxChannels);
  void allocateRenderResources(std::uint32_t maximumFrames);
  void deallocateRenderResources();

  std::optional<AUAudioUnitBus> bus;
  std::uint32_t maxFrames = 0;
  std::unique_ptr<AVAudioPCMBuffer> pcmBuffer;
  const AudioBufferList* originalAudioBufferList = nullptr;
  AudioBufferList* mutableAudioBufferList = nullptr;
};

}  // namespace morv
