#pragma once

#include "platform/NonBlocking.h"
#include "platform/Random.h"

namespace morv {

// Differentiated-parabola oscillator, one sample at a time, for code without objects. It runs at 44100 Hz
// whatever the host's rate. The caller owns the record; one thread at a time.
struct DPWOscillatorState {
  float phase = 0;        // -1 to 1
  float secondPhase = 0;  // -1 to 1
  float lastSquare = 0;   // square of `phase` one sample ago
  float lastSecond = 0;   // parabola of the second wave one sample ago
  float sign = 0;         // flips with each wrap of `secondPhase`
  float held = 0;         // Gaussian value drawn on the last wrap of `phase`
  int wave = 0;           // 0 parabolic sine, 1 pulse, 2 triangle, 3 saw, 4 Gaussian noise; others saw
  Random random{};
};

// Start of the phases, and the saw as wave. Leaves the generator as it is.
void initDPWOsc(DPWOscillatorState& state) noexcept MORV_NONBLOCKING;
// One sample at the sum of three frequencies in Hz, with full width and an offset of half a cycle.
float runOSC(DPWOscillatorState& state, float a, float b, float c) noexcept MORV_NONBLOCKING;
// One sample. The phase moves by frequencyHz / 44100 over its range of two, so the tone lies an octave below
// `frequencyHz`, which must not be 0. `width` is the gain of the pulse's second saw, `offset` (0 to 2) its
// phase against the first.
float runOSC2(DPWOscillatorState& state, float frequencyHz, float width,
              float offset) noexcept MORV_NONBLOCKING;

}  // namespace morv
