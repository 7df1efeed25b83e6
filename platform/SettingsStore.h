#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <variant>

#include "platform/Export.h"

namespace morv {

// Typed settings by key, kept in memory. A key that was never set reads as false, 0, 0.0 or an empty string;
// a value of one kind reads as another by the plain conversion (a bool as 0 or 1, a number as whether it is
// not 0, a real cut towards 0; a string only as a string, else as the missing value).
//
// Any thread but the render thread.
class MORV_EXPORT SettingsStore {
 public:
  using Value = std::variant<bool, std::int64_t, double, std::string>;
  using ObserverToken = std::uint64_t;

  SettingsStore() = default;
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;

  // Each setter tells the observers, on the calling thread and outside the lock, if the value was another
  // one.
  void setBool(const std::string& key, bool value) { set(key, value); }
  void setInteger(const std::string& key, std::int64_t value) { set(key, value); }
  void setDouble(const std::string& key, double value) { set(key, value); }
  void setString(const std::string& key, const std::string& value) { set(key, value); }
  // Forgets the key; it reads as missing again.
  void remove(const std::string& key);

  bool has(const std::string& key) const;
  bool boolForKey(const std::string& key) const;
  std::int64_t integerForKey(const std::string& key) const;
  double doubleForKey(const std::string& key) const;
  std::string stringForKey(const std::string& key) const;

  // Calls `observer` with the key behind each change, until removed. A removal does not wait for a call that
  // is under way on another thread.
  ObserverToken addObserver(std::function<void(const std::string& key)> observer);
  void removeObserver(ObserverToken token);

 private:
  void set(const std::string& key, Value value);
  void tellObservers(const std::string& key);
  Value valueForKey(const std::string& key) const;

  mutable std::mutex mutex_;
  std::map<std::string, Value> values_;
  std::map<ObserverToken, std::function<void(const std::string& key)>> observers_;
  ObserverToken nextToken_ = 1;
};

}  // namespace morv
