#include "platform/MainQueue.h"

#include <algorithm>

namespace morv {

MainQueue::Token MainQueue::post(Task task) { return add(0, std::move(task)); }

MainQueue::Token MainQueue::postAfter(double seconds, Task task) { return add(seconds, std::move(task)); }

MainQueue::Token MainQueue::add(double seconds, Task task) {
  const std::lock_guard lock(mutex_);
  const bool delayed = seconds > 0;
  const Token token = nextToken_++;
  tasks_.emplace(std::pair(delayed ? now_ + seconds : now_, token), Entry{std::move(task), delayed});
  noteNextDue();
  return token;
}

bool MainQueue::cancel(Token token) {
  decltype(tasks_)::node_type dropped;  // ends behind the lock, for what it owns may use the queue
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(tasks_.begin(), tasks_.end(),
                                  [token](const auto& entry) { return entry.first.second == token; });
  if (found == tasks_.end()) return false;
  dropped = tasks_.extract(found);
  noteNextDue();
  return true;
}

void MainQueue::noteNextDue() {
  nextDue_.store(tasks_.empty() ? kNever : tasks_.begin()->first.first, std::memory_order_relaxed);
}

bool MainQueue::hasDue(double now) const noexcept {
  return nextDue_.load(std::memory_order_relaxed) <= now ||
         sentFromRender_.load(std::memory_order_relaxed) != takenFromRender_.load(std::memory_order_relaxed);
}

void MainQueue::runDue(double now) {
  Token firstTokenOfLaterPosts = 0;
  {
    const std::lock_guard lock(mutex_);
    if (running_) return;
    running_ = true;
    firstTokenOfLaterPosts = nextToken_;
  }
  // Even a task that breaks the rule and throws must not stop the queue for good.
  struct Ending {
    MainQueue& queue;
    double now;
    ~Ending() {
      const std::lock_guard lock(queue.mutex_);
      queue.now_ = std::max(queue.now_, now);
      queue.running_ = false;
    }
  };
  const Ending ending{*this, now};
  runRenderMessages();
  while (runNextTask(now, firstTokenOfLaterPosts)) {
  }
}

bool MainQueue::runNextTask(double now, Token firstTokenOfLaterPosts) {
  Task task;
  {
    const std::lock_guard lock(mutex_);
    const auto end = tasks_.upper_bound(std::pair(std::max(now, now_), UINT64_MAX));
    const auto found = std::find_if(tasks_.begin(), end, [firstTokenOfLaterPosts](const auto& entry) {
      return entry.second.delayed || entry.first.second < firstTokenOfLaterPosts;
    });
    if (found == end) return false;
    now_ = std::max(now_, found->first.first);
    task = std::move(found->second.task);
    tasks_.erase(found);
    noteNextDue();
  }
  task();
  return true;
}

double MainQueue::now() const {
  const std::lock_guard lock(mutex_);
  return now_;
}

std::int32_t MainQueue::addRenderHandler(std::function<void(std::int32_t value)> handler) {
  const std::lock_guard lock(mutex_);
  renderHandlers_.emplace(nextKind_, std::move(handler));
  return nextKind_++;
}

void MainQueue::removeRenderHandler(std::int32_t kind) {
  decltype(renderHandlers_)::node_type removed;  // ends behind the lock
  const std::lock_guard lock(mutex_);
  removed = renderHandlers_.extract(kind);
}

bool MainQueue::postFromRender(std::int32_t kind, std::int32_t value) noexcept {
  if (!renderMessages_.push({kind, value})) return false;
  sentFromRender_.fetch_add(1, std::memory_order_relaxed);
  return true;
}

void MainQueue::runRenderMessages() {
  RenderMessage message;
  for (std::size_t i = 0; i < RenderMessageRing::kCapacity && renderMessages_.take(&message); ++i) {
    takenFromRender_.fetch_add(1, std::memory_order_relaxed);
    std::function<void(std::int32_t)> handler;
    {
      const std::lock_guard lock(mutex_);
      const auto found = renderHandlers_.find(message.kind);
      if (found == renderHandlers_.end()) continue;
      handler = found->second;
    }
    handler(message.value);
  }
}

}  // namespace morv
