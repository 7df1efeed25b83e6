// How the matrix gets rid of samples and amounts that are no numbers.

#include <algorithm>

#include "modulation/ZRDSPModMatrix.h"
#include "render/FiniteCheck.h"

namespace morv {
namespace {

// Makes the buffer silent if it holds anything else than numbers.
bool mendBuffer(float* buffer, int frames) noexcept {
  if (buffer == nullptr || areFinite(buffer, frames)) return false;
  std::fill_n(buffer, frames, 0.0F);
  return true;
}

}  // namespace

bool ZRDSPModMatrix::mendState(int addresses, int frames) noexcept {
  bool found = false;
  const auto sourcesInUse = static_cast<std::size_t>(
      std::min(registeredSourceCount + kNumBuiltInSources, static_cast<int>(kMaxModRows)));
  for (std::size_t i = 0; i < sourcesInUse; ++i) {
    found |= mendBuffer(sourceBuffers[i], frames);
    heldSources_[i] = {};
  }
  for (int address = 0; address < std::min(addresses, kMaxModRows); ++address) {
    found |= mendBuffer(bufferAt(address), frames);
    heldDestinations_[static_cast<std::size_t>(address)] = {};
  }
  if (matrixCore == nullptr) return found;
  for (int r = 0; r < matrixCore->usedRows; ++r) {
    modMatrixRow* row = matrixCore->rows[static_cast<std::size_t>(r)].get();
    if (row == nullptr) continue;
    if (!areNumbers(row->amount.load())) {
      row->amount = row->firstAmount;
      found = true;
    }
    if (!areNumbers(row->modAmount.load())) {
      row->modAmount = 0.0F;
      found = true;
    }
  }
  return found;
}

}  // namespace morv
