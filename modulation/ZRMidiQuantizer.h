#pragma once

#include <array>
#include <span>

#include "modulation/QuantizerScales.h"

namespace morv {

// The older note quantiser, for the side of the user interface, with a shorter table and without the harmonic
// and melodic scales: values 1 to 7 are the diatonic modes, 8 to 20 major blues, minor blues, major third,
// minor third, fifth, whole tone, octatonic, major pentatonic, minor pentatonic, Arabic, Spanish, Gypsy,
// Ryukyu; all else is diatonic.
//
// One thread at a time, not the render thread's by design.
class ZRMidiQuantizer {
 public:
  static constexpr int kEntries = 70;

  // How `quantize` reads its argument.
  enum Type : int { kRoundUp = 0, kIndex = 1 };

  // Root 0, scale type 1.
  ZRMidiQuantizer() noexcept;

  // Scale type 0 gives the argument back. Otherwise, with `type` 0, the nearest entry at or above the note,
  // and the note itself where the table has none; with `type` 1 the entry of that index, the nearest end for
  // an index outside. Any other `type` gives the argument back.
  int quantize(int note) const noexcept;
  // Takes a scale in semitones, each entry 0 or above, the first one below 0 ending it; it repeats each
  // octave, without the root until `setRootNote` moves it there and until `setScaleType` replaces it. An
  // empty one changes nothing.
  void setQuantizerCustomScale(std::span<const int> notes) noexcept;
  void setScaleType(int newScaleType) noexcept;
  void setRootNote(int newRootNote) noexcept;

  int rootNote = 0;
  int scaleType = 1;
  int type = kRoundUp;
  std::array<int, kEntries> currentScale{};
  // With as many entries behind its end as the last rotation reads there.
  std::array<int, kEntries + kMaxScaleRotation> baseScale{};

 private:
  void _makeBaseScale() noexcept;
  void _updateScale() noexcept;
  void _makeScaleWithRootNote(int root, int rotatedType) noexcept;
};

}  // namespace morv
