#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/Export.h"

namespace morv {

// Those who want to know of changes of an object's properties, by the property's name. The object tells them
// ahead of a change and behind it. One thread, the main thread; observers may come and go inside a call.
class MORV_EXPORT KeyValueObservers {
 public:
  enum class Moment : std::uint8_t { willChange, didChange };
  using Observer = std::function<void(Moment moment)>;
  using Token = std::uint64_t;

  Token add(const std::string& key, Observer observer);
  // A token that is gone is no error.
  void remove(Token token);

  // For the object itself: around each change, in pairs.
  void willChangeValueForKey(const std::string& key) { tell(key, Moment::willChange); }
  void didChangeValueForKey(const std::string& key) { tell(key, Moment::didChange); }

 private:
  struct Entry {
    Token token;
    std::string key;
    Observer observer;
  };
  void tell(const std::string& key, Moment moment);

  std::vector<Entry> entries_;
  Token nextToken_ = 1;
};

}  // namespace morv
