#include "modulation/ZRDSPMIDIQuantizer.h"

#include <algorithm>
#include <span>

namespace morv {
namespace {

constexpr int kHighestNote = 127;

struct BaseScaleRow {
  std::span<const int> notes;
  int storedSize;
};

// By scale value, from 1 on.
constexpr std::array<BaseScaleRow, 22> kBaseScales = {{
    {refScaleDiatonic, 7},      {refScaleDiatonic, 7},      {refScaleDiatonic, 7},  {refScaleDiatonic, 7},
    {refScaleDiatonic, 7},      {refScaleDiatonic, 7},      {refScaleDiatonic, 7},  {refScaleHarmonic, 7},
    {refScaleMelodic, 7},       {refScaleMajBlues, 6},      {refScaleMinBlues, 6},  {refScaleMajThird, 6},
    {refScaleMinThird, 4},      {refScaleFifth, 2},         {refScaleWholeTone, 6}, {refScaleOctatonic, 8},
    {refScaleMajPentatonic, 5}, {refScaleMinPentatonic, 5}, {refScaleArabic, 7},    {refScaleSpanish, 7},
    {refScaleGypsy, 7},         {refScaleRyukyu, 5},
}};

}  // namespace

ZRDSPMIDIQuantizer::ZRDSPMIDIQuantizer() noexcept {
  _makeBaseScale();
  _updateScale();
}

// Entry i is notes[i mod n] + 12 (i / n). The chromatic base leaves out every second octave; the working
// table of that scale does not come from it.
void ZRDSPMIDIQuantizer::_makeBaseScale() noexcept {
  const int value = static_cast<int>(scale);
  if (scale == ZRQuantizerScale::chromatic) {
    scaleSize = kSemitonesPerOctave;
    for (int i = 0; i < static_cast<int>(baseScale.size()); ++i) {
      baseScale[static_cast<std::size_t>(i)] = i + kSemitonesPerOctave * (i / kSemitonesPerOctave);
    }
    return;
  }
  const bool isKnown = value >= 1 && value <= static_cast<int>(kBaseScales.size());
  const BaseScaleRow& row = kBaseScales[isKnown ? static_cast<std::size_t>(value) - 1 : 0];
  scaleSize = row.storedSize;
  for (int i = 0; i < static_cast<int>(baseScale.size()); ++i) {
    baseScale[static_cast<std::size_t>(i)] = scaleEntry(row.notes, i);
  }
}

void ZRDSPMIDIQuantizer::_updateScale() noexcept {
  if (scale == ZRQuantizerScale::chromatic) {
    for (int i = 0; i < kEntries; ++i) currentScale[static_cast<std::size_t>(i)] = i;
    return;
  }
  _makeBaseScale();
  _makeScaleWithRootNote(rootNote, scale);
}

void ZRDSPMIDIQuantizer::_makeScaleWithRootNote(int root, ZRQuantizerScale rotatedScale) noexcept {
  const auto rotation = static_cast<std::size_t>(scaleRotation(static_cast<int>(rotatedScale)));
  for (std::size_t i = 0; i < currentScale.size(); ++i) {
    currentScale[i] = movedEntry(baseScale[i + rotation], root, baseScale[rotation]);
  }
}

int ZRDSPMIDIQuantizer::quantize(int note) const noexcept {
  return roundedUpToTable(currentScale, note, kHighestNote);
}

int ZRDSPMIDIQuantizer::quantizeByIndex(int index) const noexcept {
  return currentScale[static_cast<std::size_t>(std::clamp(index, 0, kEntries - 1))];
}

int ZRDSPMIDIQuantizer::getIndexOfNote(int note) const noexcept {
  const auto* found = std::find(currentScale.begin(), currentScale.end(), note);
  return found != currentScale.end() ? static_cast<int>(found - currentScale.begin()) : note;
}

bool ZRDSPMIDIQuantizer::isNoteInScale(int /*note*/) const noexcept { return false; }

void ZRDSPMIDIQuantizer::setUserScale(const int* notes) noexcept {
  std::copy_n(notes, userScale.size(), userScale.begin());
  const auto count = std::count_if(userScale.begin(), userScale.end(), [](int entry) { return entry >= 0; });
  if (count == 0) return;
  const std::span<const int> used(userScale.data(), static_cast<std::size_t>(count));
  for (int i = 0; i < static_cast<int>(baseScale.size()); ++i) {
    baseScale[static_cast<std::size_t>(i)] = scaleEntry(used, i);
  }
  std::copy_n(baseScale.begin(), currentScale.size(), currentScale.begin());
  scaleSize = static_cast<int>(count);
}

void ZRDSPMIDIQuantizer::setRootNote(int root) noexcept {
  if (root == rootNote) return;
  rootNote = root;
  _updateScale();
}

void ZRDSPMIDIQuantizer::setScale(ZRQuantizerScale newScale) noexcept {
  if (newScale == scale) return;
  scale = newScale;
  _updateScale();
}

}  // namespace morv
