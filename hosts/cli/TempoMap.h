#pragma once

#include <cstdint>
#include <vector>

namespace morv::cli {

// Time and tempo of a score: turns ticks into seconds and tells the tempo at a point in time.
class TempoMap {
 public:
  static constexpr double kDefaultTempo = 120.0;  // beats per minute, until a score says otherwise

  // Ticks count parts of a quarter note, so their length follows the tempo.
  static TempoMap ofQuarterNotes(int ticksPerQuarter);
  // Ticks count parts of a second, whatever the tempo.
  static TempoMap ofSeconds(double ticksPerSecond);

  // Adds a change to `microsecondsPerQuarter` (above 0). Ticks do not fall; of two changes at one tick the
  // later one counts.
  void addChange(std::int64_t tick, std::uint32_t microsecondsPerQuarter);

  double secondsAt(std::int64_t tick) const;

  struct Change {
    double seconds;
    double tempo;  // beats per minute, from there on
  };
  // In time order.
  std::vector<Change> changes() const;

 private:
  struct Segment {
    std::int64_t firstTick;
    double microsecondTicksBefore;  // sum of ticks times microseconds per quarter up to here
    std::uint32_t microsecondsPerQuarter;
  };
  explicit TempoMap(double ticksPerUnit, bool ofQuarters);
  double microsecondTicksAt(std::int64_t tick) const;

  std::vector<Segment> segments_;
  double ticksPerUnit_;  // quarter note or second
  bool ofQuarters_;
};

}  // namespace morv::cli
