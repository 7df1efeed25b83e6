#include "modulation/RowKernels.inl"

namespace morv {

const RowKernels& baselineRowKernels() noexcept {
  static constexpr RowKernels kKernels = rowKernelsNamed("x86-64");
  return kKernels;
}

namespace {

// Chosen while the program loads, so that no block has to.
const RowKernels& kBest = avx2RowKernels() != nullptr ? *avx2RowKernels() : baselineRowKernels();

}  // namespace

const RowKernels& rowKernels() noexcept { return kBest; }

}  // namespace morv
