#include "modulation/RowKernels.inl"

namespace morv {

const RowKernels& baselineRowKernels() noexcept {
  static constexpr RowKernels kKernels = rowKernelsNamed("x86-64");
  return kKernels;
}

const RowKernels& rowKernels() noexcept {
  static const RowKernels& best = avx2RowKernels() != nullptr ? *avx2RowKernels() : baselineRowKernels();
  return best;
}

}  // namespace morv
