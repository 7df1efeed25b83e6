#pragma once

#include <cmath>

#include "effects/DelayRead.h"
#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// Universal comb: a delay line with gains for feedback, for the delayed signal (forward) and for what enters
// the line (blend), so that one structure is FIR comb, IIR comb, all-pass or pure delay. The record owns its
// memory. Init and delete: off the render thread; the rest: render thread, no allocation.
//
// The line is written at `position`, which runs over all `size` elements, while `writeIndex` runs over one
// less. Reads from `writeIndex` therefore come one sample nearer to the writes with each lap.
struct uniComb {
  ZeroedFloats buffer;
  int size = 0;  // samples
  int writeIndex = 0;
  float position = 0;  // samples
  float state = 0;     // unused by the comb itself
  int linear = 0;      // 1: sums as they are; 0: the output saturates
};

// A zeroed line of `size` samples, at least 3; `linear` starts at 0. Throws std::bad_alloc.
void initUniComb(uniComb* out, int size);
// Gives the memory back; the record may be made anew.
void deleteUniComb(uniComb* uc) noexcept;
// Zeroes the line and its positions, and keeps `linear`.
void resetUniComb(uniComb* uc) noexcept MORV_NONBLOCKING;

// The element that lies a whole number of samples back from `writeIndex`.
inline float uniCombGetSampleWithTimeDelay(const uniComb* uc, float seconds,
                                           float sampleRateHz) noexcept MORV_NONBLOCKING {
  return uc
      ->buffer[static_cast<std::size_t>(elementBehind(uc->writeIndex, seconds * sampleRateHz, uc->size))];
}

// The line between its elements, `samples` back from `writeIndex`; in double, so that long lines keep their
// fractions.
inline float uniCombGetSampleWithDelay(const uniComb* uc, float samples) noexcept MORV_NONBLOCKING {
  const double p = static_cast<double>(uc->writeIndex) - static_cast<double>(samples);
  return readBetween(uc->buffer.data(), uc->size, wrapped(p, uc->size));
}

// Where a run reads: `delaySamples` behind the write position. One beyond the end is held just inside.
inline float uniCombReadPosition(const uniComb* uc, float delaySamples) noexcept MORV_NONBLOCKING {
  const float p = wrapped(std::trunc(uc->position) - delaySamples, uc->size);
  return p > static_cast<float>(uc->size) ? static_cast<float>(uc->size - 2) : p;
}

// One sample. With d the delayed sample and w what is written, the linear form is
//   w = in + feedback d;       out = forward d + blend w
// and the saturating form
//   w = 0.95 in + feedback d;  out = tanh(forward d + blend w).
// An increment other than 1 resamples the line.
inline float runUniCombWithIncrement(uniComb* uc, float in, float delaySeconds, float blend, float feedback,
                                     float forward, float increment,
                                     float sampleRateHz) noexcept MORV_NONBLOCKING {
  float* buffer = uc->buffer.data();
  const float d = readBetween(buffer, uc->size, uniCombReadPosition(uc, delaySeconds * sampleRateHz));
  const float w = (uc->linear != 0 ? in : 0.95F * in) + feedback * d;
  const float sum = forward * d + blend * w;
  buffer[writtenElement(uc->position, uc->size)] = w;
  uc->writeIndex = nextWriteIndex(uc->writeIndex, uc->size);
  uc->position = nextPosition(uc->position, uc->size, increment);
  return uc->linear != 0 ? sum : std::tanh(sum);
}

inline float runUniComb(uniComb* uc, float in, float delaySeconds, float blend, float feedback, float forward,
                        float sampleRateHz) noexcept MORV_NONBLOCKING {
  return runUniCombWithIncrement(uc, in, delaySeconds, blend, feedback, forward, 1.0F, sampleRateHz);
}

}  // namespace morv
