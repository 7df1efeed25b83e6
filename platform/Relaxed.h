#pragma once

#include <atomic>

#include "platform/NonBlocking.h"

namespace morv {

// One plain value that several threads read and write without a lock: each access is a relaxed atomic, so it
// costs what a plain load or store costs and is never torn. It orders nothing else. Any thread.
template <typename T>
class Relaxed {
 public:
  constexpr Relaxed() noexcept = default;
  constexpr Relaxed(T value) noexcept MORV_NONBLOCKING : value_(value) {}
  Relaxed(const Relaxed& other) noexcept MORV_NONBLOCKING : value_(other.load()) {}
  Relaxed& operator=(const Relaxed& other) noexcept MORV_NONBLOCKING {
    store(other.load());
    return *this;
  }
  Relaxed& operator=(T value) noexcept MORV_NONBLOCKING {
    store(value);
    return *this;
  }

  operator T() const noexcept MORV_NONBLOCKING { return load(); }
  T load() const noexcept MORV_NONBLOCKING { return value_.load(std::memory_order_relaxed); }
  void store(T value) noexcept MORV_NONBLOCKING { value_.store(value, std::memory_order_relaxed); }

 private:
  static_assert(std::atomic<T>::is_always_lock_free);
  std::atomic<T> value_{};
};

}  // namespace morv
