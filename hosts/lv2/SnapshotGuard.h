#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "platform/NonBlocking.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define MORV_THREAD_SANITIZER
#endif
#endif

namespace morv::lv2 {

// Lets one thread change many numbers, each of them atomic, so that another one reads all of them from
// between two changes. The changing side never waits; the reading side tries again (a sequence lock, see
// Boehm, "Can seqlocks get along with programming language memory models?", 2012).
class SnapshotGuard {
 public:
  // Changing side; a pair for each change.
  void beginChange() noexcept MORV_NONBLOCKING {
    version_.store(version_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    fence(std::memory_order_release);
  }
  void endChange() noexcept MORV_NONBLOCKING {
    version_.store(version_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  }

  // What `read` gives when nothing changes meanwhile. If changes come without a pause the last try counts.
  template <typename Read>
  auto read(Read&& read) const {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
      const std::uint32_t before = version_.load(std::memory_order_acquire);
      auto result = read();
      fence(std::memory_order_acquire);
      const bool isWhole = before % 2 == 0 && version_.load(std::memory_order_relaxed) == before;
      if (isWhole || std::chrono::steady_clock::now() > end) return result;
      std::this_thread::yield();
    }
  }

 private:
  static constexpr std::chrono::milliseconds kPatience{200};

  // The thread sanitizer knows no fences; a change of nothing, ordered with all others, is one too on the
  // processors that it runs on.
  void fence([[maybe_unused]] std::memory_order order) const noexcept MORV_NONBLOCKING {
#if defined(__SANITIZE_THREAD__) || defined(MORV_THREAD_SANITIZER)
    version_.fetch_add(0);
#else
    std::atomic_thread_fence(order);
#endif
  }

  mutable std::atomic<std::uint32_t> version_{0};  // odd during a change
};

}  // namespace morv::lv2
