// Bodies of the matrix's kernels; each translation unit that includes this compiles them for one kind of
// machine. Everything is local to the file and nothing of the standard library's templates is used: a
// function shared between the files could be taken from the one that the machine cannot run.

#include "modulation/RowKernels.h"

namespace morv {
namespace {

template <ZRDSPModMatrixTransform T>
inline float transformed(float x) noexcept {
  using Transform = ZRDSPModMatrixTransform;
  if constexpr (T == Transform::toBipolar) {
    return 2.0F * x - 1.0F;
  } else if constexpr (T == Transform::toUnipolar) {
    return 0.5F * x + 0.5F;
  } else if constexpr (T == Transform::square) {
    return x * x;
  } else if constexpr (T == Transform::fourthPower) {
    return (x * x) * (x * x);
  } else if constexpr (T == Transform::midi) {
    return x / 127.0F;
  } else if constexpr (T == Transform::midiSquare) {
    return __builtin_copysignf((x / 127.0F) * (x / 127.0F), x);
  } else if constexpr (T == Transform::eightySquare) {
    return (x / 80.0F) * (x / 80.0F);
  } else {
    return x;
  }
}

template <ZRDSPModMatrixTransform T>
void routeWith(const float* source, float gain, float* out, bool adds, int frames) noexcept {
  if (adds) {
    for (int i = 0; i < frames; ++i) out[i] += transformed<T>(source[i]) * gain;
  } else {
    for (int i = 0; i < frames; ++i) out[i] = transformed<T>(source[i]) * gain;
  }
}

void route(ZRDSPModMatrixTransform transform, const float* source, float gain, float* out, bool adds,
           int frames) noexcept {
  using Transform = ZRDSPModMatrixTransform;
  switch (transform) {
    case Transform::toBipolar:
      return routeWith<Transform::toBipolar>(source, gain, out, adds, frames);
    case Transform::toUnipolar:
      return routeWith<Transform::toUnipolar>(source, gain, out, adds, frames);
    case Transform::square:
    case Transform::squareAgain:
      return routeWith<Transform::square>(source, gain, out, adds, frames);
    case Transform::fourthPower:
      return routeWith<Transform::fourthPower>(source, gain, out, adds, frames);
    case Transform::midi:
      return routeWith<Transform::midi>(source, gain, out, adds, frames);
    case Transform::midiSquare:
      return routeWith<Transform::midiSquare>(source, gain, out, adds, frames);
    case Transform::eightySquare:
      return routeWith<Transform::eightySquare>(source, gain, out, adds, frames);
    case Transform::plain:
    case Transform::undefined:
      break;
  }
  routeWith<Transform::plain>(source, gain, out, adds, frames);
}

void apply(ZRDSPModMatrixTransform transform, const float* source, float* out, int frames) noexcept {
  route(transform, source, 1.0F, out, false, frames);
}

void scale(float* a, const float* b, float gain, int frames) noexcept {
  for (int i = 0; i < frames; ++i) a[i] *= b[i] * gain;
}

// Eight partial sums side by side.
float sum(const float* values, int frames) noexcept {
  float parts[8] = {};
  int i = 0;
  for (; i + 8 <= frames; i += 8) {
    for (int k = 0; k < 8; ++k) parts[k] += values[i + k];
  }
  float total = 0;
  for (; i < frames; ++i) total += values[i];
  for (int k = 0; k < 8; ++k) total += parts[k];
  return total;
}

constexpr RowKernels rowKernelsNamed(const char* name) { return {name, route, apply, scale, sum}; }

}  // namespace
}  // namespace morv
