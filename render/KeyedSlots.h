#pragma once

#include <array>
#include <cstddef>

#include "platform/NonBlocking.h"

namespace morv {

// An ordered map from a small key, 0 to Keys - 1, that never allocates. A key outside the range is never
// found, and what is set under it is dropped.
template <typename T, int Keys>
class KeyedSlots {
 public:
  bool empty() const noexcept MORV_NONBLOCKING { return size_ == 0; }
  int size() const noexcept MORV_NONBLOCKING { return size_; }

  // The value under the key, none if it is missing.
  const T* find(int key) const noexcept MORV_NONBLOCKING {
    return inRange(key) && used_[at(key)] ? &values_[at(key)] : nullptr;
  }
  // The value under the key, `missing` if there is none.
  T valueOr(int key, T missing) const noexcept MORV_NONBLOCKING {
    const T* value = find(key);
    return value != nullptr ? *value : missing;
  }
  void set(int key, T value) noexcept MORV_NONBLOCKING {
    if (!inRange(key)) return;
    if (!used_[at(key)]) ++size_;
    used_[at(key)] = true;
    values_[at(key)] = value;
  }
  void erase(int key) noexcept MORV_NONBLOCKING {
    if (!inRange(key) || !used_[at(key)]) return;
    used_[at(key)] = false;
    --size_;
  }
  void clear() noexcept MORV_NONBLOCKING {
    used_.fill(false);
    size_ = 0;
  }
  // Calls visit(key, value) in ascending order of key.
  template <typename Visit>
  void forEach(Visit&& visit) const {
    for (int key = 0; key < Keys; ++key) {
      if (used_[at(key)]) visit(key, values_[at(key)]);
    }
  }

 private:
  static bool inRange(int key) noexcept MORV_NONBLOCKING { return key >= 0 && key < Keys; }
  static std::size_t at(int key) noexcept MORV_NONBLOCKING { return static_cast<std::size_t>(key); }

  std::array<T, static_cast<std::size_t>(Keys)> values_{};
  std::array<bool, static_cast<std::size_t>(Keys)> used_{};
  int size_ = 0;
};

}  // namespace morv
