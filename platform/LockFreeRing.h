#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv {

// Bounded queue of small records from any number of writers to one reader, without a lock or an allocation.
// Each cell has a sequence number (Vyukov's scheme): a writer claims a cell by moving the head, fills it and
// publishes it by its number; the reader waits for no one, it stops at the first cell not yet published.
template <typename Record, std::size_t Capacity>
class LockFreeRing {
 public:
  static constexpr std::size_t kCapacity = Capacity;

  LockFreeRing() noexcept {
    for (std::size_t i = 0; i < Capacity; ++i) cells_[i].sequence.store(i, std::memory_order_relaxed);
  }
  LockFreeRing(const LockFreeRing&) = delete;
  LockFreeRing& operator=(const LockFreeRing&) = delete;

  // False when the ring is full; the record is lost then. Any thread.
  bool push(const Record& record) noexcept MORV_NONBLOCKING {
    std::uint64_t position = head_.load(std::memory_order_relaxed);
    for (;;) {
      Cell& cell = cells_[position % Capacity];
      const std::uint64_t sequence = cell.sequence.load(std::memory_order_acquire);
      if (sequence == position) {
        if (head_.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) {
          cell.record = record;
          cell.sequence.store(position + 1, std::memory_order_release);
          return true;
        }
      } else if (sequence < position) {
        return false;
      } else {
        position = head_.load(std::memory_order_relaxed);
      }
    }
  }

  // Takes the oldest record. False when there is none. One thread.
  bool take(Record* record) noexcept MORV_NONBLOCKING {
    Cell& cell = cells_[tail_ % Capacity];
    if (cell.sequence.load(std::memory_order_acquire) != tail_ + 1) return false;
    *record = cell.record;
    cell.sequence.store(tail_ + Capacity, std::memory_order_release);
    ++tail_;
    return true;
  }

  // Whether half of the cells or more hold records that nobody has taken, as far as others have come
  // meanwhile. Any thread.
  bool isHalfFull() const noexcept MORV_NONBLOCKING {
    const std::uint64_t ahead = head_.load(std::memory_order_relaxed) + Capacity / 2;
    return cells_[ahead % Capacity].sequence.load(std::memory_order_relaxed) < ahead;
  }

 private:
  struct Cell {
    std::atomic<std::uint64_t> sequence{0};
    Record record;
  };

  std::array<Cell, Capacity> cells_;
  std::atomic<std::uint64_t> head_{0};
  std::uint64_t tail_ = 0;
};

}  // namespace morv
