#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/ObserverList.h"
#include "platform/PropertyListValue.h"
#include "platform/Result.h"

namespace morv {

// Typed settings by key, kept in memory; SettingsSuite keeps them on disk too. A key that was never set reads
// as false, 0, 0.0 or an empty string or array; a value of one kind reads as another by the plain conversion
// (a bool as 0 or 1, a number as whether it is not 0, a real cut towards 0; a string only as a string, an
// array only as an array, else as the missing value).
//
// Any thread but the render thread.
class MORV_EXPORT SettingsStore {
 public:
  using Value = PropertyListValue;
  using ObserverToken = std::uint64_t;
  using Change = std::function<void(std::optional<Value>& value)>;

  SettingsStore() = default;
  virtual ~SettingsStore() = default;
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;

  // Each setter tells the observers, on the calling thread and outside the lock, if the value was another
  // one.
  void setBool(const std::string& key, bool value) { setValue(key, value); }
  void setInteger(const std::string& key, std::int64_t value) { setValue(key, value); }
  void setDouble(const std::string& key, double value) { setValue(key, value); }
  void setString(const std::string& key, const std::string& value) { setValue(key, value); }
  void setStrings(const std::string& key, const std::vector<std::string>& values);
  // Any kind of value: dictionaries, arrays and data too.
  void setValue(const std::string& key, Value value);
  // Forgets the key; it reads as missing again.
  void remove(const std::string& key);

  bool has(const std::string& key) const;
  bool boolForKey(const std::string& key) const;
  std::int64_t integerForKey(const std::string& key) const;
  double doubleForKey(const std::string& key) const;
  std::string stringForKey(const std::string& key) const;
  // The strings of an array; what else stands in it is left out.
  std::vector<std::string> stringsForKey(const std::string& key) const;
  // A copy of what is held, of whatever kind; none for a missing key.
  std::optional<Value> valueForKey(const std::string& key) const;

  // Turns the value of a key, none if it is missing, into another one, or into none, in one step that nobody
  // else's change of the key can fall into. Where settings lie beyond the process, the step is made there at
  // once; it fails with the reason, and then nothing has changed. `change` neither uses the store nor throws.
  virtual Outcome update(const std::string& key, const Change& change);

  // Makes what was set last beyond the process, where there is such a place, and takes up what others have
  // set there meanwhile. In memory alone there is nothing to do.
  virtual Outcome synchronize() { return Done{}; }
  // Takes up what others have set, and no more.
  virtual Outcome refresh() { return Done{}; }

  // Calls `observer` with the key behind each change, until removed.
  ObserverToken addObserver(std::function<void(const std::string& key)> observer);
  // Returns when every call of the observer on other threads has ended; ObserverList.h says what that asks of
  // the caller. A token that is gone is no error.
  void removeObserver(ObserverToken token);

 protected:
  using Values = std::map<std::string, Value>;

  // The keys that were set or removed since the last call, with what they hold now, if anything.
  std::map<std::string, std::optional<Value>> takeChanges();
  // Counts such changes as not taken.
  void returnChanges(const std::map<std::string, std::optional<Value>>& changes);
  bool hasChanges() const;
  // From now on counts all that is held as changed.
  void markAllChanged();
  // Takes over what others have set: all keys but those with changes of our own get these values, or none.
  // Gives the keys that have changed by it; the caller tells the observers.
  std::vector<std::string> adopt(const Value::Dictionary& values);
  // Calls the observers with each key, outside all locks of this object.
  void tellObservers(const std::vector<std::string>& keys);

 private:
  mutable std::mutex mutex_;
  Values values_;
  std::set<std::string> changed_;
  ObserverList<std::function<void(const std::string& key)>> observers_;
};

}  // namespace morv
