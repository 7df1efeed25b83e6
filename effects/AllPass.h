#pragma once

#include "effects/DelayRead.h"
#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// All-pass sections around a delay line (Schroeder 1962). The record owns its memory and steps like the
// universal comb's line. Init: off the render thread; the rest: render thread, no allocation.
struct ap {
  ZeroedFloats buffer;
  int size = 0;  // samples
  int writeIndex = 0;
  float position = 0;  // samples
  float state = 0;     // of the forms that interpolate by a first-order all-pass
};

// A zeroed line of `size` samples, at least 3. Throws std::bad_alloc.
void initAP(ap* out, int size);
void resetAP(ap* a) noexcept MORV_NONBLOCKING;

// The line between its elements, `samples` back from `position`.
inline float allpassGetSampleWithDelay(const ap* a, float samples) noexcept MORV_NONBLOCKING {
  return readBetween(a->buffer.data(), a->size, wrapped(a->position - samples, a->size));
}

// The element that lies a whole number of samples back from `writeIndex`.
inline float allpassGetSampleWithTimeDelay(const ap* a, float seconds,
                                           float sampleRateHz) noexcept MORV_NONBLOCKING {
  return a->buffer[static_cast<std::size_t>(elementBehind(a->writeIndex, seconds * sampleRateHz, a->size))];
}

// One sample of y = d - g in, with in + g y written and d read `delaySeconds` back, in double. An increment
// other than 1 resamples the line.
inline float runAPWithIncrement(ap* a, float in, float delaySeconds, float g, float increment,
                                float sampleRateHz) noexcept MORV_NONBLOCKING {
  float* buffer = a->buffer.data();
  const double p = static_cast<double>(a->position) -
                   static_cast<double>(delaySeconds) * static_cast<double>(sampleRateHz);
  const float d = readBetween(buffer, a->size, wrapped(p, a->size));
  const float y = d - g * in;
  buffer[writtenElement(a->position, a->size)] = in + g * y;
  a->writeIndex = nextWriteIndex(a->writeIndex, a->size);
  a->position = nextPosition(a->position, a->size, increment);
  return y;
}

inline float runAP(ap* a, float in, float delaySeconds, float g,
                   float sampleRateHz) noexcept MORV_NONBLOCKING {
  return runAPWithIncrement(a, in, delaySeconds, g, 1.0F, sampleRateHz);
}

// The same with the fraction of the delay made by a first-order all-pass, which keeps the level at high
// frequencies where a straight line between samples loses it (Jaffe and Smith 1983).
inline float runSIAP(ap* a, float in, float delaySamples, float g) noexcept MORV_NONBLOCKING {
  float* buffer = a->buffer.data();
  float p = wrapped(static_cast<float>(a->writeIndex) - delaySamples, a->size);
  if (!(p >= 0.0F && p < static_cast<float>(a->size))) p = 0;
  const int i = static_cast<int>(p);
  const float t = 1.0F + (p - static_cast<float>(i));
  const float c = (1.0F - t) / (1.0F + t);
  const float y1 = a->state * c + buffer[i > 0 ? i - 1 : a->size - 1];
  const float v = a->state - y1 * c;
  const float w = in + v * g;
  a->state = y1;
  buffer[a->writeIndex] = w;
  a->writeIndex = nextWriteIndex(a->writeIndex, a->size);
  return w * g - v;
}

// An all-pass whose line is itself stretched by a first-order all-pass with a coefficient from the delay.
inline float runStretchedAP(ap* a, float in, float delaySamples, float g) noexcept MORV_NONBLOCKING {
  float* buffer = a->buffer.data();
  const float c = (1.0F - delaySamples) / (1.0F + delaySamples);
  const float p = wrapped(static_cast<float>(a->writeIndex) - delaySamples, a->size);
  const float d = readBetween(buffer, a->size, p);
  const float old = a->state;
  a->state = c * old + d;
  const float v = c * old + a->state;
  const float w = in - g * v;
  buffer[a->writeIndex] = w;
  a->writeIndex = nextWriteIndex(a->writeIndex, a->size);
  return w * (g + v);
}

// First-order all-pass on its own, for a delay of t samples; the state is one float that the caller owns.
void initAPInterpolator(float* state) noexcept MORV_NONBLOCKING;
inline float apInterpolate(float* state, float in, float t) noexcept MORV_NONBLOCKING {
  const float c = (1.0F - t) / (1.0F + t);
  const float y = 0.95F * in - c * *state;
  *state = y;
  return c * y;
}

}  // namespace morv
