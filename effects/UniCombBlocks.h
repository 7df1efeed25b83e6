#pragma once

#include "effects/UniComb.h"
#include "platform/NonBlocking.h"

namespace morv {

// runUniComb over a stretch of 0 to kDelayBlock frames, with a delay in seconds for each frame. Where every
// delay reaches behind the stretch it runs step by step over the whole of it, and otherwise sample by sample:
// any delay is legal. The saturation's tangent then comes from the voice's kernels, within 4e-7 of itself.
// `out` may be `in`. Render thread.
void runUniCombBlock(uniComb* uc, const float* in, const float* delaysSeconds, float blend, float feedback,
                     float forward, float sampleRateHz, float* out, int frames) noexcept MORV_NONBLOCKING;
// The same with one delay for all frames.
void runUniCombBlock(uniComb* uc, const float* in, float delaySeconds, float blend, float feedback,
                     float forward, float sampleRateHz, float* out, int frames) noexcept MORV_NONBLOCKING;

}  // namespace morv
