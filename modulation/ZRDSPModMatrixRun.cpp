// The matrix's block: destinations cleared, then every row added into its own.

#include <algorithm>
#include <bit>
#include <cstdint>
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

bool isSame(float a, float b) noexcept {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

}  // namespace

void ZRDSPModMatrix::holdSource(int source, float value, int frames) noexcept {
  const auto at = static_cast<std::size_t>(source);
  Held& held = heldSources_[at];
  if (frames <= held.frames && isSame(value, held.value)) return;
  std::fill_n(sourceBuffers[at], frames, value);
  held = {value, frames};
}

const float* ZRDSPModMatrix::readSource(int source) const noexcept {
  if (source < 0) return matrixCore != nullptr ? matrixCore->globalSourceBuffer(-source) : nullptr;
  return source < kMaxModRows ? sourceBuffers[static_cast<std::size_t>(source)] : nullptr;
}

// Destinations of rows with a depth are cleared outright. Those of rows at depth zero are cleared only if
// their sum is not zero: the row may have been turned down since, or a module may have written into the
// buffer. A buffer that nobody wrote since it was cleared needs neither. Clearing is put off to the first row
// that writes.
void ZRDSPModMatrix::clearDestinations(int frames) noexcept {
  const ModMatrixCore::Present& present = matrixCore->present;
  fresh_ = present.liveDestinations;
  const auto forget = [&](std::size_t destination) {
    int& written = writtenFrames_[destination];
    if (written <= frames) written = 0;
  };
  for (int r = 0; r < present.liveCount; ++r) {
    forget(static_cast<std::size_t>(present.live[static_cast<std::size_t>(r)]->destinationIndex));
  }
  for (int i = 0; i < present.idleCount; ++i) {
    const int destination = present.idleDestinations[static_cast<std::size_t>(i)];
    const auto at = static_cast<std::size_t>(destination);
    if (writtenFrames_[at] == 0) continue;
    float* buffer = bufferAt(destination);
    const Held& held = heldDestinations_[at];
    const bool isZero = held.frames >= frames ? held.value == 0.0F : kernels_.sum(buffer, frames) == 0.0F;
    if (isZero) continue;
    std::fill_n(buffer, frames, 0.0F);
    heldDestinations_[at].frames = 0;
    forget(at);
  }
}

void ZRDSPModMatrix::holdDestination(int address, float value, int frames) noexcept {
  if (address < 0 || address >= kMaxModRows) return;
  const Held held = heldDestinations_[static_cast<std::size_t>(address)];
  float* buffer = destinationBuffer(address, frames);
  if (frames <= held.frames && isSame(value, held.value)) {
    heldDestinations_[static_cast<std::size_t>(address)] = held;
  } else {
    std::fill_n(buffer, frames, value);
    heldDestinations_[static_cast<std::size_t>(address)] = {value, frames};
  }
}

// Puts the sum of rows that hold still into the buffer, unless it is there already.
void ZRDSPModMatrix::writeSum(std::size_t destination, int frames) noexcept {
  holdDestination(static_cast<int>(destination), sums_[destination], frames);
  summed_.reset(destination);
}

// A row whose source holds still, into a destination where all rows so far did: one sample stands for all.
bool ZRDSPModMatrix::runHeldRow(const modMatrixRow& row, float gain, int frames) noexcept {
  if (row.source < 0 || row.source >= kMaxModRows || frames <= 0) return false;
  const Held& source = heldSources_[static_cast<std::size_t>(row.source)];
  const auto at = static_cast<std::size_t>(row.destinationIndex);
  const bool isFirst = fresh_.test(at);
  if (source.frames < frames || (!isFirst && !summed_.test(at))) return false;
  kernels_.route(row.transform, &source.value, gain, &sums_[at], !isFirst, 1);
  summed_.set(at);
  fresh_.reset(at);
  return true;
}

void ZRDSPModMatrix::runRow(const modMatrixRow& row, const float* source, bool isGlobalPass,
                            int frames) noexcept {
  const Transform transform = row.transform;
  if (!hasOperation(transform, isGlobalPass)) return;
  const float amount = row.amount;
  const float gain = row.depth != nullptr ? row.depth->normalizedValue() * amount : amount;
  const auto at = static_cast<std::size_t>(row.destinationIndex);
  const int modSource = row.modSource;
  if (modSource == 0 && !isGlobalPass && runHeldRow(row, gain, frames)) return;
  if (summed_.test(at)) writeSum(at, frames);
  const bool adds = !fresh_.test(at);
  float* destination = destinationBuffer(row.destinationIndex, frames);
  if (modSource == 0) {
    kernels_.route(transform, source, gain, destination, adds, frames);
  } else {
    const float* second = readSource(modSource);
    if (second == nullptr) return;
    float* a = scratchA_.data();
    float* b = scratchB_.data();
    kernels_.apply(transform, source, a, frames);
    kernels_.apply(isMidiValued(modSource, isGlobalPass) ? Transform::midi : Transform::plain, second, b,
                   frames);
    kernels_.scale(a, b, row.modAmount, frames);
    kernels_.route(Transform::plain, a, gain, destination, adds, frames);
  }
  fresh_.reset(at);
}

void ZRDSPModMatrix::runGlobalMatrix(int frames) noexcept {
  const ModMatrixCore::Present& present = matrixCore->present;
  for (int r = 0; r < present.liveCount; ++r) {
    const modMatrixRow& row = *present.live[static_cast<std::size_t>(r)];
    if (!row.isGlobal) continue;
    const float* source = matrixCore->globalSourceBuffer(std::abs(row.source));
    if (source != nullptr) runRow(row, source, true, frames);
  }
}

void ZRDSPModMatrix::runMatrix(int frames) noexcept {
  if (matrixCore == nullptr) return;
  matrixCore->look();
  runMatrixAsPresent(frames);
}

void ZRDSPModMatrix::runMatrixAsPresent(int frames) noexcept {
  if (matrixCore == nullptr) return;
  const ModMatrixCore::Present& present = matrixCore->present;
  clearDestinations(frames);
  summed_.reset();
  if (enabled) {
    runGlobalMatrix(frames);
    for (int r = 0; r < present.liveCount; ++r) {
      const modMatrixRow& row = *present.live[static_cast<std::size_t>(r)];
      if (row.isGlobal) continue;
      const float* source = readSource(row.source);
      if (source != nullptr) runRow(row, source, false, frames);
    }
  }
  if (fresh_.none() && summed_.none()) return;
  for (int r = 0; r < present.liveCount; ++r) {
    const int destination = present.live[static_cast<std::size_t>(r)]->destinationIndex;
    const auto at = static_cast<std::size_t>(destination);
    if (summed_.test(at)) writeSum(at, frames);
    if (!fresh_.test(at)) continue;
    std::fill_n(bufferAt(destination), frames, 0.0F);
    heldDestinations_[at].frames = 0;
  }
}

}  // namespace morv
