// The matrix's block: destinations cleared, then every row added into its own.

#include <algorithm>
#include <cstdlib>

#include "modulation/RowKernels.h"
#include "modulation/ZRDSPModMatrix.h"

namespace morv {
namespace {

using Transform = ZRDSPModMatrixTransform;

// Whether a second source is one of the built-in ones that carry MIDI values of 0 to 127.
bool isMidiValued(int modSource, bool isGlobalPass) noexcept {
  switch (modSource) {
    case kSourceNote:
    case kSourceVelocity:
    case kSourceModWheel:
    case kSourcePressure:
      return true;
    case kSourceSlide:
      return !isGlobalPass;
    default:
      return false;
  }
}

bool hasOperation(Transform transform, bool isGlobalPass) noexcept {
  if (transform == Transform::eightySquare) return !isGlobalPass;
  return transform >= Transform::plain && transform <= Transform::squareAgain &&
         transform != Transform::undefined;
}

}  // namespace

// Destinations of rows with a depth are cleared outright. Those of rows at depth zero are cleared only if
// their sum is not zero: the row may have been turned down since, or a module may have written into the
// buffer. A buffer that nobody wrote since it was cleared needs neither. Clearing is put off to the first row
// that writes.
void ZRDSPModMatrix::clearDestinations(int frames) noexcept {
  fresh_.reset();
  liveRowCount_ = 0;
  std::bitset<kMaxModRows> cleared;
  const auto forget = [&](std::size_t destination) {
    cleared.set(destination);
    int& written = writtenFrames_[destination];
    if (written <= frames) written = 0;
  };
  for (int r = 0; r < matrixCore->usedRows; ++r) {
    const modMatrixRow* row = matrixCore->rows[static_cast<std::size_t>(r)].get();
    if (row == nullptr || !row->active) continue;
    if (row->destinationIndex < 0 || row->destinationIndex >= kMaxModRows) continue;
    const auto destination = static_cast<std::size_t>(row->destinationIndex);
    const float depth = row->depth != nullptr ? row->depth->value.load() : 1.0F;
    if (depth != 0.0F) {
      liveRows_[static_cast<std::size_t>(liveRowCount_++)] = row;
      if (cleared.test(destination)) continue;
      fresh_.set(destination);
      forget(destination);
    } else if (writtenFrames_[destination] != 0 && !cleared.test(destination)) {
      float* buffer = bufferAt(row->destinationIndex);
      if (rowKernels().sum(buffer, frames) == 0.0F) continue;
      std::fill_n(buffer, frames, 0.0F);
      forget(destination);
    }
  }
}

void ZRDSPModMatrix::runRow(const modMatrixRow& row, const float* source, bool isGlobalPass,
                            int frames) noexcept {
  const Transform transform = row.transform;
  if (!hasOperation(transform, isGlobalPass)) return;
  const RowKernels& kernels = rowKernels();
  const float amount = row.amount;
  const float gain = row.depth != nullptr ? row.depth->normalizedValue() * amount : amount;
  const auto at = static_cast<std::size_t>(row.destinationIndex);
  const bool adds = !fresh_.test(at);
  float* destination = destinationBuffer(row.destinationIndex, frames);
  const int modSource = row.modSource;
  if (modSource == 0) {
    kernels.route(transform, source, gain, destination, adds, frames);
  } else {
    const float* second = sourceBuffer(modSource);
    if (second == nullptr) return;
    float* a = scratchA_.data();
    float* b = scratchB_.data();
    kernels.apply(transform, source, a, frames);
    kernels.apply(isMidiValued(modSource, isGlobalPass) ? Transform::midi : Transform::plain, second, b,
                  frames);
    kernels.scale(a, b, row.modAmount, frames);
    kernels.route(Transform::plain, a, gain, destination, adds, frames);
  }
  fresh_.reset(at);
}

void ZRDSPModMatrix::runGlobalMatrix(int frames) noexcept {
  for (int r = 0; r < liveRowCount_; ++r) {
    const modMatrixRow& row = *liveRows_[static_cast<std::size_t>(r)];
    if (!row.isGlobal) continue;
    const float* source = matrixCore->globalSourceBuffer(std::abs(row.source));
    if (source != nullptr) runRow(row, source, true, frames);
  }
}

void ZRDSPModMatrix::runMatrix(int frames) noexcept {
  if (matrixCore == nullptr) return;
  clearDestinations(frames);
  if (enabled) {
    runGlobalMatrix(frames);
    for (int r = 0; r < liveRowCount_; ++r) {
      const modMatrixRow& row = *liveRows_[static_cast<std::size_t>(r)];
      if (row.isGlobal) continue;
      const float* source = sourceBuffer(row.source);
      if (source != nullptr) runRow(row, source, false, frames);
    }
  }
  if (fresh_.none()) return;
  for (int r = 0; r < liveRowCount_; ++r) {
    const int destination = liveRows_[static_cast<std::size_t>(r)]->destinationIndex;
    if (fresh_.test(static_cast<std::size_t>(destination))) std::fill_n(bufferAt(destination), frames, 0.0F);
  }
}

}  // namespace morv
