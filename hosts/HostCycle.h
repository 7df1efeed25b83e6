#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "hosts/HostBlockCutter.h"
#include "platform/AURenderEvent.h"
#include "platform/NonBlocking.h"
#include "unit/ZQ3Unit.h"

namespace morv {

// One audio cycle of a host after the other: takes what happens in a cycle in the order of its frames and
// renders each block as soon as nothing more can fall into it. So it holds the events of one block at most.
// Times run on from cycle to cycle.
//
// Construction: main thread, not while rendering. All else: render thread.
class HostCycle {
 public:
  // Events that one block can hold; what comes above that is dropped and counted.
  static constexpr std::size_t kEventsInBlock = 1024;

  // The unit outlives the cycle.
  explicit HostCycle(ZQ3Unit& unit) : cutter_(unit) {}

  // Begins a cycle of `frames` frames, to be rendered into two channels, which may be one and the same memory
  // as anything else that the host gave for this cycle.
  void begin(std::uint32_t frames, float* left, float* right) noexcept MORV_NONBLOCKING;
  // Frames do not fall within a cycle; one that does counts as the last one, one from behind the cycle's end
  // as in its last block. A message is one whole channel message; others (system messages, cut ones, bytes
  // that are no data) are passed over.
  void addMidi(std::uint32_t frame, std::span<const std::uint8_t> message) noexcept MORV_NONBLOCKING;
  // Beats per minute from the block on that holds the frame; 0 or less and what is no number change nothing.
  void addTempo(std::uint32_t frame, double beatsPerMinute) noexcept MORV_NONBLOCKING;
  // Renders all blocks that end at or ahead of the frame: what is changed in the unit now counts from the
  // block on that holds it.
  void renderUpTo(std::uint32_t frame) noexcept MORV_NONBLOCKING;
  // Renders what is left.
  void end() noexcept MORV_NONBLOCKING;

  // Whether anything was ever asked of it: a cycle, though it be without frames.
  bool hasBegun() const noexcept { return hasBegun_; }
  // Frames rendered since construction.
  std::uint64_t position() const noexcept { return position_; }
  std::uint64_t droppedEvents() const noexcept { return droppedEvents_; }
  // As of HostBlockCutter.
  std::uint64_t numberlessSamples() const noexcept MORV_NONBLOCKING { return cutter_.numberlessSamples(); }

 private:
  void renderPiece(std::uint32_t frames) noexcept;

  HostBlockCutter cutter_;
  std::array<AURenderEvent, kEventsInBlock> events_{};
  std::size_t eventCount_ = 0;
  std::uint64_t droppedEvents_ = 0;
  bool hasBegun_ = false;
  std::uint64_t position_ = 0;  // of the first frame that is not rendered yet
  std::uint32_t frames_ = 0;    // of the cycle
  std::uint32_t done_ = 0;      // of them rendered
  float* left_ = nullptr;
  float* right_ = nullptr;
};

}  // namespace morv
