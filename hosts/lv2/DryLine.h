#pragma once

#include <array>
#include <cstdint>

#include "hosts/HostBlocks.h"
#include "platform/NonBlocking.h"

namespace morv::lv2 {

// Delays a plain signal by as much as an effect does, so that both can be heard as one. Render thread.
class DryLine {
 public:
  static constexpr std::uint32_t kGreatestFrames = kHostBlockFrames;

  void reset() noexcept MORV_NONBLOCKING { past_ = {}; }
  // Delays a block of at most kHostBlockFrames in its place, by at most kGreatestFrames.
  void run(float* samples, std::uint32_t frames, std::uint32_t delayFrames) noexcept MORV_NONBLOCKING;

 private:
  std::array<float, kGreatestFrames> past_{};  // the newest sample last
};

}  // namespace morv::lv2
