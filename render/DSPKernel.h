#pragma once

#include <cstdint>

#include "platform/AURenderEvent.h"
#include "platform/AudioBufferList.h"
#include "platform/NonBlocking.h"

namespace morv {

// Walks the events of one block. A block is not split: all its events, whatever their time inside it, are
// carried out in list order ahead of one call of `process`. Render thread.
class DSPKernel {
 public:
  virtual ~DSPKernel();

  // Renders `frameCount` frames into the buffers of the block.
  virtual void process(std::uint32_t frameCount, std::uint32_t bufferOffset) noexcept MORV_NONBLOCKING = 0;
  // A parameter event; `duration` in frames.
  virtual void startRamp(std::uint64_t address, float value,
                         std::uint32_t duration) noexcept MORV_NONBLOCKING = 0;
  virtual void handleMIDIEvent(const AUMIDIEvent& event) noexcept MORV_NONBLOCKING;

  // The whole of one block. With no frames nothing happens, and its events are lost.
  void processWithEvents(const AudioTimeStamp* blockTimestamp, std::uint32_t frameCount,
                         const AURenderEvent* events) noexcept MORV_NONBLOCKING;

 protected:
  DSPKernel() = default;
  DSPKernel(const DSPKernel&) = default;
  DSPKernel& operator=(const DSPKernel&) = default;

  // Handles the event at hand and those behind it that carry the sample time `now`, and moves on past them.
  void performAllSimultaneousEvents(AUEventSampleTime now,
                                    const AURenderEvent*& event) noexcept MORV_NONBLOCKING;
  void handleOneEvent(const AURenderEvent& event) noexcept MORV_NONBLOCKING;

  const AudioTimeStamp* timestamp = nullptr;  // of the block being rendered; valid inside `process` only
};

}  // namespace morv
