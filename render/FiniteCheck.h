#pragma once

#include <bit>
#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv {

// Looks for what is no finite number: not-a-number or an infinity. They only look, and change nothing. Any
// thread; 0 frames are legal.

// One more in the exponent reaches the sign's place where the exponent is all ones, as it is in what is not
// finite alone.
inline std::uint32_t exponentOverflow(float value) noexcept MORV_NONBLOCKING {
  constexpr std::uint32_t kMagnitude = 0x7FFFFFFFU;
  constexpr std::uint32_t kOneInExponent = 0x00800000U;
  return (std::bit_cast<std::uint32_t>(value) & kMagnitude) + kOneInExponent;
}
inline constexpr std::uint32_t kNoOverflow = 0x7FFFFFFFU;  // at most

// Whether all of a buffer's samples are finite. Becomes vector code of three operations a sample.
inline bool areFinite(const float* samples, int frames) noexcept MORV_NONBLOCKING {
  std::uint32_t all = 0;
  for (int i = 0; i < frames; ++i) all |= exponentOverflow(samples[i]);
  return all <= kNoOverflow;
}

// The same for two buffers at once, in two thirds of the time.
inline bool areFinite(const float* left, const float* right, int frames) noexcept MORV_NONBLOCKING {
  std::uint32_t ofLeft = 0;
  std::uint32_t ofRight = 0;
  for (int i = 0; i < frames; ++i) {
    ofLeft |= exponentOverflow(left[i]);
    ofRight |= exponentOverflow(right[i]);
  }
  return (ofLeft | ofRight) <= kNoOverflow;
}

// Whether all of a few values are finite: nothing of a number is 0, and of what is none it is none.
template <typename... Values>
inline bool areNumbers(Values... values) noexcept MORV_NONBLOCKING {
  return (... + static_cast<float>(values * Values(0))) == 0.0F;
}

// Puts `fresh` in the place of a value that is not finite.
template <typename Value>
inline void mendNumber(Value& value, Value fresh) noexcept MORV_NONBLOCKING {
  if (!areNumbers(value)) value = fresh;
}

}  // namespace morv
