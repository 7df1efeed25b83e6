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
    const std::scoped_lock lock(mutex_);
    auto entries = std::make_shared<Entries>(*entries_);
    entries->push_back(std::make_shared<Entry>(nextToken_, std::move(observer)));
    entries_ = std::move(entries);
    isEmpty_ = false;
    return nextToken_++;
  }

  // A token that is gone is no error.
  void remove(Token token) {
    std::optional<Observer> dying;  // behind the lock, for its end may use the list
    std::unique_lock lock(mutex_);
    const std::shared_ptr<Entry> entry = find(*entries_, token);
    if (entry == nullptr) return;
    auto entries = std::make_shared<Entries>(*entries_);
    std::erase(*entries, entry);
    isEmpty_ = entries->empty();
    entries_ = std::move(entries);
    entry->isGone = true;
    entry->isAwaited = true;
    const auto self = std::this_thread::get_id();
    const auto isSelf = [self](std::thread::id each) { return each == self; };
    callEnded_.wait(lock, [&] { return std::all_of(entry->callers.begin(), entry->callers.end(), isSelf); });
    entry->isAwaited = false;
    if (entry->callers.empty()) dying.swap(entry->observer);
  }

  // Removes all.
  void clear() {
    while (const auto first = firstToken()) remove(*first);
  }

  bool isEmpty() const noexcept { return isEmpty_; }

  // Calls `use(token, observer)` for each that is there at the beginning and still there when its turn comes.
  template <typename Use>
  void forEach(const Use& use) const {
    if (isEmpty_) return;
    const std::shared_ptr<const Entries> told = entries();
    for (const std::shared_ptr<Entry>& each : *told) call(*each, use);
  }

  // The same for the one of that token, if it is there.
  template <typename Use>
  void forOne(Token token, const Use& use) const {
    if (const std::shared_ptr<Entry> entry = find(*entries(), token)) call(*entry, use);
  }

 private:
  struct Entry {
    Entry(Token itsToken, Observer itsObserver) : token(itsToken), observer(std::move(itsObserver)) {}
    const Token token;
    std::optional<Observer> observer;      // until it dies
    std::vector<std::thread::id> callers;  // one for each call that is under way
    bool isGone = false;
    bool isAwaited = false;  // by a removal, which lets the observer die itself
  };
  using Entries = std::vector<std::shared_ptr<Entry>>;

  // One call of an observer, ended even if the observer breaks the rule and throws.
  class Call {
   public:
    Call(const ObserverList& list, Entry& entry) : list_(list), entry_(entry) {
      const std::scoped_lock lock(list_.mutex_);
      if (entry_.isGone) return;
      entry_.callers.push_back(std::this_thread::get_id());
      isOn_ = true;
    }
    ~Call() {
      if (!isOn_) return;
      std::optional<Observer> dying;
      const std::scoped_lock lock(list_.mutex_);
      std::vector<std::thread::id>& callers = entry_.callers;
      callers.erase(std::find(callers.begin(), callers.end(), std::this_thread::get_id()));
      if (entry_.isGone && !entry_.isAwaited && callers.empty()) dying.swap(entry_.observer);
      list_.callEnded_.notify_all();
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    bool isOn() const noexcept { return isOn_; }

   private:
    const ObserverList& list_;
    Entry& entry_;
    bool isOn_ = false;
  };

  template <typename Use>
  void call(Entry& entry, const Use& use) const {
    const Call call(*this, entry);
    if (call.isOn()) use(entry.token, std::as_const(*entry.observer));
  }
  std::shared_ptr<const Entries> entries() const {
    const std::scoped_lock lock(mutex_);
    return entries_;
  }
  std::optional<Token> firstToken() const {
    const auto all = entries();
    return all->empty() ? std::nullopt : std::optional(all->front()->token);
  }
  static std::shared_ptr<Entry> find(const Entries& entries, Token token) {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [token](const auto& each) { return each->token == token; });
    return found != entries.end() ? *found : nullptr;
  }

  mutable std::mutex mutex_;
  mutable std::condition_variable callEnded_;
  std::shared_ptr<const Entries> entries_ = std::make_shared<const Entries>();  // replaced, never changed
  std::atomic<bool> isEmpty_{true};
  Token nextToken_ = 1;
};

}  // namespace morv
