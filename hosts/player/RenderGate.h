#pragma once

#include <atomic>

#include "platform/NonBlocking.h"

namespace morv::player {

// Keeps a render thread out of what the main thread is rebuilding. The render thread never waits: it asks and
// is let in or not. The main thread waits until the cycle that is under way, if any, has ended.
class RenderGate {
 public:
  // Closed at the start.
  RenderGate() = default;
  RenderGate(const RenderGate&) = delete;
  RenderGate& operator=(const RenderGate&) = delete;

  // Render thread. True: the thread is inside until it leaves; false: it stays outside, and does not leave.
  bool enter() noexcept MORV_NONBLOCKING {
    isInside_.store(true);
    if (isOpen_.load()) return true;
    isInside_.store(false);
    return false;
  }
  void leave() noexcept MORV_NONBLOCKING { isInside_.store(false); }

  // Main thread. Behind `close` nobody is inside, and whoever entered before has left.
  void open() noexcept { isOpen_.store(true); }
  void close() noexcept;

 private:
  // Both are written before the other one is read, in one order for both threads, so that at least one of
  // them sees the other.
  std::atomic<bool> isOpen_{false};
  std::atomic<bool> isInside_{false};
};

}  // namespace morv::player
