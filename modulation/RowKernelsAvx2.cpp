// Compiled for AVX2; nothing in here may run, or be shared with other files, before the machine was asked.

#include "modulation/RowKernels.inl"

namespace morv {

const RowKernels* avx2RowKernels() noexcept {
#if defined(__AVX2__)
  static constexpr RowKernels kKernels = rowKernelsNamed("AVX2");
  return __builtin_cpu_supports("avx2") ? &kKernels : nullptr;
#else
  return nullptr;
#endif
}

}  // namespace morv
