#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "hosts/HostBlocks.h"
#include "platform/AUInternalRenderBlock.h"
#include "platform/AURenderEvent.h"
#include "platform/AudioBufferList.h"
#include "platform/NonBlocking.h"
#include "platform/Relaxed.h"
#include "unit/ZQ3Unit.h"

namespace morv {

// Stands between a host's audio cycle and a unit: cuts each cycle into short blocks of one size, so that
// neither the timing of notes nor the sound hangs on the length of a cycle. Only the last block of a cycle
// may be shorter. While it lives it answers the unit's question for the tempo.
//
// Construction and destruction: main thread, not while rendering. `render`: render thread. Tempo: any thread.
class HostBlockCutter {
 public:
  static constexpr std::uint32_t kBlockFrames = kHostBlockFrames;
  static constexpr float kGreatestSample = kGreatestHostSample;

  // The unit outlives the cutter; its greatest block is at least `blockFrames`, which is above 0.
  explicit HostBlockCutter(ZQ3Unit& unit, std::uint32_t blockFrames = kBlockFrames);
  ~HostBlockCutter();
  HostBlockCutter(const HostBlockCutter&) = delete;
  HostBlockCutter& operator=(const HostBlockCutter&) = delete;

  // The host's tempo in beats per minute, told to the unit at each block from the next one on. Before the
  // first call, and with 0 or less, the unit keeps the tempo that it has.
  void setTempo(double beatsPerMinute) noexcept MORV_NONBLOCKING { tempo_ = beatsPerMinute; }

  // Renders one cycle of `frames` frames that begins at `sampleTime` into two channels. `events` are in time
  // order on the same clock; their links are set here. An event goes to the block that holds its sample; one
  // from before the cycle goes to the first block, one from behind it to the last. A cycle of no frames does
  // nothing. If both channels are one memory, what it holds behind is the right one's.
  void render(double sampleTime, std::uint32_t frames, float* left, float* right,
              std::span<AURenderEvent> events) noexcept MORV_NONBLOCKING;

  // Samples that came as not-a-number and went out as silence, since construction. Any thread.
  std::uint64_t numberlessSamples() const noexcept MORV_NONBLOCKING { return numberlessSamples_; }

 private:
  ZQ3Unit& unit_;
  const std::uint32_t blockFrames_;
  const AUInternalRenderBlock renderBlock_;
  std::vector<float> spare_;  // for the left channel, where the right one takes its memory
  Relaxed<double> tempo_{0.0};
  Relaxed<std::uint64_t> numberlessSamples_{0};  // written by the render thread
};

}  // namespace morv
