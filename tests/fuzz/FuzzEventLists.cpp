// Lists of events of every kind and of none, with any time, any address, and values that are in the range of
// their parameter, as hosts see to it, or no numbers, in blocks of any length.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "tests/fuzz/FuzzedUnit.h"

namespace {

constexpr std::size_t kMostEvents = 32;

morv::AURenderEvent drawEvent(morv::FuzzedBytes& input, double now, std::size_t parameters,
                              morv::FuzzedUnit& fuzzed) {
  morv::AURenderEvent event{};
  const std::uint8_t head = input.byte();
  const auto type = (head & 128U) != 0 ? static_cast<morv::AURenderEventType>(input.byte())
                                       : static_cast<morv::AURenderEventType>(1U << (head & 3U));
  const auto time = (head & 64U) != 0 ? static_cast<morv::AUEventSampleTime>(input.number(8))
                                      : static_cast<morv::AUEventSampleTime>(now) + input.byte();
  if (type == morv::AURenderEventParameter || type == morv::AURenderEventParameterRamp) {
    const morv::AUParameterTree& tree = *fuzzed.unit().parameterTree();
    const std::uint64_t address =
        (head & 32U) != 0 ? input.number(8) : tree.allParameters()[input.number(2) % parameters]->address();
    auto value = std::bit_cast<float>(static_cast<std::uint32_t>(input.number(4)));
    const morv::AUParameter* parameter = tree.parameterWithAddress(address);
    if (parameter != nullptr && std::isfinite(value)) {
      value = std::clamp(value, parameter->minValue(), parameter->maxValue());
    }
    const auto ramp = static_cast<std::uint32_t>(input.number((head & 16U) != 0 ? 4 : 2));
    event.parameter = {nullptr, time, type, ramp, address, value};
  } else {
    event.MIDI = {nullptr, time, type, static_cast<std::uint16_t>(input.byte() % 4), 0, {}};
    for (auto& each : event.MIDI.data) each = input.byte();
  }
  return event;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static morv::FuzzedUnit fuzzed;
  fuzzed.beginInput();
  morv::FuzzedBytes input(bytes, size);
  const std::size_t parameters = fuzzed.unit().parameterTree()->allParameters().size();
  std::array<morv::AURenderEvent, kMostEvents> events{};
  while (!input.isEmpty()) {
    const auto frames = static_cast<std::uint32_t>(input.number(2) % (morv::FuzzedUnit::kMostFrames + 1));
    const std::size_t count = input.byte() % (kMostEvents + 1);
    for (std::size_t i = 0; i < count; ++i) {
      events[i] = drawEvent(input, fuzzed.now(), parameters, fuzzed);
      if (i > 0) events[i - 1].head.next = &events[i];
    }
    fuzzed.render(frames, count > 0 ? events.data() : nullptr);
  }
  return 0;
}
