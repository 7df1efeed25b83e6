#include "voice/VoiceKernels.inl"

namespace morv {

const VoiceKernels& baselineVoiceKernels() noexcept {
  static constexpr VoiceKernels kKernels = kernelsNamed("x86-64");
  return kKernels;
}

namespace {

// Chosen while the program loads, so that no block has to.
const VoiceKernels& kBest = avx2VoiceKernels() != nullptr ? *avx2VoiceKernels() : baselineVoiceKernels();

}  // namespace

const VoiceKernels& voiceKernels() noexcept { return kBest; }

}  // namespace morv
