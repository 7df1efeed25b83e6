#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// One- and two-pole filters by topology-preserving transform (trapezoidal integrators): plain records that
// the caller owns, and operations on them. The records hold no memory of their own and may be copied. Render
// thread for all operations on a record that is running.

// One filter's coefficients and state.
struct tpt {
  float z1 = 0;
  float z2 = 0;
  float G = 0;       // g / (1 + g) of the one-pole step; g itself where a two-pole type was set
  float cutoff = 0;  // Hz, as last set
  float rho = 0;     // two-pole types only
  float alpha0 = 0;  // two-pole types only
};

// What runTPT2 returns; any other value returns 0.
enum TPTType : int {
  kTPTLowpass1 = 0,   // one pole
  kTPTHighpass1 = 1,  // one pole
  kTPTAllpass1 = 2,   // one pole
  kTPTLowpass2 = 3,   // two poles from here on
  kTPTHighpass2 = 4,
  kTPTBandpass2 = 5,
  kTPTNotch2 = 6,
};

// Clears the record and sets it to 10 kHz at 44100 Hz.
void initTPT(tpt* state) noexcept MORV_NONBLOCKING;
// Sets the one-pole cutoff in Hz. A cutoff that the record already holds changes nothing, even at another
// rate.
void setTPTCutoff(tpt* state, float cutoffHz, float sampleRateHz) noexcept MORV_NONBLOCKING;
// Computes the one-pole coefficient of the stored cutoff anew, for a new rate.
void tptUpdateCoefficients(tpt* state, float sampleRateHz) noexcept MORV_NONBLOCKING;
// Sets cutoff in Hz and, for two-pole types, q (0.5 is critically damped). One-pole types ignore q and go
// through setTPTCutoff.
void setTPTCutoff2(tpt* state, int type, float cutoffHz, float q,
                   float sampleRateHz) noexcept MORV_NONBLOCKING;

// One sample of the one-pole low-pass with a coefficient from outside. The rate takes no part.
inline float runTPT(tpt* state, float in, float G, float /*sampleRateHz*/) noexcept MORV_NONBLOCKING {
  const float v = (in - state->z1) * G;
  const float y = v + state->z1;
  state->z1 = y + v;
  return y;
}

// One sample of the given type. The one-pole step runs for every type, so the two-pole ones start from the z1
// that it leaves. The rate takes no part.
inline float runTPT2(tpt* state, int type, float in, float sampleRateHz) noexcept MORV_NONBLOCKING {
  const float y = runTPT(state, in, state->G, sampleRateHz);
  if (type == kTPTLowpass1) return y;
  if (type == kTPTHighpass1) return in - y;
  if (type == kTPTAllpass1) return y - (in - y);

  const float g = state->G;
  const float hp = state->alpha0 * (in - state->rho * state->z1 - state->z2);
  const float bp = g * hp + state->z1;
  state->z1 = g * hp + bp;
  const float lp = g * bp + state->z2;
  state->z2 = g * bp + lp;
  switch (type) {
    case kTPTLowpass2:
      return lp;
    case kTPTHighpass2:
      return hp;
    case kTPTBandpass2:
      return bp;
    case kTPTNotch2:
      return hp + lp;
    default:
      return 0.0F;
  }
}

}  // namespace morv
