#pragma once

#include <cmath>

#include "platform/NonBlocking.h"

namespace morv {

// Reading and stepping of ring buffers, as all delay lines here share them. A line of `size` elements is read
// between neighbours up to element size - 2; the two last ones run on into element 0.

// A read position brought into the line: below 0 the line's length is added once.
template <typename Real>
inline Real wrapped(Real position, int size) noexcept MORV_NONBLOCKING {
  return position < Real(0) ? position + static_cast<Real>(size) : position;
}

// A position outside the line brought into it by whole lengths; 0 for what is no number.
template <typename Real>
inline Real broughtIn(Real position, int size) noexcept MORV_NONBLOCKING {
  const Real rest = std::fmod(position, static_cast<Real>(size));
  const Real inside = rest < Real(0) ? rest + static_cast<Real>(size) : rest;
  return inside >= Real(0) && inside < static_cast<Real>(size) ? inside : Real(0);
}

// The line between its elements at a wrapped position. A position that is still outside is brought in: a
// delay longer than the line is a shorter one, and never reads foreign memory.
template <typename Real>
inline float readBetween(const float* buffer, int size, Real position) noexcept MORV_NONBLOCKING {
  if (!(position >= Real(0) && position < static_cast<Real>(size))) position = broughtIn(position, size);
  const int i = static_cast<int>(position);
  const Real fraction = position - static_cast<Real>(i);
  const Real here = static_cast<Real>(buffer[i]);
  const Real next = static_cast<Real>(buffer[i + 1 < size - 1 ? i + 1 : 0]);
  return static_cast<float>(here + fraction * (next - here));
}

// The write index's cycle leaves the last element out.
inline int nextWriteIndex(int writeIndex, int size) noexcept MORV_NONBLOCKING {
  return writeIndex + 1 < size - 1 ? writeIndex + 1 : 0;
}

// The read and write position's cycle takes the last element in.
inline float nextPosition(float position, int size, float increment) noexcept MORV_NONBLOCKING {
  return position >= static_cast<float>(size - 1) ? 0.0F : position + increment;
}

// The element that a position writes to, inside the line whatever the increment was.
inline int writtenElement(float position, int size) noexcept MORV_NONBLOCKING {
  if (!(position > 0.0F)) return 0;
  return position < static_cast<float>(size) ? static_cast<int>(position) : size - 1;
}

// The element `delaySamples`, whole ones, behind `writeIndex`.
inline int elementBehind(int writeIndex, float delaySamples, int size) noexcept MORV_NONBLOCKING {
  const float p = wrapped(static_cast<float>(writeIndex) - std::trunc(delaySamples), size);
  return static_cast<int>(p >= 0.0F && p < static_cast<float>(size) ? p : broughtIn(p, size));
}

// Seconds of one sample, rounded down: a line read a hair more than a sample back would lose that sample once
// in each lap, where the interpolation leaves out the line's end.
inline float sampleSeconds(float sampleRateHz) noexcept MORV_NONBLOCKING {
  const float seconds = 1.0F / sampleRateHz;
  const bool isMore = static_cast<double>(seconds) * static_cast<double>(sampleRateHz) > 1.0;
  return isMore ? std::nextafter(seconds, 0.0F) : seconds;
}

}  // namespace morv
