#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/NonBlocking.h"

namespace morv {

// A list that never allocates, in the order in which elements came. Appending to a full list drops its oldest
// element, so that what is newest is always there.
template <typename T, std::size_t Capacity>
class FixedList {
 public:
  bool empty() const noexcept MORV_NONBLOCKING { return size_ == 0; }
  std::size_t size() const noexcept MORV_NONBLOCKING { return size_; }
  static constexpr std::size_t capacity() noexcept { return Capacity; }
  T& operator[](std::size_t i) noexcept MORV_NONBLOCKING { return items_[i]; }
  const T& operator[](std::size_t i) const noexcept MORV_NONBLOCKING { return items_[i]; }
  T& front() noexcept MORV_NONBLOCKING { return items_[0]; }
  T& back() noexcept MORV_NONBLOCKING { return items_[size_ - 1]; }
  const T& back() const noexcept MORV_NONBLOCKING { return items_[size_ - 1]; }
  T* begin() noexcept MORV_NONBLOCKING { return items_.data(); }
  T* end() noexcept MORV_NONBLOCKING { return items_.data() + size_; }
  const T* begin() const noexcept MORV_NONBLOCKING { return items_.data(); }
  const T* end() const noexcept MORV_NONBLOCKING { return items_.data() + size_; }

  void append(const T& item) noexcept MORV_NONBLOCKING {
    if (size_ == Capacity) erase(0);
    items_[size_++] = item;
  }
  void erase(std::size_t i) noexcept MORV_NONBLOCKING {
    std::move(items_.begin() + static_cast<std::ptrdiff_t>(i) + 1,
              items_.begin() + static_cast<std::ptrdiff_t>(size_),
              items_.begin() + static_cast<std::ptrdiff_t>(i));
    --size_;
  }
  void dropLast() noexcept MORV_NONBLOCKING {
    if (size_ > 0) --size_;
  }
  void clear() noexcept MORV_NONBLOCKING { size_ = 0; }
  bool contains(const T& item) const noexcept MORV_NONBLOCKING {
    return std::find(begin(), end(), item) != end();
  }
  // Removes every element for which the test holds.
  template <typename Test>
  void eraseIf(Test&& test) noexcept MORV_NONBLOCKING {
    size_ = static_cast<std::size_t>(std::remove_if(begin(), end(), test) - begin());
  }
  // Walks by index and erases each match, going on at the next index: of two matches side by side the second
  // stays.
  template <typename Test>
  void eraseWalking(Test&& test) noexcept MORV_NONBLOCKING {
    for (std::size_t i = 0; i < size_; ++i) {
      if (test(items_[i])) erase(i);
    }
  }
  // Stable, by insertion: the list is nearly in order whenever it is sorted.
  template <typename Less>
  void sort(Less&& less) noexcept MORV_NONBLOCKING {
    for (std::size_t i = 1; i < size_; ++i) {
      const T item = items_[i];
      std::size_t at = i;
      for (; at > 0 && less(item, items_[at - 1]); --at) items_[at] = items_[at - 1];
      items_[at] = item;
    }
  }

 private:
  std::array<T, Capacity> items_{};
  std::size_t size_ = 0;
};

}  // namespace morv
