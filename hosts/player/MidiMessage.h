#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace morv::player {

// One channel message on its way between threads.
struct MidiMessage {
  std::array<std::uint8_t, 3> bytes{};
  std::uint8_t length = 0;

  std::span<const std::uint8_t> view() const noexcept { return {bytes.data(), length}; }
};

}  // namespace morv::player
