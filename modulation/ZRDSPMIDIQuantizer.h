#pragma once

#include <array>

#include "modulation/QuantizerScales.h"
#include "platform/NonBlocking.h"

namespace morv {

// Values 1 to 7 are the modes of the diatonic scale. Any other value is diatonic too.
enum class ZRQuantizerScale : int {
  chromatic = 0,
  major = 1,
  dorian = 2,
  phrygian = 3,
  lydian = 4,
  mixolydian = 5,
  aeolian = 6,
  locrian = 7,
  harmonic = 8,
  melodic = 9,
  majBlues = 10,
  minBlues = 11,
  majThird = 12,
  minThird = 13,
  fifth = 14,
  wholeTone = 15,
  octatonic = 16,
  majPentatonic = 17,
  minPentatonic = 18,
  arabic = 19,
  spanish = 20,
  gypsy = 21,
  ryukyu = 22,
};

// Maps a MIDI note to a note of a scale at a root, always upwards. The lowest note of the working table is
// the root itself, so what lies below rounds up to the root.
//
// One thread at a time, the render thread while it renders. Nothing here allocates.
class ZRDSPMIDIQuantizer {
 public:
  static constexpr int kEntries = 140;  // all MIDI notes, at 12 notes an octave
  static constexpr int kUserNotes = 12;

  // Root 0, scale 1.
  ZRDSPMIDIQuantizer() noexcept;

  // The nearest scale note at or above `note` and not above 127; `note` itself if there is none. Any int.
  int quantize(int note) const noexcept MORV_NONBLOCKING;
  // Entry of the working table; an index outside it reads its nearest end.
  int quantizeByIndex(int index) const noexcept MORV_NONBLOCKING;
  // Index of the first entry that is `note`; `note` itself if there is none, which cannot be told from an
  // index.
  int getIndexOfNote(int note) const noexcept MORV_NONBLOCKING;
  // Always false.
  bool isNoteInScale(int note) const noexcept MORV_NONBLOCKING;
  // kUserNotes entries.
  int* getUserScale() noexcept MORV_NONBLOCKING { return userScale.data(); }
  // kEntries entries.
  int* getCurrentScale() noexcept MORV_NONBLOCKING { return currentScale.data(); }

  // Takes kUserNotes ints; below 0 marks a free slot, and the used ones must stand in front. They repeat each
  // octave, without the root, until the next change of root or scale puts a built-in scale in their place.
  // With no slot used the working table stays.
  void setUserScale(const int* notes) noexcept MORV_NONBLOCKING;
  // Rebuilds the working table if the value is new. The chromatic scale knows no root.
  void setRootNote(int root) noexcept MORV_NONBLOCKING;
  void setScale(ZRQuantizerScale newScale) noexcept MORV_NONBLOCKING;

  int scaleSize = 0;  // notes an octave; majThird says 6, though it has 3
  int rootNote = 0;
  ZRQuantizerScale scale = ZRQuantizerScale::major;
  int mode = 1;  // stored only
  std::array<int, kEntries> currentScale{};
  // The scale ahead of the root, with as many entries behind its end as the last rotation reads there.
  std::array<int, kEntries + kMaxScaleRotation> baseScale{};
  std::array<int, kUserNotes> userScale{};

 protected:
  void _makeBaseScale() noexcept MORV_NONBLOCKING;
  void _updateScale() noexcept MORV_NONBLOCKING;
  void _makeScaleWithRootNote(int root, ZRQuantizerScale rotatedScale) noexcept MORV_NONBLOCKING;
};

}  // namespace morv
