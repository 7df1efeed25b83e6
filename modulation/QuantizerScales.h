#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>

#include "platform/NonBlocking.h"

namespace morv {

// The scales that both quantisers draw on, in semitones from the root, within one octave.
inline constexpr std::array refScaleDiatonic = {0, 2, 4, 5, 7, 9, 11};
inline constexpr std::array refScaleHarmonic = {0, 2, 3, 5, 7, 8, 11};
inline constexpr std::array refScaleMelodic = {0, 2, 3, 5, 7, 9, 11};
inline constexpr std::array refScaleMajBlues = {0, 2, 3, 4, 7, 9};
inline constexpr std::array refScaleMinBlues = {0, 3, 5, 6, 7, 10};
inline constexpr std::array refScaleMajThird = {0, 4, 8};
inline constexpr std::array refScaleMinThird = {0, 3, 6, 9};
inline constexpr std::array refScaleFifth = {0, 7};
inline constexpr std::array refScaleWholeTone = {0, 2, 4, 6, 8, 10};
inline constexpr std::array refScaleOctatonic = {0, 1, 3, 4, 6, 7, 9, 10};
inline constexpr std::array refScaleMajPentatonic = {0, 2, 4, 7, 9};
inline constexpr std::array refScaleMinPentatonic = {0, 3, 5, 7, 10};
inline constexpr std::array refScaleArabic = {0, 1, 4, 5, 7, 8, 11};
inline constexpr std::array refScaleSpanish = {0, 1, 4, 5, 7, 8, 10};
inline constexpr std::array refScaleGypsy = {0, 2, 3, 6, 7, 8, 11};
inline constexpr std::array refScaleRyukyu = {0, 4, 5, 7, 8};

inline constexpr int kSemitonesPerOctave = 12;
// Scale values 1 to 7 are the seven rotations of the diatonic scale, so a rotated table begins up to six
// entries into its base.
inline constexpr int kFirstDiatonicMode = 1;
inline constexpr int kDiatonicModes = 7;
inline constexpr int kMaxScaleRotation = kDiatonicModes - 1;

// Where a rotated table begins in its base: 0 for everything but the diatonic modes.
constexpr int scaleRotation(int scale) noexcept MORV_NONBLOCKING {
  const bool isMode = scale >= kFirstDiatonicMode && scale < kFirstDiatonicMode + kDiatonicModes;
  return isMode ? scale - kFirstDiatonicMode : 0;
}

// Entry i of a scale that repeats each octave. `scale` is not empty, `i` not negative.
constexpr int scaleEntry(std::span<const int> scale, int i) noexcept MORV_NONBLOCKING {
  const int size = static_cast<int>(scale.size());
  const std::int64_t entry = std::int64_t{scale[static_cast<std::size_t>(i % size)]} +
                             std::int64_t{kSemitonesPerOctave} * (i / size);
  return entry > std::numeric_limits<int>::max() ? std::numeric_limits<int>::max() : static_cast<int>(entry);
}

// Entry `entry` of a base that starts at `first`, moved to start at `root`; held inside the range of int.
constexpr int movedEntry(int entry, int root, int first) noexcept MORV_NONBLOCKING {
  constexpr std::int64_t kLeast = std::numeric_limits<int>::min();
  constexpr std::int64_t kMost = std::numeric_limits<int>::max();
  const std::int64_t moved = std::int64_t{entry} + root - first;
  return static_cast<int>(moved < kLeast ? kLeast : (moved > kMost ? kMost : moved));
}

// The least entry of a table that is not below `note` and not above `highest`; `note` itself if there is
// none. Entries may stand in any order.
constexpr int roundedUpToTable(std::span<const int> table, int note, int highest) noexcept MORV_NONBLOCKING {
  bool isFound = false;
  int best = note;
  for (const int entry : table) {
    if (entry < note || entry > highest || (isFound && entry >= best)) continue;
    best = entry;
    isFound = true;
  }
  return best;
}

}  // namespace morv
