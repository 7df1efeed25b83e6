#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <utility>

#include "platform/Export.h"
#include "platform/NonBlocking.h"
#include "platform/RenderMessageRing.h"

namespace morv {

// Runs work for the rest of the system one piece after another, on whatever thread calls `runDue`: a host
// calls it from its event loop, tests and offline renders turn the clock by hand. It has no thread of its
// own. Tasks and handlers do not throw.
//
// `post`, `postAfter`, `cancel` and the handler operations: any thread but the render thread.
// `postFromRender`: any thread, the render thread above all. `runDue`: one thread, which is then the main
// thread.
class MORV_EXPORT MainQueue {
 public:
  using Task = std::function<void()>;
  using Token = std::uint64_t;

  MainQueue() = default;
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  // Runs the task in the next call of `runDue` that begins from now on.
  Token post(Task task);
  // Runs the task once the clock has moved on by `seconds`; 0 or less is the same as `post`.
  Token postAfter(double seconds, Task task);
  // Drops a task that waits. False when it has begun or was never there.
  bool cancel(Token token);

  // Moves the clock to `now` seconds (never back) and runs, on the calling thread, the handlers of all
  // waiting render messages, then all due tasks in the order of their times, those of one time in the order
  // of their posting. The clock shows each task its own time. A delayed task that a task posts runs in the
  // same call if it falls due; one posted without delay waits for the next call, so that this one ends. Calls
  // from inside a task do nothing.
  void runDue(double now);
  // Whether `runDue(now)` would find something to do: any thread, the render thread too. What is posted
  // meanwhile may show up a moment later.
  bool hasDue(double now) const noexcept MORV_NONBLOCKING;
  // The clock, in seconds; starts at 0.
  double now() const;

  // Gives a new kind of message from a render thread its handler, which runs inside `runDue` with the
  // message's value. The kind is never used again after its removal.
  std::int32_t addRenderHandler(std::function<void(std::int32_t value)> handler);
  void removeRenderHandler(std::int32_t kind);
  // Sends a message to the handler of its kind; without a handler it is dropped. False when the ring is full.
  bool postFromRender(std::int32_t kind, std::int32_t value) noexcept MORV_NONBLOCKING;

 private:
  static constexpr double kNever = std::numeric_limits<double>::infinity();
  struct Entry {
    Task task;
    bool delayed = false;
  };
  Token add(double seconds, Task task);
  void runRenderMessages();
  bool runNextTask(double now, Token firstTokenOfLaterPosts);
  void noteNextDue();

  mutable std::mutex mutex_;
  std::map<std::pair<double, Token>, Entry> tasks_;  // by due time, then by order of posting
  std::map<std::int32_t, std::function<void(std::int32_t)>> renderHandlers_;
  RenderMessageRing renderMessages_;
  Token nextToken_ = 1;
  std::int32_t nextKind_ = 1;
  double now_ = 0;
  bool running_ = false;
  std::atomic<double> nextDue_{kNever};  // of the tasks; changes with them
  std::atomic<std::uint32_t> sentFromRender_{0};
  std::atomic<std::uint32_t> takenFromRender_{0};
};

}  // namespace morv
