#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/Export.h"
#include "platform/NonBlocking.h"

namespace morv {

// Carries small messages from render threads to the main queue's thread: many writers, one reader, fixed
// size, no lock. A message that finds the ring full is lost.
class MORV_EXPORT RenderMessageRing {
 public:
  struct Message {
    std::int32_t kind = 0;
    std::int32_t value = 0;
  };
  static constexpr std::size_t kCapacity = 256;

  RenderMessageRing() noexcept;
  RenderMessageRing(const RenderMessageRing&) = delete;
  RenderMessageRing& operator=(const RenderMessageRing&) = delete;

  // False when the ring is full. Any thread.
  bool push(Message message) noexcept MORV_NONBLOCKING;
  // Takes the oldest message. False when there is none. One thread.
  bool take(Message* message) noexcept;

 private:
  struct Cell {
    std::atomic<std::uint64_t> sequence{0};
    Message message;
  };

  std::array<Cell, kCapacity> cells_;
  std::atomic<std::uint64_t> head_{0};
  std::uint64_t tail_ = 0;
};

}  // namespace morv
