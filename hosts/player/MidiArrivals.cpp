#include "hosts/player/MidiArrivals.h"

#include <algorithm>

namespace morv::player {

void MidiArrivals::beginCycle(double seconds, std::uint32_t frames, double sampleRateHz) noexcept {
  lastBegin_ = begin_;
  begin_ = seconds;
  frames_ = frames;
  sampleRateHz_ = sampleRateHz;
}

bool MidiArrivals::take(std::uint32_t* frame, MidiMessage* message) noexcept {
  if (frames_ == 0) return false;
  if (!hasWaiting_) hasWaiting_ = ring_.take(&waiting_);
  if (!hasWaiting_ || waiting_.seconds >= begin_) return false;
  const double behind = (waiting_.seconds - lastBegin_) * sampleRateHz_;
  *frame = static_cast<std::uint32_t>(std::clamp(behind, 0.0, static_cast<double>(frames_ - 1)));
  *message = waiting_.message;
  hasWaiting_ = false;
  return true;
}

}  // namespace morv::player
