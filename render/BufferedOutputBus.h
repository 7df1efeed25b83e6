#pragma once

#include <cstdint>

#include "platform/NonBlocking.h"
#include "render/BufferedAudioBus.h"

namespace morv {

class BufferedOutputBus : public BufferedAudioBus {
 public:
  // Makes the host's buffers fit for `frameCount` frames: sizes them, gives empty ones this bus's memory, and
  // clears them if asked. Render thread; `frameCount` at most the allocated frames where a buffer is empty.
  void prepareOutputBufferList(AudioBufferList* outBufferList, std::uint32_t frameCount,
                               bool zeroFill) noexcept MORV_NONBLOCKING;
};

}  // namespace morv
