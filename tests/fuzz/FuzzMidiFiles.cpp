// MIDI files: refused with a reason, or read into messages that are whole, in order and at times that are
// numbers.

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "hosts/cli/MidiFile.h"
#include "hosts/cli/Score.h"
#include "tests/fuzz/FuzzedUnit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr double kRateHz = 48000;
  constexpr std::uint32_t kFrames = 64;
  const auto file = morv::cli::MidiFile::parse({bytes, size});
  if (!file.ok()) {
    if (file.reason().empty()) morv::failFuzzing("refused without a reason");
    return 0;
  }
  double last = 0;
  for (const auto& event : file.value().events()) {
    if (!std::isfinite(event.seconds) || event.seconds < last) morv::failFuzzing("events are out of order");
    last = event.seconds;
    const bool isTwoBytes = (event.data[0] & 0xE0U) == 0xC0U;
    if (event.length != (isTwoBytes ? 2 : 3) || event.data[0] < 0x80 || event.data[0] >= 0xF0 ||
        event.data[1] >= 0x80 || event.data[2] >= 0x80) {
      morv::failFuzzing("a message is not whole");
    }
  }
  for (const auto& change : file.value().tempoChanges()) {
    if (!std::isfinite(change.tempo) || change.tempo <= 0) morv::failFuzzing("a tempo is no tempo");
  }
  morv::cli::Score score(file.value(), kRateHz);
  score.lengthInFrames({}, 1, kFrames);
  score.takeEvents(static_cast<morv::AUEventSampleTime>(kRateHz));
  return 0;
}
