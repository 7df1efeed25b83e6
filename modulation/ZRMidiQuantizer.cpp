#include "modulation/ZRMidiQuantizer.h"

#include <algorithm>
#include <limits>

namespace morv {
namespace {

constexpr int kFirstOtherScale = kFirstDiatonicMode + kDiatonicModes;

// By scale type, from kFirstOtherScale on.
constexpr std::array<std::span<const int>, 13> kOtherScales = {
    refScaleMajBlues,  refScaleMinBlues,  refScaleMajThird,      refScaleMinThird,      refScaleFifth,
    refScaleWholeTone, refScaleOctatonic, refScaleMajPentatonic, refScaleMinPentatonic, refScaleArabic,
    refScaleSpanish,   refScaleGypsy,     refScaleRyukyu};

}  // namespace

ZRMidiQuantizer::ZRMidiQuantizer() noexcept {
  _makeBaseScale();
  _updateScale();
}

void ZRMidiQuantizer::_makeBaseScale() noexcept {
  std::span<const int> notes = refScaleDiatonic;
  if (scaleType >= kFirstOtherScale && scaleType < kFirstOtherScale + static_cast<int>(kOtherScales.size())) {
    notes = kOtherScales[static_cast<std::size_t>(scaleType - kFirstOtherScale)];
  }
  for (int i = 0; i < static_cast<int>(baseScale.size()); ++i) {
    baseScale[static_cast<std::size_t>(i)] = scaleEntry(notes, i);
  }
}

void ZRMidiQuantizer::_updateScale() noexcept { _makeScaleWithRootNote(rootNote, scaleType); }

void ZRMidiQuantizer::_makeScaleWithRootNote(int root, int rotatedType) noexcept {
  const auto rotation = static_cast<std::size_t>(scaleRotation(rotatedType));
  for (std::size_t i = 0; i < currentScale.size(); ++i) {
    currentScale[i] = movedEntry(baseScale[i + rotation], root, baseScale[rotation]);
  }
}

int ZRMidiQuantizer::quantize(int note) const noexcept {
  if (scaleType == 0) return note;
  if (type == kRoundUp) return roundedUpToTable(currentScale, note, std::numeric_limits<int>::max());
  if (type == kIndex) return currentScale[static_cast<std::size_t>(std::clamp(note, 0, kEntries - 1))];
  return note;
}

void ZRMidiQuantizer::setQuantizerCustomScale(std::span<const int> notes) noexcept {
  const auto end = std::find_if(notes.begin(), notes.end(), [](int entry) { return entry < 0; });
  const auto used = notes.first(static_cast<std::size_t>(end - notes.begin()));
  if (used.empty()) return;
  for (int i = 0; i < static_cast<int>(baseScale.size()); ++i) {
    baseScale[static_cast<std::size_t>(i)] = scaleEntry(used, i);
  }
  std::copy_n(baseScale.begin(), currentScale.size(), currentScale.begin());
}

void ZRMidiQuantizer::setScaleType(int newScaleType) noexcept {
  scaleType = newScaleType;
  _makeBaseScale();
  _updateScale();
}

void ZRMidiQuantizer::setRootNote(int newRootNote) noexcept {
  rootNote = newRootNote;
  _updateScale();
}

}  // namespace morv
