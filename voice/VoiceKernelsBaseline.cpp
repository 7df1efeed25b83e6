#include "voice/VoiceKernels.inl"

namespace morv {

const VoiceKernels& baselineVoiceKernels() noexcept {
  static constexpr VoiceKernels kKernels = kernelsNamed("x86-64");
  return kKernels;
}

const VoiceKernels& voiceKernels() noexcept {
  static const VoiceKernels& best =
      avx2VoiceKernels() != nullptr ? *avx2VoiceKernels() : baselineVoiceKernels();
  return best;
}

}  // namespace morv
