#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv {

// Counts how often something found state of its own that was no number and put it back, and says when that
// may be printed: the first time, and then at most a few times a second of sound. `total`: any thread; the
// rest: one thread, the render thread.
class RecoveryCounter {
 public:
  // Sound goes by, heard or not.
  void pass(int frames) noexcept MORV_NONBLOCKING {
    framesSincePrinted_ = std::min(framesSincePrinted_ + frames, kLongAgo);
  }
  // Counts one event. Whether it may be printed.
  bool count(float sampleRateHz) noexcept MORV_NONBLOCKING {
    total_.store(total_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    if (static_cast<float>(framesSincePrinted_) < sampleRateHz / kPrintsPerSecond) return false;
    framesSincePrinted_ = 0;
    return true;
  }
  // Whether less than a second has gone by since the last one that might be printed.
  bool isNews(float sampleRateHz) const noexcept MORV_NONBLOCKING {
    return static_cast<float>(framesSincePrinted_) < sampleRateHz;
  }
  std::uint32_t total() const noexcept MORV_NONBLOCKING { return total_.load(std::memory_order_relaxed); }

 private:
  static constexpr float kPrintsPerSecond = 4;
  static constexpr int kLongAgo = 1 << 30;

  std::atomic<std::uint32_t> total_{0};
  int framesSincePrinted_ = kLongAgo;
};

}  // namespace morv
