// Compiled for AVX2 and FMA; nothing in here may run, or be shared with other files, before the machine was
// asked.

#include "voice/VoiceKernels.inl"

namespace morv {

const VoiceKernels* avx2VoiceKernels() noexcept {
#if defined(__AVX2__) && defined(__FMA__)
  static constexpr VoiceKernels kKernels = kernelsNamed("AVX2");
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? &kKernels : nullptr;
#else
  return nullptr;
#endif
}

}  // namespace morv
