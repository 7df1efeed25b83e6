#include "effects/PhaseRamp.h"

#include "voice/PhaseWalk.h"

namespace morv {
namespace {

void stepBackwards(float* phase, float step, float turn, float* out, int frames) noexcept {
  float at = *phase;
  for (int k = 0; k < frames; ++k) {
    at += step;
    if (at >= turn) at -= turn;
    if (at <= -turn) at += turn;
    out[k] = at;
  }
  *phase = at;
}

}  // namespace

void fillPhaseRamp(float* phase, float step, float turn, float* out, int frames) noexcept {
  if (!(step > 0.0F && *phase > -turn)) {
    stepBackwards(phase, step, turn, out, frames);
    return;
  }
  for (int k = 0; k < frames;) {
    k += fillPhase(phase, step, turn, out + k, frames - k);
    if (*phase >= turn) {
      *phase -= turn;
      out[k - 1] = *phase;
    }
  }
}

}  // namespace morv
