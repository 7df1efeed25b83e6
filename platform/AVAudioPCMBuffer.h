#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "platform/AVAudioFormat.h"
#include "platform/AudioBufferList.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// Owns sample memory for every channel of a format, `frameCapacity` frames each, zero-filled at the start.
class AVAudioPCMBuffer {
 public:
  AVAudioPCMBuffer(const AVAudioFormat& format, std::uint32_t frameCapacity)
      : samples_(std::size_t{frameCapacity} * format.channelCount) {
    list_.mNumberBuffers = std::min(format.channelCount, AudioBufferList::kMaxBuffers);
    for (std::uint32_t channel = 0; channel < list_.mNumberBuffers; ++channel) {
      list_.mBuffers[channel] = {1, frameCapacity * static_cast<std::uint32_t>(sizeof(float)),
                                 samples_.data() + std::size_t{channel} * frameCapacity};
    }
  }
  AVAudioPCMBuffer(const AVAudioPCMBuffer&) = delete;
  AVAudioPCMBuffer& operator=(const AVAudioPCMBuffer&) = delete;

  const AudioBufferList* audioBufferList() const noexcept { return &list_; }
  AudioBufferList* mutableAudioBufferList() noexcept { return &list_; }

 private:
  ZeroedFloats samples_;
  AudioBufferList list_;
};

}  // namespace morv
