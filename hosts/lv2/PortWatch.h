#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "hosts/lv2/ControlPort.h"
#include "platform/NonBlocking.h"
#include "platform/Relaxed.h"

namespace morv::lv2 {

// Turns what a host does with its control ports into values for the unit. A port counts when it moves: the
// unit's value may be another one meanwhile (a program change, a mapped controller), and a port that stands
// still leaves it.
//
// A host that restores a session brings a state and sets the ports, in either order. The state knows best, so
// a port that arrives at the value which it had when that state was saved is not taken for a move.
//
// Construction and `connect`: not while rendering. `values`: any thread. All else: render thread, or any
// while nothing renders.
class PortWatch {
 public:
  // The ports outlive the watch; each is taken to be at its default.
  explicit PortWatch(std::span<const ControlPort> ports);
  PortWatch(const PortWatch&) = delete;
  PortWatch& operator=(const PortWatch&) = delete;

  // Null for none.
  void connect(std::size_t port, const float* value) noexcept {
    connected_[port] = value != nullptr ? value : &raw_[port];
  }
  // Calls `set` with the index and the value of each port that has moved. What is no number is no move; what
  // is out of range is held in it.
  template <typename Set>
  void collect(Set&& set) noexcept MORV_NONBLOCKING {
    if (!mayHaveMoved()) return;
    for (std::size_t i = 0; i < connected_.size(); ++i) {
      if (*connected_[i] == raw_[i]) continue;
      if (const auto moved = move(i, *connected_[i])) set(i, *moved);
    }
  }
  // Takes note that a state has come that was saved with the ports at these values.
  void expect(std::span<const std::pair<std::uint32_t, float>> values) noexcept MORV_NONBLOCKING;

  // From now on every move is one: the host has had its time to set the ports of that session.
  void endExpectation() noexcept MORV_NONBLOCKING;

  // What the host has set last, by port.
  float value(std::size_t port) const noexcept { return seen_[port]; }

 private:
  // Whether any port holds other bits than before. Nearly always none does, so this looks at all of them
  // without a branch.
  bool mayHaveMoved() const noexcept MORV_NONBLOCKING {
    const float* const* connected = connected_.data();
    const float* raw = raw_.data();
    const std::size_t count = connected_.size();
    std::uint32_t difference = 0;
    for (std::size_t i = 0; i < count; ++i) {
      difference |= std::bit_cast<std::uint32_t>(*connected[i]) ^ std::bit_cast<std::uint32_t>(raw[i]);
    }
    return difference != 0;
  }
  std::optional<float> move(std::size_t port, float raw) noexcept MORV_NONBLOCKING;

  const std::span<const ControlPort> ports_;
  std::vector<const float*> connected_;  // an unconnected one to its own `raw_`
  std::vector<float> raw_;               // as the host gave them
  std::vector<Relaxed<float>> seen_;     // as they count
  std::vector<std::optional<float>> expected_;
};

}  // namespace morv::lv2
