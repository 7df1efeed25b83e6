#pragma once

#include <array>
#include <cstddef>

#include "platform/NonBlocking.h"

namespace morv {

// The grid of the arpeggiator and the sequencer: a tick is a thirty-second note, and a step is so many ticks.
// "1/8H" is a dotted eighth; "1/8T" is three ticks, a little longer than a true triplet.
inline constexpr std::array kTicksOfDivision = {32, 16, 8, 6, 4, 3, 2, 1};

// Ticks of a step by the index of the division; 0 for an index outside the table.
constexpr int ticksOfDivision(int index) noexcept MORV_NONBLOCKING {
  if (index < 0 || index >= static_cast<int>(kTicksOfDivision.size())) return 0;
  return kTicksOfDivision[static_cast<std::size_t>(index)];
}

// Length of a tick in seconds; infinite at a tempo of 0.
constexpr double tickSecondsAt(double beatsPerMinute) noexcept MORV_NONBLOCKING {
  return 60.0 / beatsPerMinute / 8.0;
}

}  // namespace morv
