#include "platform/SettingsStore.h"

#include <iterator>
#include <utility>

namespace morv {
namespace {

// Reals beyond the range of the integer end at its limits; what is no number gives 0.
std::int64_t cutToInteger(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (value >= kLimit) return INT64_MAX;
  if (value < -kLimit) return INT64_MIN;
  return value == value ? static_cast<std::int64_t>(value) : 0;
}

}  // namespace

void SettingsStore::setStrings(const std::string& key, const std::vector<std::string>& values) {
  setValue(key, Value::Array(values.begin(), values.end()));
}

void SettingsStore::setValue(const std::string& key, Value value) {
  {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    if (found != values_.end() && found->second == value) return;
    values_.insert_or_assign(key, std::move(value));
    changed_.insert(key);
  }
  tellObservers({key});
}

void SettingsStore::remove(const std::string& key) {
  {
    const std::lock_guard lock(mutex_);
    if (values_.erase(key) == 0) return;
    changed_.insert(key);
  }
  tellObservers({key});
}

Outcome SettingsStore::update(const std::string& key, const Change& change) {
  {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    const std::optional<Value> held = found != values_.end() ? std::optional(found->second) : std::nullopt;
    std::optional<Value> value = held;
    change(value);
    if (value == held) return Done{};
    if (value) {
      values_.insert_or_assign(key, *std::move(value));
    } else {
      values_.erase(found);
    }
    changed_.insert(key);
  }
  tellObservers({key});
  return Done{};
}

void SettingsStore::tellObservers(const std::vector<std::string>& keys) {
  for (const std::string& key : keys) {
    observers_.forEach([&key](ObserverToken, const auto& observer) { observer(key); });
  }
}

std::optional<SettingsStore::Value> SettingsStore::valueForKey(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  return found != values_.end() ? std::optional(found->second) : std::nullopt;
}

bool SettingsStore::has(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  return values_.count(key) != 0;
}

bool SettingsStore::boolForKey(const std::string& key) const { return doubleForKey(key) != 0; }

std::int64_t SettingsStore::integerForKey(const std::string& key) const {
  const auto value = valueForKey(key);
  if (!value) return 0;
  if (const auto integer = value->integer()) return *integer;
  return cutToInteger(value->number().value_or(0));
}

double SettingsStore::doubleForKey(const std::string& key) const {
  const auto value = valueForKey(key);
  return value ? value->number().value_or(0) : 0;
}

std::string SettingsStore::stringForKey(const std::string& key) const {
  const auto value = valueForKey(key);
  return value && value->string() != nullptr ? *value->string() : std::string{};
}

std::vector<std::string> SettingsStore::stringsForKey(const std::string& key) const {
  std::vector<std::string> strings;
  const auto value = valueForKey(key);
  if (!value || value->array() == nullptr) return strings;
  for (const Value& item : *value->array()) {
    if (item.string() != nullptr) strings.push_back(*item.string());
  }
  return strings;
}

std::map<std::string, std::optional<SettingsStore::Value>> SettingsStore::takeChanges() {
  const std::lock_guard lock(mutex_);
  std::map<std::string, std::optional<Value>> changes;
  for (const std::string& key : std::exchange(changed_, {})) {
    const auto found = values_.find(key);
    changes.emplace(key, found != values_.end() ? std::optional(found->second) : std::nullopt);
  }
  return changes;
}

void SettingsStore::returnChanges(const std::map<std::string, std::optional<Value>>& changes) {
  const std::lock_guard lock(mutex_);
  for (const auto& [key, value] : changes) changed_.insert(key);
}

bool SettingsStore::hasChanges() const {
  const std::lock_guard lock(mutex_);
  return !changed_.empty();
}

void SettingsStore::markAllChanged() {
  const std::lock_guard lock(mutex_);
  for (const auto& [key, value] : values_) changed_.insert(key);
}

std::vector<std::string> SettingsStore::adopt(const Value::Dictionary& values) {
  std::vector<std::string> differing;
  {
    const std::lock_guard lock(mutex_);
    for (auto held = values_.begin(); held != values_.end();) {
      const bool isGone = changed_.count(held->first) == 0 && values.find(held->first) == nullptr;
      if (isGone) differing.push_back(held->first);
      held = isGone ? values_.erase(held) : std::next(held);
    }
    for (const auto& [key, value] : values.entries()) {
      const auto held = values_.find(key);
      if (changed_.count(key) != 0 || (held != values_.end() && held->second == value)) continue;
      values_.insert_or_assign(key, value);
      differing.push_back(key);
    }
  }
  return differing;
}

SettingsStore::ObserverToken SettingsStore::addObserver(
    std::function<void(const std::string& key)> observer) {
  return observers_.add(std::move(observer));
}

void SettingsStore::removeObserver(ObserverToken token) { observers_.remove(token); }

}  // namespace morv
