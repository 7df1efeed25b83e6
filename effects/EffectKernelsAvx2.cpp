// Compiled for AVX2; nothing in here may run, or be shared with other files, before the machine was asked.

#include "effects/EffectKernels.inl"

namespace morv {

const EffectKernels* avx2EffectKernels() noexcept {
#if defined(__AVX2__)
  static constexpr EffectKernels kKernels = effectKernelsNamed("AVX2");
  return __builtin_cpu_supports("avx2") ? &kKernels : nullptr;
#else
  return nullptr;
#endif
}

}  // namespace morv
