#pragma once

#include <bit>
#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv {

// Looks for what is no finite number: not-a-number or an infinity. They only look, and change nothing. Any
// thread; 0 frames are legal.

// Whether all of a buffer's samples are finite. A float is not where its exponent is all ones: one more in
// the exponent then reaches the sign's place. Becomes vector code of three operations a sample.
inline bool areFinite(const float* samples, int frames) noexcept MORV_NONBLOCKING {
  constexpr std::uint32_t kMagnitude = 0x7FFFFFFFU;
  constexpr std::uint32_t kOneInExponent = 0x00800000U;
  std::uint32_t all = 0;
  for (int i = 0; i < frames; ++i) {
    all |= (std::bit_cast<std::uint32_t>(samples[i]) & kMagnitude) + kOneInExponent;
  }
  return all <= kMagnitude;
}

// Whether all of a few values are finite: x - x is 0 for a number alone.
template <typename... Values>
inline bool areNumbers(Values... values) noexcept MORV_NONBLOCKING {
  return (... + static_cast<float>(values - values)) == 0.0F;
}

// Puts `fresh` in the place of a value that is not finite.
template <typename Value>
inline void mendNumber(Value& value, Value fresh) noexcept MORV_NONBLOCKING {
  if (!areNumbers(value)) value = fresh;
}

}  // namespace morv
