// Bytes as MIDI messages of one to three bytes, whole or not, anywhere in blocks of 64 frames.
//
// Per message: one byte with the frame (low six bits) and the length (high two, 0 ends the block), then the
// message's bytes.

#include <array>
#include <cstddef>
#include <cstdint>

#include "tests/fuzz/FuzzedUnit.h"

namespace {

constexpr std::uint32_t kFrames = 64;
constexpr std::size_t kMostEvents = 64;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static morv::FuzzedUnit fuzzed;
  fuzzed.beginInput();
  morv::FuzzedBytes input(bytes, size);
  std::array<morv::AURenderEvent, kMostEvents> events{};
  while (!input.isEmpty()) {
    std::size_t count = 0;
    while (count < kMostEvents && !input.isEmpty()) {
      const std::uint8_t head = input.byte();
      const auto length = static_cast<std::uint16_t>(head >> 6U);
      if (length == 0) break;
      morv::AURenderEvent& event = events[count];
      const auto at = static_cast<morv::AUEventSampleTime>(fuzzed.now()) + (head & 63U);
      event.MIDI = {nullptr, at, morv::AURenderEventMIDI, length, 0, {}};
      for (std::size_t i = 0; i < length; ++i) event.MIDI.data[i] = input.byte();
      if (count > 0) events[count - 1].head.next = &event;
      ++count;
    }
    fuzzed.render(kFrames, count > 0 ? events.data() : nullptr);
  }
  fuzzed.expectValuesInRange();
  return 0;
}
