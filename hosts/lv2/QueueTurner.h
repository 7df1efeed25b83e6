#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "hosts/lv2/HostFeatures.h"
#include "platform/NonBlocking.h"

namespace morv::lv2 {

// Has a piece of work done off the render thread soon after it was asked for: by the host's worker, or by a
// thread of its own where the host has none.
//
// Construction and destruction: not while rendering. The work runs on the worker's thread, one call at a
// time; a host that renders offline may run it inside `request`. What it throws goes to the host's worker,
// or, without one, to `failed`.
class QueueTurner {
 public:
  using Work = std::function<void()>;
  using Failed = std::function<void(const std::string& reason)>;

  QueueTurner(const LV2_Worker_Schedule* schedule, Work work, Failed failed);
  ~QueueTurner();
  QueueTurner(const QueueTurner&) = delete;
  QueueTurner& operator=(const QueueTurner&) = delete;

  // Render thread. Asking again before the work has begun changes nothing.
  void request() noexcept MORV_NONBLOCKING;
  // The same for a render thread that may wait, since nobody listens: without a worker the work is done here
  // and now, for time runs faster than any thread of ours looks.
  void requestOffline() noexcept;
  // Asks anew if need be: a host may have dropped what it was asked for. Not while rendering.
  void forget() noexcept { isRequested_ = false; }
  // What the host's worker calls.
  void runRequested();

 private:
  void runGuarded() noexcept;

  const LV2_Worker_Schedule* const schedule_;
  const Work work_;
  const Failed failed_;
  std::atomic<bool> isRequested_{false};
  std::atomic<bool> isEnding_{false};
  std::thread thread_;  // begins last, when all else stands
};

}  // namespace morv::lv2
