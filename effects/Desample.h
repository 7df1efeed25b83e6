#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// Low-pass and decimation in one: out[n] = sum of coefficients[k] in[factor n + k] over `length` taps, so a
// kept sample alone costs a sum. `in` holds factor (frames - 1) + length values and does not overlap `out`.
// The sum is taken in several partial sums side by side: below 1e-6 of the terms' magnitudes from one in
// order. Render thread.
void desample(const float* in, int factor, const float* coefficients, int length, float* out,
              int frames) noexcept MORV_NONBLOCKING;

}  // namespace morv
