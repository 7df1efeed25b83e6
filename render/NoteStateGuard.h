#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "platform/NonBlocking.h"

namespace morv {

// Lets other threads reset note state without tearing what the render thread walks. A request is carried out
// at once when no block is being rendered, and otherwise at the start of the next block.
//
// The render thread brackets each block with `beginBlock` and `endBlock`. If a foreign request is being
// carried out in that very moment, `beginBlock` spins for the few stores that it consists of; it never
// sleeps.
class NoteStateGuard {
 public:
  // What can be asked for; each is a few plain stores. A gate request replaces an earlier opposite one.
  enum Request : std::uint32_t {
    kNone = 0,
    kClearNotes = 1,   // forget held notes and channels
    kAllNotesOff = 2,  // close every gate
    kGateOff = 4,      // gate of the first voice
    kGateOn = 8,
  };

  // Render thread. `apply(bits)` carries out what came in since the last block.
  template <typename Apply>
  void beginBlock(Apply&& apply) noexcept MORV_NONBLOCKING {
    for (int expected = kIdle;
         !state_.compare_exchange_weak(expected, kRendering, std::memory_order_acquire);) {
      expected = kIdle;
    }
    renderThread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    const std::uint32_t bits = pending_.exchange(kNone, std::memory_order_acquire);
    if (bits != kNone) apply(bits);
  }
  void endBlock() noexcept MORV_NONBLOCKING {
    // Forgotten ahead of the state: a thread that rendered once must not take the next block, begun by
    // another thread, for its own.
    renderThread_.store(std::thread::id(), std::memory_order_relaxed);
    state_.store(kIdle, std::memory_order_release);
  }

  // Any thread. `apply(bits)` runs on this thread or on the render thread.
  template <typename Apply>
  void request(std::uint32_t bits, Apply&& apply) noexcept MORV_NONBLOCKING {
    if (state_.load(std::memory_order_relaxed) == kRendering &&
        renderThread_.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
      apply(bits);
      return;
    }
    const std::uint32_t replaced = (bits & (kGateOff | kGateOn)) != 0 ? kGateOff | kGateOn : kNone;
    std::uint32_t before = pending_.load(std::memory_order_relaxed);
    // All in one order over both variables: of two threads that ask at once, either the one that carries out
    // sees the other's bits, or the other sees it idle.
    while (!pending_.compare_exchange_weak(before, (before & ~replaced) | bits)) {
    }
    while (pending_.load() != kNone) {
      int expected = kIdle;
      if (!state_.compare_exchange_strong(expected, kForeign)) return;
      const std::uint32_t taken = pending_.exchange(kNone);
      if (taken != kNone) apply(taken);
      state_.store(kIdle);
    }
  }

 private:
  enum State : int { kIdle, kRendering, kForeign };
  std::atomic<int> state_{kIdle};
  std::atomic<std::uint32_t> pending_{kNone};
  std::atomic<std::thread::id> renderThread_{};
};

}  // namespace morv
