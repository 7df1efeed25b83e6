#pragma once

#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// Finite impulse responses, one sample at a time. Sums are taken in several partial sums side by side, so a
// result differs from a sum in order by rounding alone: below 1e-6 of the sum of the terms' magnitudes.

// A filter's history and place in it, over coefficients that somebody else holds. Owns the history.
struct fir {
  int length = 0;                       // taps
  ZeroedFloats buffer;                  // 2 x length, of which halfband uses the first half
  const float* coefficients = nullptr;  // borrowed, `length` of them
  int index = 0;                        // where the next sample goes
};

// Give the record a silent history and a pointer to `length` (at least 1) coefficients that must outlive it;
// a record that ran before starts afresh. They allocate: not for the render thread. They throw
// std::bad_alloc.
void initFIR(fir* filter, int length, const float* coefficients);
// 301 taps of B4x.
void initHalfbandFIR(fir* filter);
// 301 taps of B4x, for decimate: the history is five times the length.
void initVDSPDecimator(fir* filter);

// Silences the history and sets the index to its start. Render thread.
void resetHalfbandFIR(fir* filter) noexcept MORV_NONBLOCKING;

// One sample through `length` taps over a history of as many samples that is shifted at each call, the newest
// first. Render thread.
float fir_basic(int length, const float* coefficients, float* buffer, float in) noexcept MORV_NONBLOCKING;

// One sample through `length` taps over a circular history of as many samples. While `active` is 0 the sample
// is only stored, for 0: what a decimator drops costs no sum. `index` (0 to length - 1) goes up. Render
// thread.
float fir_circular(int length, const float* coefficients, float* buffer, int* index, int active,
                   float in) noexcept MORV_NONBLOCKING;

// The same over a history that runs backwards, so that both of its runs meet the coefficients in their order:
// `index` goes down. Not to be mixed with fir_circular on one history. Render thread.
float fir_split(int length, const float* coefficients, float* buffer, int* index,
                float in) noexcept MORV_NONBLOCKING;

// fir_circular over the record. Render thread.
float halfband(fir* filter, int active, float in) noexcept MORV_NONBLOCKING;

// Shifts the sample into the whole history, the newest first, and gives nothing out. Render thread.
void decimate(fir* filter, float in) noexcept MORV_NONBLOCKING;

}  // namespace morv
