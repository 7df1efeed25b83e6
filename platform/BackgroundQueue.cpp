#include "platform/BackgroundQueue.h"

#include <utility>

namespace morv {

BackgroundQueue::BackgroundQueue() : worker_([this] { run(); }) {}

BackgroundQueue::~BackgroundQueue() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  worker_.join();
}

void BackgroundQueue::post(Task task) {
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  changed_.notify_all();
}

void BackgroundQueue::waitUntilIdle() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return tasks_.empty() && !isBusy_; });
}

void BackgroundQueue::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return !tasks_.empty() || isEnding_; });
    if (tasks_.empty()) return;
    {
      const Task task = std::move(tasks_.front());
      tasks_.pop_front();
      isBusy_ = true;
      lock.unlock();
      task();
    }
    lock.lock();
    isBusy_ = false;
    changed_.notify_all();
  }
}

}  // namespace morv
