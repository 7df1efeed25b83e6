#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// A modulation's phase over a stretch: one float addition per frame, brought back by `turn` where it comes to
// a whole one or, backwards, to one below 0. `out[k]` is the phase behind step k; `phase` becomes the last.
// The bits are those of single steps. Render thread.
void fillPhaseRamp(float* phase, float step, float turn, float* out, int frames) noexcept MORV_NONBLOCKING;

}  // namespace morv
