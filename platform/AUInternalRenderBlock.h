#pragma once

#include <cstdint>
#include <functional>

#include "platform/AURenderEvent.h"
#include "platform/AudioBufferList.h"
#include "platform/NonBlocking.h"

namespace morv {

using AUAudioUnitStatus = std::int32_t;
using AudioUnitRenderActionFlags = std::uint32_t;
// By which a unit with inputs fetches them.
using AURenderPullInputBlock = std::function<AUAudioUnitStatus(
    AudioUnitRenderActionFlags* actionFlags, const AudioTimeStamp* timestamp, std::uint32_t frameCount,
    std::int64_t inputBusNumber, AudioBufferList* inputData)>;

// What a host calls, on its render thread, for each block of audio. A copy is as good as the original; it is
// valid as long as the unit that gave it.
class AUInternalRenderBlock {
 public:
  using Function = AUAudioUnitStatus (*)(void* unit, AudioUnitRenderActionFlags* actionFlags,
                                         const AudioTimeStamp* timestamp, std::uint32_t frameCount,
                                         std::int64_t outputBusNumber, AudioBufferList* outputData,
                                         const AURenderEvent* events,
                                         const AURenderPullInputBlock* pullInput) noexcept MORV_NONBLOCKING;

  AUInternalRenderBlock(Function function, void* unit) noexcept : function_(function), unit_(unit) {}

  // Renders `frameCount` frames into `outputData`; buffers without memory get the unit's own. `events` is a
  // list in time order, none for an empty one.
  AUAudioUnitStatus operator()(AudioUnitRenderActionFlags* actionFlags, const AudioTimeStamp* timestamp,
                               std::uint32_t frameCount, std::int64_t outputBusNumber,
                               AudioBufferList* outputData, const AURenderEvent* events,
                               const AURenderPullInputBlock* pullInput) const noexcept MORV_NONBLOCKING {
    return function_(unit_, actionFlags, timestamp, frameCount, outputBusNumber, outputData, events,
                     pullInput);
  }

 private:
  Function function_;
  void* unit_;
};

}  // namespace morv
