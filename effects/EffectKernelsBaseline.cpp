#include "effects/EffectKernels.inl"

namespace morv {

const EffectKernels& baselineEffectKernels() noexcept {
  static constexpr EffectKernels kKernels = effectKernelsNamed("x86-64");
  return kKernels;
}

namespace {

// Chosen while the program loads, so that no block has to.
const EffectKernels& kBest = avx2EffectKernels() != nullptr ? *avx2EffectKernels() : baselineEffectKernels();

}  // namespace

const EffectKernels& effectKernels() noexcept { return kBest; }

}  // namespace morv
