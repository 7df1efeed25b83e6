#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hosts/cli/ByteReader.h"
#include "platform/Result.h"

namespace morv::cli {

// The events of one track chunk, on the track's own clock.
class MidiTrack {
 public:
  struct Message {
    std::int64_t tick = 0;
    std::uint16_t length = 0;
    std::array<std::uint8_t, 3> data{};
  };
  struct Tempo {
    std::int64_t tick = 0;
    std::uint32_t microsecondsPerQuarter = 0;
  };

  // Reads the bytes of a chunk up to its end-of-track event; `number`, from 1, serves the reasons.
  static Result<MidiTrack> parse(ByteReader chunk, int number);

  std::vector<Message> messages;  // ticks do not fall
  std::vector<Tempo> tempos;      // ticks do not fall

 private:
  std::optional<std::string> readEvent(ByteReader& reader);
  std::optional<std::string> readMeta(ByteReader& reader);
  std::optional<std::string> readMessage(ByteReader& reader, std::uint8_t status);

  std::int64_t tick_ = 0;
  std::uint8_t runningStatus_ = 0;
  bool ended_ = false;
};

}  // namespace morv::cli
