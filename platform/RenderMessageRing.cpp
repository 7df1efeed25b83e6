#include "platform/RenderMessageRing.h"

namespace morv {

// Bounded queue with a sequence number per cell (Vyukov's scheme): the number tells whether the cell is free
// for the writer of this round or holds a message for the reader.
RenderMessageRing::RenderMessageRing() noexcept {
  for (std::size_t i = 0; i < kCapacity; ++i) cells_[i].sequence.store(i, std::memory_order_relaxed);
}

bool RenderMessageRing::push(Message message) noexcept {
  std::uint64_t position = head_.load(std::memory_order_relaxed);
  for (;;) {
    Cell& cell = cells_[position % kCapacity];
    const std::uint64_t sequence = cell.sequence.load(std::memory_order_acquire);
    if (sequence == position) {
      if (head_.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) {
        cell.message = message;
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

bool RenderMessageRing::take(Message* message) noexcept {
  Cell& cell = cells_[tail_ % kCapacity];
  if (cell.sequence.load(std::memory_order_acquire) != tail_ + 1) return false;
  *message = cell.message;
  cell.sequence.store(tail_ + kCapacity, std::memory_order_release);
  ++tail_;
  return true;
}

}  // namespace morv
