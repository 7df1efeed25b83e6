#include "effects/UniCombBlocks.h"

#include <algorithm>

#include "effects/DelayBlocks.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

// Whether no read of the stretch meets a write of it: two samples farther, for the interpolation.
bool isBehindStretch(const float* delaysSamples, int size, int frames) noexcept {
  const auto least = static_cast<float>(frames + 2);
  const auto greatest = static_cast<float>(size - frames - 2);
  bool isBehind = true;
  for (int k = 0; k < frames; ++k) isBehind &= delaysSamples[k] > least && delaysSamples[k] < greatest;
  return isBehind;
}

}  // namespace

void runUniCombBlock(uniComb* uc, const float* in, const float* delaysSeconds, float blend, float feedback,
                     float forward, float sampleRateHz, float* out, int frames) noexcept {
  if (frames < 1) return;
  float delays[kDelayBlock];
  for (int k = 0; k < frames; ++k) delays[k] = delaysSeconds[k] * sampleRateHz;
  if (!isBehindStretch(delays, uc->size, frames)) {
    for (int k = 0; k < frames; ++k) {
      out[k] = runUniComb(uc, in[k], delaysSeconds[k], blend, feedback, forward, sampleRateHz);
    }
    return;
  }
  float delayed[kDelayBlock];
  float entering[kDelayBlock];
  readUniComb(*uc, delays, delayed, frames);
  const float taken = uc->linear != 0 ? 1.0F : 0.95F;
  for (int k = 0; k < frames; ++k) {
    entering[k] = taken * in[k] + feedback * delayed[k];
    out[k] = forward * delayed[k] + blend * entering[k];
  }
  writeUniComb(uc, entering, frames);
  if (uc->linear == 0) voiceKernels().tanhInPlace(out, frames);
}

void runUniCombBlock(uniComb* uc, const float* in, float delaySeconds, float blend, float feedback,
                     float forward, float sampleRateHz, float* out, int frames) noexcept {
  float delays[kDelayBlock];
  std::fill_n(delays, frames, delaySeconds);
  runUniCombBlock(uc, in, delays, blend, feedback, forward, sampleRateHz, out, frames);
}

}  // namespace morv
