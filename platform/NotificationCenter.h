#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/Export.h"
#include "platform/MainQueue.h"

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
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  Token addObserver(const std::string& name, Observer observer);
  // The queue outlives the last notification of the name.
  Token addObserver(const std::string& name, MainQueue& queue, Observer observer);
  // From now on no call begins, not even one that waits in a queue. Does not wait for one that is under way
  // on another thread. A token that is gone is no error.
  void removeObserver(Token token);

  void post(const std::string& name);

 private:
  struct Entry {
    std::string name;
    Observer observer;
    MainQueue* queue = nullptr;
  };
  // Outlives the centre while calls wait in a queue.
  struct Registry {
    std::mutex mutex;
    std::map<Token, Entry> entries;
    Token next = 1;
  };
  Token add(Entry entry);
  static void call(Registry& registry, Token token);

  std::shared_ptr<Registry> registry_;
};

}  // namespace morv
