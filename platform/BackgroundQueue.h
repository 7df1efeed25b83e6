#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "platform/Export.h"

namespace morv {

// Runs work one piece after another, in the order of posting, on a thread of its own: what may take long and
// must keep neither the main queue nor a host waiting. Tasks do not throw.
//
// `post`: any thread but the render thread, tasks included. `waitUntilIdle` and the destructor: any thread
// but the queue's own.
class MORV_EXPORT BackgroundQueue {
 public:
  using Task = std::function<void()>;

  BackgroundQueue();
  // Runs all that waits, and what those tasks post, before it returns.
  ~BackgroundQueue();
  BackgroundQueue(const BackgroundQueue&) = delete;
  BackgroundQueue& operator=(const BackgroundQueue&) = delete;

  void post(Task task);
  // Returns once no task waits or runs.
  void waitUntilIdle();

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  bool isBusy_ = false;
  bool isEnding_ = false;
  std::thread worker_;  // begins last, when all else stands
};

}  // namespace morv
