#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "hosts/cli/TempoMap.h"
#include "platform/Result.h"

namespace morv::cli {

// A Standard MIDI File, format 0 or 1, as one list of timed channel messages.
//
// Read are channel messages (running status too), tempo changes and ends of tracks. Other meta events, system
// exclusive messages, escapes and chunks of other kinds are skipped. Refused, with a reason: what is no such
// file, format 2, fewer tracks than promised, chunks that claim more bytes than there are, tracks that do not
// end with an end-of-track event inside their chunk, bytes that are no message.
class MidiFile {
 public:
  struct Event {
    double seconds = 0;
    std::uint16_t length = 0;            // bytes of the message, 2 or 3
    std::array<std::uint8_t, 3> data{};  // status first
  };

  // Reads a file. The reason names it.
  static Result<MidiFile> read(const std::string& path);
  // Reads a file's bytes.
  static Result<MidiFile> parse(std::span<const std::uint8_t> bytes);

  // In time order; of one time, track by track, each in its own order.
  const std::vector<Event>& events() const noexcept { return events_; }
  // In time order, the first at 0 seconds.
  const std::vector<TempoMap::Change>& tempoChanges() const noexcept { return tempoChanges_; }

 private:
  MidiFile() = default;

  std::vector<Event> events_;
  std::vector<TempoMap::Change> tempoChanges_;
};

}  // namespace morv::cli
