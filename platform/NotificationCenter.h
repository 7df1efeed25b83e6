#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/Export.h"
#include "platform/MainQueue.h"
#include "platform/ObserverList.h"

namespace morv {

// Tells whoever asked that something of a given name has happened.
//
// All operations: any thread but the render thread, observers included. A plain observer is called on the
// thread that posts, before `post` returns, in the order of registration; no lock is held meanwhile. One with
// a queue is called there, by whoever runs it. Observers do not throw.
class MORV_EXPORT NotificationCenter {
 public:
  using Observer = std::function<void()>;
  using Token = std::uint64_t;

  NotificationCenter();
  // Removes all observers.
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  Token addObserver(const std::string& name, Observer observer);
  // The queue outlives the observer.
  Token addObserver(const std::string& name, MainQueue& queue, Observer observer);
  // From now on no call begins, not even one that waits in a queue, and nothing is posted to the queue any
  // more. Returns when every call of the observer on other threads has ended; ObserverList.h says what that
  // asks of the caller. A token that is gone is no error.
  void removeObserver(Token token);

  void post(const std::string& name);

 private:
  struct Entry {
    std::string name;
    Observer observer;
    MainQueue* queue = nullptr;
  };
  using Entries = ObserverList<Entry>;

  const std::shared_ptr<Entries> entries_;  // outlives the centre while calls wait in a queue
};

}  // namespace morv
