#include "platform/SettingsStore.h"

#include <type_traits>
#include <utility>
#include <vector>

namespace morv {
namespace {

// Reals beyond the range of the integer end at its limits; what is no number gives 0.
std::int64_t cutToInteger(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (value >= kLimit) return INT64_MAX;
  if (value < -kLimit) return INT64_MIN;
  return value == value ? static_cast<std::int64_t>(value) : 0;
}

// Reads whatever kind the value has as a number.
template <typename Number>
Number numberOf(const SettingsStore::Value& value) {
  return std::visit(
      [](const auto& held) -> Number {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::string>) {
          return Number{};
        } else if constexpr (std::is_same_v<Held, double> && std::is_same_v<Number, std::int64_t>) {
          return cutToInteger(held);
        } else {
          return static_cast<Number>(held);
        }
      },
      value);
}

}  // namespace

void SettingsStore::set(const std::string& key, Value value) {
  {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    if (found != values_.end() && found->second == value) return;
    values_[key] = std::move(value);
  }
  tellObservers(key);
}

void SettingsStore::remove(const std::string& key) {
  {
    const std::lock_guard lock(mutex_);
    if (values_.erase(key) == 0) return;
  }
  tellObservers(key);
}

void SettingsStore::tellObservers(const std::string& key) {
  std::vector<std::function<void(const std::string&)>> called;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [token, observer] : observers_) called.push_back(observer);
  }
  for (const auto& observer : called) observer(key);
}

SettingsStore::Value SettingsStore::valueForKey(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  return found != values_.end() ? found->second : Value{std::string{}};
}

bool SettingsStore::has(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  return values_.count(key) != 0;
}

bool SettingsStore::boolForKey(const std::string& key) const { return numberOf<bool>(valueForKey(key)); }

std::int64_t SettingsStore::integerForKey(const std::string& key) const {
  return numberOf<std::int64_t>(valueForKey(key));
}

double SettingsStore::doubleForKey(const std::string& key) const {
  return numberOf<double>(valueForKey(key));
}

std::string SettingsStore::stringForKey(const std::string& key) const {
  const Value value = valueForKey(key);
  const auto* text = std::get_if<std::string>(&value);
  return text != nullptr ? *text : std::string{};
}

SettingsStore::ObserverToken SettingsStore::addObserver(
    std::function<void(const std::string& key)> observer) {
  const std::lock_guard lock(mutex_);
  observers_.emplace(nextToken_, std::move(observer));
  return nextToken_++;
}

void SettingsStore::removeObserver(ObserverToken token) {
  const std::lock_guard lock(mutex_);
  observers_.erase(token);
}

}  // namespace morv
