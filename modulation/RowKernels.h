#pragma once

#include "modulation/ModMatrixCore.h"
#include "platform/NonBlocking.h"

namespace morv {

// The matrix's hot loops over one block. They exist once for plain x86-64 and once for AVX2; the better one
// that the machine has is chosen when the program starts. Both round in the same places. Any thread; 0 frames
// are legal.
struct RowKernels {
  const char* name = nullptr;
  // out = f(source) gain, or out += f(source) gain when `adds` is set, with f the transform. A transform
  // without an operation counts as plain; ask `hasOperation` first.
  void (*route)(ZRDSPModMatrixTransform transform, const float* source, float gain, float* out, bool adds,
                int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out = f(source).
  void (*apply)(ZRDSPModMatrixTransform transform, const float* source, float* out,
                int frames) noexcept MORV_NONBLOCKING = nullptr;
  // a *= b gain.
  void (*scale)(float* a, const float* b, float gain, int frames) noexcept MORV_NONBLOCKING = nullptr;
  float (*sum)(const float* values, int frames) noexcept MORV_NONBLOCKING = nullptr;
};

const RowKernels& rowKernels() noexcept MORV_NONBLOCKING;
const RowKernels& baselineRowKernels() noexcept MORV_NONBLOCKING;
// Null where the machine has no AVX2.
const RowKernels* avx2RowKernels() noexcept MORV_NONBLOCKING;

}  // namespace morv
