#pragma once

#include <atomic>

namespace morv {

// One plain value that several threads read and write without a lock: each access is a relaxed atomic, so it
// costs what a plain load or store costs and is never torn. It orders nothing else. Any thread.
template <typename T>
class Relaxed {
 public:
  constexpr Relaxed() noexcept = default;
  constexpr Relaxed(T value) noexcept : value_(value) {}
  Relaxed(const Relaxed& other) noexcept : value_(other.load()) {}
  Relaxed& operator=(const Relaxed& other) noexcept {
    store(other.load());
    return *this;
  }
  Relaxed& operator=(T value) noexcept {
    store(value);
    return *this;
  }

  operator T() const noexcept { return load(); }
  T load() const noexcept { return value_.load(std::memory_order_relaxed); }
  void store(T value) noexcept { value_.store(value, std::memory_order_relaxed); }

 private:
  static_assert(std::atomic<T>::is_always_lock_free);
  std::atomic<T> value_{};
};

}  // namespace morv
