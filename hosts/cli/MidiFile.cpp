#include "hosts/cli/MidiFile.h"

#include <algorithm>

#include "hosts/cli/ByteReader.h"
#include "hosts/cli/InputFile.h"
#include "hosts/cli/MidiTrack.h"

namespace morv::cli {
namespace {

constexpr std::uint32_t kHeaderChunk = 0x4D546864;  // "MThd"
constexpr std::uint32_t kTrackChunk = 0x4D54726B;   // "MTrk"
constexpr std::uint32_t kHeaderBytes = 6;

struct Header {
  int tracks;
  TempoMap clock;
};

// A division is either ticks per quarter note, or a negative frame rate in the high byte with ticks per frame
// in the low one.
Result<TempoMap> clockOfDivision(std::uint32_t division) {
  if ((division & 0x8000U) == 0) {
    if (division == 0) return Failure{"the header promises 0 ticks per quarter note"};
    return TempoMap::ofQuarterNotes(static_cast<int>(division));
  }
  const int frames = 256 - static_cast<int>(division >> 8U);
  const auto ticksPerFrame = static_cast<double>(division & 0xFFU);
  if (ticksPerFrame == 0) return Failure{"the header promises 0 ticks per frame"};
  switch (frames) {
    case 24:
    case 25:
    case 30:
      return TempoMap::ofSeconds(frames * ticksPerFrame);
    case 29:  // drop-frame colour video runs at 30 / 1.001 frames per second
      return TempoMap::ofSeconds(30000.0 / 1001.0 * ticksPerFrame);
    default:
      return Failure{"the header gives a frame rate of " + std::to_string(frames) + ", not 24, 25, 29 or 30"};
  }
}

Result<Header> readHeader(ByteReader& reader) {
  if (reader.remaining() == 0) return Failure{"is empty"};
  if (reader.u32() != kHeaderChunk) return Failure{"is not a Standard MIDI File"};
  const std::uint32_t length = reader.u32();
  const std::uint32_t format = reader.u16();
  const std::uint32_t tracks = reader.u16();
  const std::uint32_t division = reader.u16();
  if (reader.overrun()) return Failure{"ends inside its header"};
  if (length < kHeaderBytes) return Failure{"the header claims " + std::to_string(length) + " bytes, not 6"};
  reader.skip(length - kHeaderBytes);
  if (reader.overrun()) return Failure{"the header claims more bytes than the file has"};
  if (format > 1) {
    return Failure{"is of format " + std::to_string(format) + "; only formats 0 and 1 can be played"};
  }
  if (tracks == 0) return Failure{"holds no track"};
  if (format == 0 && tracks != 1) {
    return Failure{"is of format 0 but promises " + std::to_string(tracks) + " tracks"};
  }
  const auto clock = clockOfDivision(division);
  if (!clock) return clock.failure();
  return Header{static_cast<int>(tracks), *clock};
}

Result<std::vector<MidiTrack>> readTracks(ByteReader& reader, int promised) {
  std::vector<MidiTrack> tracks;
  while (static_cast<int>(tracks.size()) < promised) {
    if (reader.remaining() == 0) {
      return Failure{"promises " + std::to_string(promised) + " tracks but ends behind " +
                     std::to_string(tracks.size())};
    }
    const std::size_t chunkStart = reader.offset();
    const std::uint32_t kind = reader.u32();
    const std::uint32_t length = reader.u32();
    if (reader.overrun())
      return Failure{"ends inside the chunk header at byte " + std::to_string(chunkStart)};
    const std::size_t end = reader.offset() + reader.remaining();
    const bool lies = length > reader.remaining();
    const ByteReader content = reader.part(length);
    const int number = static_cast<int>(tracks.size()) + 1;
    if (lies) {
      const std::string name = kind == kTrackChunk ? "track " + std::to_string(number)
                                                   : "chunk at byte " + std::to_string(chunkStart);
      return Failure{name + " ends at byte " + std::to_string(end) + " but claims " + std::to_string(length) +
                     " bytes from byte " + std::to_string(chunkStart + 8)};
    }
    if (kind != kTrackChunk) continue;
    auto track = MidiTrack::parse(content, number);
    if (!track) return track.failure();
    tracks.push_back(std::move(*track));
  }
  return tracks;
}

template <typename Record, typename Member>
std::vector<Record> mergedByTick(const std::vector<MidiTrack>& tracks, Member member) {
  std::vector<Record> merged;
  for (const auto& track : tracks) {
    const auto& list = track.*member;
    merged.insert(merged.end(), list.begin(), list.end());
  }
  std::stable_sort(merged.begin(), merged.end(),
                   [](const Record& a, const Record& b) { return a.tick < b.tick; });
  return merged;
}

}  // namespace

Result<MidiFile> MidiFile::read(const std::string& path) {
  const auto bytes = readInputFile(path);
  if (!bytes) return bytes.failure();
  auto file = parse(*bytes);
  if (!file) return Failure{path + ": " + file.reason()};
  return file;
}

Result<MidiFile> MidiFile::parse(std::span<const std::uint8_t> bytes) {
  ByteReader reader(bytes);
  auto header = readHeader(reader);
  if (!header) return header.failure();
  const auto tracks = readTracks(reader, header->tracks);
  if (!tracks) return tracks.failure();

  MidiFile file;
  TempoMap& clock = header->clock;
  for (const auto& tempo : mergedByTick<MidiTrack::Tempo>(*tracks, &MidiTrack::tempos)) {
    clock.addChange(tempo.tick, tempo.microsecondsPerQuarter);
  }
  file.tempoChanges_ = clock.changes();
  for (const auto& message : mergedByTick<MidiTrack::Message>(*tracks, &MidiTrack::messages)) {
    file.events_.push_back({clock.secondsAt(message.tick), message.length, message.data});
  }
  return file;
}

}  // namespace morv::cli
