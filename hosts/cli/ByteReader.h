#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace morv::cli {

// Walks big-endian data front to back. Reading past the end gives 0 and marks the reader as overrun, so that
// a whole record can be read before one look at `overrun`.
class ByteReader {
 public:
  // `firstOffset` is where `bytes` begins in the file; it only serves `offset`.
  explicit ByteReader(std::span<const std::uint8_t> bytes, std::size_t firstOffset = 0)
      : bytes_(bytes), firstOffset_(firstOffset) {}

  std::uint8_t u8() {
    if (position_ >= bytes_.size()) {
      overrun_ = true;
      return 0;
    }
    return bytes_[position_++];
  }
  std::uint32_t u16() {
    const std::uint32_t high = u8();
    return (high << 8U) | u8();
  }
  std::uint32_t u32() {
    const std::uint32_t high = u16();
    return (high << 16U) | u16();
  }
  void skip(std::size_t count) {
    if (count > remaining()) {
      overrun_ = true;
      position_ = bytes_.size();
    } else {
      position_ += count;
    }
  }
  // The next `count` bytes as a reader of their own, fewer if the data ends before; then moves behind them.
  ByteReader part(std::size_t count) {
    const std::size_t taken = count < remaining() ? count : remaining();
    const ByteReader inner(bytes_.subspan(position_, taken), offset());
    skip(count);
    return inner;
  }

  // 0 at the end of the data.
  std::uint8_t peek() const { return position_ < bytes_.size() ? bytes_[position_] : std::uint8_t{0}; }
  std::size_t remaining() const { return bytes_.size() - position_; }
  std::size_t offset() const { return firstOffset_ + position_; }
  bool overrun() const { return overrun_; }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t firstOffset_;
  std::size_t position_ = 0;
  bool overrun_ = false;
};

}  // namespace morv::cli
