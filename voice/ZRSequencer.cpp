#include "voice/ZRSequencer.h"

#include <algorithm>

#include "platform/DiagnosticRing.h"

namespace morv {

ZRSequencer::ZRSequencer(float sampleRateHz, int blockSizeFrames) noexcept
    : sampleRate(sampleRateHz), blockSize(blockSizeFrames) {
  for (std::size_t i = 0; i < steps.size(); ++i) steps[i] = static_cast<float>(i % 2);
}

void ZRSequencer::tick(float* out, int frames) noexcept {
  const float stepLength = 60.0F / tempo * 4.0F * sampleRate;
  std::fill_n(out, frames, steps[static_cast<std::size_t>(std::clamp(currentStep, 0, kSteps - 1))]);
  if (phase >= stepLength) {
    phase -= stepLength;
    currentStep = (currentStep + 1) % kSteps;
    DiagnosticRing::shared().post("%i tick \n", currentStep);
  }
  phase += static_cast<float>(blockSize);
}

}  // namespace morv
