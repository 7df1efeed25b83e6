// MIDI that the unit sends to its host.

#include <array>

#include "unit/ZRAudioUnit.h"

namespace morv {
namespace {

constexpr unsigned kNoteOff = 128;
constexpr unsigned kNoteOn = 144;
constexpr unsigned kController = 176;
constexpr double kNoteSeconds = 0.1;
constexpr std::uint8_t kCable = 0;

std::array<std::uint8_t, 3> message(unsigned status, int first, int second) {
  return {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(first),
          static_cast<std::uint8_t>(second)};
}

}  // namespace

void ZRAudioUnit::outputMIDI(const std::uint8_t* bytes, std::size_t len) {
  if (len > 0 && bytes[0] != 0 && midiOutputEventBlock) {
    midiOutputEventBlock(kEventSampleTimeImmediate, kCable, len, bytes);
  }
  if (ZRAudioUnitDelegate* told = delegate())
    told->auDidSendMIDI(kEventSampleTimeImmediate, kCable, len, bytes);
}

void ZRAudioUnit::outputMIDINote(int note, int velocity) {
  outputMIDI(message(kNoteOn, note, velocity).data(), 3);
  performAfter(kNoteSeconds, [this, note] { resetNoteWith(note); });
}

void ZRAudioUnit::resetNote(int note) { outputMIDI(message(kNoteOff, note, 0).data(), 3); }

void ZRAudioUnit::outputMIDICC(int controller, int value, int channel) {
  outputMIDI(message(kController | static_cast<unsigned>(channel), controller, value).data(), 3);
}

}  // namespace morv
