#pragma once

#include "platform/NonBlocking.h"
#include "platform/Random.h"

namespace morv {

// What the oscillators share: the law of their Gaussian noise and the factors by which their pitch controls
// scale a frequency. Pure functions, any thread, no allocation.

// Normally distributed value with a standard deviation of a quarter from two uniform draws (Box and Muller
// 1958): sqrt(-2 ln r1) cos(2 pi r2) / 4. `r1` of 0 counts as the smallest draw above it, 2^-31, so the
// result stays within +-1.64.
float gaussianNoise(float r1, float r2) noexcept MORV_NONBLOCKING;
// The same, taking two draws from the generator, `r1` first.
float gaussianNoise(Random& random) noexcept MORV_NONBLOCKING;

// Frequency ratio of the octave control: 2^octaves, times whole octaves of modulation. `modulation` is the
// block's first sample of the control's destination, truncated towards zero.
float octaveFactor(float octaves, float modulation) noexcept MORV_NONBLOCKING;
// Frequency ratio of the semitone control, with the block's first sample of its destination truncated to
// whole semitones.
float semitoneFactor(float semitones, float modulation) noexcept MORV_NONBLOCKING;
// Frequency ratio of an interval in cents.
float centsFactor(float cents) noexcept MORV_NONBLOCKING;

}  // namespace morv
