#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "hosts/lv2/HostFeatures.h"
#include "platform/NonBlocking.h"

namespace morv::lv2 {

// Has a piece of work done off the render thread soon after it was asked for: by the host's worker, or by a
// thread of its own where the host has none.
//
// Construction and destruction: not while rendering. The work runs on the worker's thread, one call at a
// time; a host that renders offline may run it inside `request`.
class QueueTurner {
 public:
  QueueTurner(const LV2_Worker_Schedule* schedule, std::function<void()> work);
  ~QueueTurner();
  QueueTurner(const QueueTurner&) = delete;
  QueueTurner& operator=(const QueueTurner&) = delete;

  // Render thread. Asking again before the work has begun changes nothing.
  void request() noexcept MORV_NONBLOCKING;
  // Asks anew if need be: a host may have dropped what it was asked for. Not while rendering.
  void forget() noexcept { isRequested_ = false; }
  // What the host's worker calls.
  void runRequested();

 private:
  const LV2_Worker_Schedule* const schedule_;
  const std::function<void()> work_;
  std::atomic<bool> isRequested_{false};
  std::atomic<bool> isEnding_{false};
  std::thread thread_;  // begins last, when all else stands
};

}  // namespace morv::lv2
