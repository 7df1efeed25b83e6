#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace morv {

// Standard MIDI Files put together byte by byte.
using Bytes = std::vector<std::uint8_t>;

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

inline Bytes bigEndian(std::uint32_t value, int count) {
  Bytes bytes;
  for (int i = count - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  return bytes;
}

inline Bytes chunk(const char* kind, std::uint32_t claimed, const Bytes& content) {
  return Bytes(kind, kind + 4) + bigEndian(claimed, 4) + content;
}

inline Bytes headerChunk(std::uint32_t format, std::uint32_t tracks, std::uint32_t division) {
  return chunk("MThd", 6, bigEndian(format, 2) + bigEndian(tracks, 2) + bigEndian(division, 2));
}

// A track of these events with an end of track behind them.
inline Bytes trackChunk(const Bytes& events) {
  const Bytes content = events + Bytes{0x00, 0xFF, 0x2F, 0x00};
  return chunk("MTrk", static_cast<std::uint32_t>(content.size()), content);
}

// A file of one track, 96 ticks per quarter note unless told.
inline Bytes singleTrack(const Bytes& events, std::uint32_t division = 96) {
  return headerChunk(0, 1, division) + trackChunk(events);
}

}  // namespace morv
