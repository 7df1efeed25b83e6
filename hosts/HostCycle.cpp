#include "hosts/HostCycle.h"

#include <algorithm>
#include <cmath>

namespace morv {
namespace {

constexpr std::uint8_t kFirstStatus = 0x80;
constexpr std::uint8_t kFirstSystemStatus = 0xF0;

// Bytes of a channel message with this status.
std::size_t lengthOfMessage(std::uint8_t status) noexcept {
  const unsigned type = status & 0xF0U;
  return type == 0xC0 || type == 0xD0 ? 2 : 3;
}

bool isWholeChannelMessage(std::span<const std::uint8_t> message) noexcept {
  if (message.empty() || message[0] < kFirstStatus || message[0] >= kFirstSystemStatus) return false;
  if (message.size() != lengthOfMessage(message[0])) return false;
  return std::all_of(message.begin() + 1, message.end(),
                     [](std::uint8_t byte) { return byte < kFirstStatus; });
}

}  // namespace

void HostCycle::begin(std::uint32_t frames, float* left, float* right) noexcept {
  hasBegun_ = true;
  frames_ = frames;
  done_ = 0;
  left_ = left;
  right_ = right;
}

void HostCycle::addMidi(std::uint32_t frame, std::span<const std::uint8_t> message) noexcept {
  if (!isWholeChannelMessage(message)) return;
  renderUpTo(frame);
  if (eventCount_ == events_.size()) {
    ++droppedEvents_;
    return;
  }
  AURenderEvent& event = events_[eventCount_++];
  const std::uint32_t place = frames_ == 0 ? 0 : std::clamp(frame, done_, frames_ - 1);
  event.MIDI = {nullptr,
                static_cast<AUEventSampleTime>(position_ + (place - done_)),
                AURenderEventMIDI,
                static_cast<std::uint16_t>(message.size()),
                0,
                {}};
  std::copy(message.begin(), message.end(), event.MIDI.data.begin());
}

void HostCycle::addTempo(std::uint32_t frame, double beatsPerMinute) noexcept {
  if (!(beatsPerMinute > 0) || !std::isfinite(beatsPerMinute)) return;
  renderUpTo(frame);
  cutter_.setTempo(beatsPerMinute);
}

// The last block of a cycle is left to `end`, so that nothing at all falls behind it.
void HostCycle::renderUpTo(std::uint32_t frame) noexcept {
  if (frames_ == 0) return;
  const std::uint32_t last = std::min(frame, frames_ - 1);
  const std::uint32_t blockOfFrame = last / HostBlockCutter::kBlockFrames * HostBlockCutter::kBlockFrames;
  if (blockOfFrame > done_) renderPiece(blockOfFrame - done_);
}

void HostCycle::end() noexcept {
  if (done_ < frames_) renderPiece(frames_ - done_);
}

void HostCycle::renderPiece(std::uint32_t frames) noexcept {
  cutter_.render(static_cast<double>(position_), frames, left_ + done_, right_ + done_,
                 std::span(events_.data(), eventCount_));
  eventCount_ = 0;
  position_ += frames;
  done_ += frames;
}

}  // namespace morv
