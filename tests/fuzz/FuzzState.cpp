// States: refused, or loaded with each value in its range and a sound of numbers; what is saved loads again.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "platform/PropertyList.h"
#include "tests/fuzz/FuzzedUnit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::uint32_t kFrames = 64;
  constexpr int kBlocks = 4;
  static morv::FuzzedUnit fuzzed;
  const auto state = morv::readPropertyList({reinterpret_cast<const char*>(bytes), size});
  if (!state || state.value().dictionary() == nullptr) return 0;
  fuzzed.beginInput();
  try {
    fuzzed.unit().setFullState(state.value().dictionary());
  } catch (const std::invalid_argument&) {
  }
  fuzzed.expectValuesInRange();
  morv::AURenderEvent note{};
  note.MIDI = {
      nullptr,        static_cast<morv::AUEventSampleTime>(fuzzed.now()), morv::AURenderEventMIDI, 3, 0,
      {0x90, 60, 100}};
  for (int block = 0; block < kBlocks; ++block) fuzzed.render(kFrames, block == 0 ? &note : nullptr);
  const auto saved = morv::writePropertyList(fuzzed.unit().fullState());
  if (saved.ok() && !morv::readPropertyList(saved.value()).ok())
    morv::failFuzzing("a saved state is refused");
  return 0;
}
