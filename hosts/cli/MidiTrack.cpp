#include "hosts/cli/MidiTrack.h"

namespace morv::cli {
namespace {

constexpr std::uint8_t kMeta = 0xFF;
constexpr std::uint8_t kSystemExclusive = 0xF0;
constexpr std::uint8_t kEscape = 0xF7;
constexpr std::uint8_t kMetaEndOfTrack = 0x2F;
constexpr std::uint8_t kMetaTempo = 0x51;

std::string at(std::size_t offset) { return " at byte " + std::to_string(offset); }

// Number of 1 to 4 bytes, seven bits in each, the high bit set on all but the last. None for a longer one.
std::optional<std::uint32_t> variableLength(ByteReader& reader) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) {
    const std::uint8_t byte = reader.u8();
    value = (value << 7U) | (byte & 0x7FU);
    if ((byte & 0x80U) == 0) return value;
  }
  return std::nullopt;
}

}  // namespace

Result<MidiTrack> MidiTrack::parse(ByteReader chunk, int number) {
  const std::string name = "track " + std::to_string(number);
  MidiTrack track;
  while (!track.ended_) {
    const std::size_t start = chunk.offset();
    if (chunk.remaining() == 0) {
      return Failure{name + " ends" + at(start) + " without an end-of-track event"};
    }
    const auto problem = track.readEvent(chunk);
    if (chunk.overrun()) return Failure{name + " ends inside the event" + at(start)};
    if (problem) return Failure{name + ": " + *problem};
  }
  return track;
}

std::optional<std::string> MidiTrack::readEvent(ByteReader& reader) {
  const std::size_t start = reader.offset();
  const auto delta = variableLength(reader);
  if (!delta) return "a time of more than four bytes" + at(start);
  tick_ += *delta;
  if (reader.remaining() == 0) {
    reader.skip(1);
    return std::nullopt;
  }
  if (reader.peek() < 0x80U) {
    if (runningStatus_ == 0) return "a data byte where a status is due" + at(reader.offset());
    return readMessage(reader, runningStatus_);
  }
  const std::size_t statusOffset = reader.offset();
  const std::uint8_t status = reader.u8();
  if (status == kMeta) return readMeta(reader);
  if (status == kSystemExclusive || status == kEscape) {
    runningStatus_ = 0;
    const auto length = variableLength(reader);
    if (!length) return "a length of more than four bytes" + at(statusOffset);
    reader.skip(*length);
    return std::nullopt;
  }
  if (status >= 0xF0U) return "a system message that no file may hold" + at(statusOffset);
  runningStatus_ = status;
  return readMessage(reader, status);
}

std::optional<std::string> MidiTrack::readMeta(ByteReader& reader) {
  const std::size_t start = reader.offset();
  const std::uint8_t type = reader.u8();
  const auto length = variableLength(reader);
  if (!length) return "a length of more than four bytes" + at(start);
  ByteReader content = reader.part(*length);
  if (reader.overrun()) return std::nullopt;
  if (type == kMetaEndOfTrack) {
    ended_ = true;
  } else if (type == kMetaTempo) {
    if (*length != 3) return "a tempo of " + std::to_string(*length) + " bytes" + at(start);
    const std::uint32_t high = content.u8();
    const std::uint32_t tempo = (high << 16U) | content.u16();
    if (tempo == 0) return "a quarter note of no length" + at(start);
    tempos.push_back({tick_, tempo});
  }
  return std::nullopt;
}

std::optional<std::string> MidiTrack::readMessage(ByteReader& reader, std::uint8_t status) {
  const std::uint8_t type = status & 0xF0U;
  const std::uint16_t length = type == 0xC0U || type == 0xD0U ? 2 : 3;
  Message message{tick_, length, {status, 0, 0}};
  for (std::size_t i = 1; i < length; ++i) {
    if (reader.peek() >= 0x80U) return "a status byte where data are due" + at(reader.offset());
    message.data.at(i) = reader.u8();
  }
  if (!reader.overrun()) messages.push_back(message);
  return std::nullopt;
}

}  // namespace morv::cli
