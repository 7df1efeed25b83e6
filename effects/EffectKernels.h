#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// Reads of a stretch whose delay stands still, in one piece of a line: frame k is read between the elements
// `first` + k and `first` + k + 1, at position + k - delaySamples + lap, as floats work it out.
struct StraightRead {
  const float* from = nullptr;  // the element `first`
  float first = 0;
  float position = 0;  // of the line at the first frame
  float delaySamples = 0;
  float lap = 0;  // brings the position into the line: 0 or the line's length
};

// The effects' hot loops; those of delay lines are for a stretch that meets no end of a line. They exist once
// for plain x86-64 and once for AVX2; the better one that the machine has is chosen when the program starts.
// Both round in the same places, and where one sample at a time does. Lengths are in samples, `out` may be
// `in`, and what is read from a line lies outside what the same call writes to it, unless there is one frame.
// Any thread; no allocation; 0 frames are legal.
struct EffectKernels {
  const char* name = nullptr;
  // out[k] = the read of frame k.
  void (*read)(const StraightRead& read, float* out, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out[k] += gains[0] reads[0] of frame k, then the next one's, up to `count` of them.
  void (*addReads)(const StraightRead* reads, const float* gains, int count, float* out,
                   int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out[k] = the line between its elements at position + k - delays[k] + lap.
  void (*readMoving)(const float* buffer, float position, float lap, const float* delaysSamples, float* out,
                     int frames) noexcept MORV_NONBLOCKING = nullptr;
  // The same in double, with delays in seconds times the rate.
  void (*readMovingDouble)(const float* buffer, double position, double lap, const float* delaysSeconds,
                           double rateHz, float* out, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // All-pass: y = d - g in, with in + g y written to `entering` and d between from[k] and from[k + 1].
  void (*allPass)(const float* from, float fraction, float g, const float* in, float* out, float* entering,
                  int frames) noexcept MORV_NONBLOCKING = nullptr;
  // The same with d from outside.
  void (*mixAllPass)(const float* delayed, float g, const float* in, float* out, float* entering,
                     int frames) noexcept MORV_NONBLOCKING = nullptr;
  // One-pole low-pass by trapezoidal integrator: y = z + G (in - z), then z += 2 G (in - z). In rows whose
  // sums come from each other by doubling: within 2e-6 of the greatest input and state.
  void (*lowpass)(float G, float* z, const float* in, float* out,
                  int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out = in inside -bound to bound, and 0 for what is no number.
  void (*hold)(const float* in, float bound, float* out, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out = gain in.
  void (*scale)(float gain, const float* in, float* out, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out = gainA a + gainB b.
  void (*mix)(float gainA, const float* a, float gainB, const float* b, float* out,
              int frames) noexcept MORV_NONBLOCKING = nullptr;
  // Whether all values are numbers, and then the least and the greatest of them; at least one frame.
  bool (*range)(const float* values, int frames, float* least,
                float* greatest) noexcept MORV_NONBLOCKING = nullptr;
};

// The best kernels of this machine.
const EffectKernels& effectKernels() noexcept MORV_NONBLOCKING;
// Those for any x86-64.
const EffectKernels& baselineEffectKernels() noexcept MORV_NONBLOCKING;
// Those for AVX2; null where the machine has none.
const EffectKernels* avx2EffectKernels() noexcept MORV_NONBLOCKING;

}  // namespace morv
