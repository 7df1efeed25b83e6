#include "hosts/cli/Score.h"

#include <algorithm>
#include <cmath>

namespace morv::cli {
namespace {

// No render gets that far; times beyond it stay countable.
constexpr double kFarthestSample = 9007199254740992.0;  // 2^53

// Items from `from` on whose time lies ahead of `end`.
template <typename Items, typename TimeOf>
auto takeUntil(Items& items, std::size_t* from, AUEventSampleTime end, TimeOf timeOf) {
  const std::size_t first = *from;
  while (*from < items.size() && timeOf(items[*from]) < end) ++*from;
  return std::span(items).subspan(first, *from - first);
}

}  // namespace

AUEventSampleTime Score::sampleAt(double seconds, double sampleRateHz) {
  return std::llround(std::min(seconds * sampleRateHz, kFarthestSample));
}

Score::Score(const MidiFile& file, double sampleRateHz) : sampleRateHz_(sampleRateHz) {
  events_.reserve(file.events().size());
  for (const auto& each : file.events()) {
    AURenderEvent event{};
    event.MIDI = {nullptr,  sampleAt(each.seconds, sampleRateHz), AURenderEventMIDI, each.length, 0,
                  each.data};
    events_.push_back(event);
  }
  if (!file.events().empty()) lastEventSeconds_ = file.events().back().seconds;
  for (const auto& change : file.tempoChanges()) {
    tempoChanges_.push_back({sampleAt(change.seconds, sampleRateHz), change.tempo});
  }
}

void Score::addMove(double seconds, AUParameter* parameter, float value) {
  const Move move{sampleAt(seconds, sampleRateHz_), parameter, value};
  const auto place = std::upper_bound(moves_.begin(), moves_.end(), move, [](const Move& a, const Move& b) {
    return a.sampleTime < b.sampleTime;
  });
  moves_.insert(place, move);
}

std::uint64_t Score::lengthInFrames(std::optional<double> seconds, double tailSeconds,
                                    std::uint32_t blockFrames) const {
  const double length = seconds ? *seconds : lastEventSeconds_ + tailSeconds;
  const auto frames = static_cast<std::uint64_t>(sampleAt(length, sampleRateHz_));
  return (frames + blockFrames - 1) / blockFrames * blockFrames;
}

std::span<AURenderEvent> Score::takeEvents(AUEventSampleTime end) {
  return takeUntil(events_, &nextEvent_, end,
                   [](const AURenderEvent& event) { return event.head.eventSampleTime; });
}

std::span<const Score::Move> Score::takeMoves(AUEventSampleTime end) {
  return takeUntil(moves_, &nextMove_, end, [](const Move& move) { return move.sampleTime; });
}

double Score::tempoAt(AUEventSampleTime sample) {
  while (tempoIndex_ + 1 < tempoChanges_.size() && tempoChanges_[tempoIndex_ + 1].sampleTime <= sample) {
    ++tempoIndex_;
  }
  return tempoChanges_[tempoIndex_].tempo;
}

}  // namespace morv::cli
