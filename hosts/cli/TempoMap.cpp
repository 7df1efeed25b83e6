#include "hosts/cli/TempoMap.h"

#include <algorithm>

namespace morv::cli {
namespace {

constexpr std::uint32_t kDefaultMicrosecondsPerQuarter = 500000;
constexpr double kMicrosecondsPerMinute = 60e6;
constexpr double kMicrosecondsPerSecond = 1e6;

}  // namespace

TempoMap::TempoMap(double ticksPerUnit, bool ofQuarters)
    : segments_{{0, 0.0, kDefaultMicrosecondsPerQuarter}},
      ticksPerUnit_(ticksPerUnit),
      ofQuarters_(ofQuarters) {}

TempoMap TempoMap::ofQuarterNotes(int ticksPerQuarter) { return TempoMap(ticksPerQuarter, true); }

TempoMap TempoMap::ofSeconds(double ticksPerSecond) { return TempoMap(ticksPerSecond, false); }

void TempoMap::addChange(std::int64_t tick, std::uint32_t microsecondsPerQuarter) {
  const double before = microsecondTicksAt(tick);
  if (segments_.back().firstTick == tick) segments_.pop_back();
  segments_.push_back({tick, before, microsecondsPerQuarter});
}

// The sum stays whole, and so exact, up to 2^53; one division at the end makes seconds of it.
double TempoMap::microsecondTicksAt(std::int64_t tick) const {
  const auto later = std::upper_bound(
      segments_.begin(), segments_.end(), tick,
      [](std::int64_t wanted, const Segment& segment) { return wanted < segment.firstTick; });
  const Segment& segment = later == segments_.begin() ? *later : *(later - 1);
  return segment.microsecondTicksBefore +
         static_cast<double>(tick - segment.firstTick) * static_cast<double>(segment.microsecondsPerQuarter);
}

double TempoMap::secondsAt(std::int64_t tick) const {
  if (!ofQuarters_) return static_cast<double>(tick) / ticksPerUnit_;
  return microsecondTicksAt(tick) / (kMicrosecondsPerSecond * ticksPerUnit_);
}

std::vector<TempoMap::Change> TempoMap::changes() const {
  std::vector<Change> list;
  list.reserve(segments_.size());
  for (const Segment& segment : segments_) {
    list.push_back({secondsAt(segment.firstTick),
                    kMicrosecondsPerMinute / static_cast<double>(segment.microsecondsPerQuarter)});
  }
  return list;
}

}  // namespace morv::cli
