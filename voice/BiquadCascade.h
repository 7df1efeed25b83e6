#pragma once

#include <cstddef>

#include "platform/NonBlocking.h"

namespace morv {

// Cascades of second-order sections in direct form I, in section order:
//   y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2
// One section's outputs are the next one's inputs, so the delays are shared: two for the input, then two for
// each section. The caller owns coefficients and delays.

// b0, b1, b2, a1, a2 of one section.
inline constexpr std::size_t kBiquadCoefficients = 5;

// Values of delay memory for one channel.
constexpr std::size_t biquadDelayLength(int sections) noexcept {
  return 2 * static_cast<std::size_t>(sections) + 2;
}

// Runs one channel over `frames` samples; `out` may be `in`. The sums are taken in double; the delays, and
// with them the signal between the sections, have the width of `delays`. Render thread.
void runBiquadCascade(const double* coefficients, int sections, float* delays, const float* in, float* out,
                      int frames) noexcept MORV_NONBLOCKING;
void runBiquadCascade(const double* coefficients, int sections, double* delays, const float* in, float* out,
                      int frames) noexcept MORV_NONBLOCKING;

// One section over two channels with one set of coefficients, side by side: each sample waits for the one
// before it, and two channels fill each other's waits. Every channel gives the bits that it gives alone. No
// output may be the other channel's input.
void runBiquadPair(const double* coefficients, double* delays1, double* delays2, const float* in1,
                   const float* in2, float* out1, float* out2, int frames) noexcept MORV_NONBLOCKING;

// Three stereo sections behind one another in one pass, each with its coefficients and its two channels'
// delays; what goes from one to the next is rounded to floats, so it gives the bits of three passes. Outputs
// may be inputs.
struct BiquadPair {
  const double* coefficients = nullptr;
  double* delays1 = nullptr;
  double* delays2 = nullptr;
};
void runThreeBiquadPairs(const BiquadPair* pairs, const float* in1, const float* in2, float* out1,
                         float* out2, int frames) noexcept MORV_NONBLOCKING;

// Its forms: one for any x86-64, and one for AVX2, which gives the same bits, leaves up to seven frames at
// the end to the other and returns how many it ran; null where the machine has no AVX2.
using ThreeBiquadPairs = int (*)(const BiquadPair* pairs, const float* in1, const float* in2, float* out1,
                                 float* out2, int frames) noexcept MORV_NONBLOCKING;
void baselineThreeBiquadPairs(const BiquadPair* pairs, const float* in1, const float* in2, float* out1,
                              float* out2, int frames) noexcept MORV_NONBLOCKING;
ThreeBiquadPairs avx2ThreeBiquadPairs() noexcept MORV_NONBLOCKING;

}  // namespace morv
