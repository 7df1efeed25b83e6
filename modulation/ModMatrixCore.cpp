#include "modulation/ModMatrixCore.h"

namespace morv {

ModMatrixCore::ModMatrixCore()
    : globalSources_(static_cast<std::size_t>(kNumGlobalSourceBuffers) * kSharedMatrixBlockSize) {}

float* ModMatrixCore::globalSourceBuffer(int number) noexcept {
  if (number < 0 || number >= kNumGlobalSourceBuffers) return nullptr;
  return globalSources_.data() + static_cast<std::ptrdiff_t>(number) * kSharedMatrixBlockSize;
}

}  // namespace morv
