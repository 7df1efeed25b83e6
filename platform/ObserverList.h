#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace morv {

// Those who want to hear of something, in the order in which they came: the one way in which settings,
// notifications and parameters keep and call their observers.
//
// They are called on the thread that tells, with no lock held, so that they may tell, come and go meanwhile,
// and one may be in several calls at a time. Whoever is removed is not called any more, not even by a round
// that is under way. A removal returns when every call of that observer on another thread has ended, and the
// observer with all that it owns is destroyed by then; the one exception is a removal from inside a call of
// the observer itself, which waits for the calls of other threads alone: that observer dies behind its last
// call. So whoever removes holds nothing that the observer waits for, and two observers do not remove one
// another at the same time.
//
// All operations: any thread but the render thread; `isEmpty` and, while it is true, `forEach` there too.
template <typename Observer>
class ObserverList {
 public:
  using Token = std::uint64_t;

  ObserverList() = default;
  // No call is under way.
  ~ObserverList() = default;
  ObserverList(const ObserverList&) = delete;
  ObserverList& operator=(const ObserverList&) = delete;

  Token add(Observer observer) {
    auto entry = std::make_shared<Entry>(std::move(observer));
    const std::scoped_lock lock(mutex_);
    entry->token = nextToken_;
    entries_.push_back(std::move(entry));
    isEmpty_ = false;
    return nextToken_++;
  }

  // A token that is gone is no error. Allocates nothing.
  void remove(Token token) {
    std::optional<Observer> dying;  // behind the lock, for its end may use the list
    std::unique_lock lock(mutex_);
    const auto found = firstFrom(token);
    if (found == entries_.end() || (*found)->token != token) return;
    const std::shared_ptr<Entry> entry = std::move(*found);
    entries_.erase(found);
    isEmpty_ = entries_.empty();
    entry->isGone = true;
    entry->isAwaited = true;
    const auto isSelf = [self = std::this_thread::get_id()](std::thread::id each) { return each == self; };
    callEnded_.wait(lock, [&] { return std::all_of(entry->callers.begin(), entry->callers.end(), isSelf); });
    entry->isAwaited = false;
    if (entry->callers.empty()) dying.swap(entry->observer);
  }

  // Removes all.
  void clear() {
    while (!isEmpty_) remove(firstToken());
  }

  bool isEmpty() const noexcept { return isEmpty_; }

  // Calls `use(token, observer)` for each that is there at the beginning and still there when its turn comes.
  template <typename Use>
  void forEach(const Use& use) const {
    if (!isEmpty_) forAll(1, nextToken(), use);
  }

  // The same for the one of that token, if it is there.
  template <typename Use>
  void forOne(Token token, const Use& use) const {
    forAll(token, token + 1, use);
  }

 private:
  struct Entry {
    explicit Entry(Observer itsObserver) : observer(std::move(itsObserver)) {}
    Token token = 0;
    std::optional<Observer> observer;      // until it dies
    std::vector<std::thread::id> callers;  // one for each call that is under way
    bool isGone = false;
    bool isAwaited = false;  // by a removal, which lets the observer die itself
  };

  // A call of the first observer whose token lies in a range, if there is one. It ends even if the observer
  // breaks the rule and throws.
  class Call {
   public:
    Call(const ObserverList& list, Token from, Token end) : list_(list) {
      const std::scoped_lock lock(list_.mutex_);
      const auto found = list_.firstFrom(from);
      if (found == list_.entries_.end() || (*found)->token >= end) return;
      (*found)->callers.push_back(std::this_thread::get_id());
      entry_ = *found;
    }
    ~Call() {
      if (entry_ == nullptr) return;
      std::optional<Observer> dying;
      const std::scoped_lock lock(list_.mutex_);
      std::vector<std::thread::id>& callers = entry_->callers;
      callers.erase(std::find(callers.begin(), callers.end(), std::this_thread::get_id()));
      if (entry_->isGone && !entry_->isAwaited && callers.empty()) dying.swap(entry_->observer);
      list_.callEnded_.notify_all();
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    const Entry* entry() const noexcept { return entry_.get(); }

   private:
    const ObserverList& list_;
    std::shared_ptr<Entry> entry_;
  };

  template <typename Use>
  void forAll(Token from, Token end, const Use& use) const {
    for (;;) {
      const Call call(*this, from, end);
      if (call.entry() == nullptr) return;
      use(call.entry()->token, *call.entry()->observer);
      from = call.entry()->token + 1;
    }
  }
  // Under the lock.
  auto firstFrom(Token token) const {
    return std::find_if(entries_.begin(), entries_.end(),
                        [token](const auto& each) { return each->token >= token; });
  }
  Token firstToken() const {
    const std::scoped_lock lock(mutex_);
    return entries_.empty() ? 0 : entries_.front()->token;
  }
  Token nextToken() const {
    const std::scoped_lock lock(mutex_);
    return nextToken_;
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable callEnded_;
  std::vector<std::shared_ptr<Entry>> entries_;  // by token
  std::atomic<bool> isEmpty_{true};
  Token nextToken_ = 1;
};

}  // namespace morv
