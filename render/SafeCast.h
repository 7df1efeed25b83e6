#pragma once

#include <cmath>
#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv {

// The value cut towards zero, held inside the range of int; not-a-number gives 0. Parameter values come from
// hosts unchecked, and a plain cast of such a value is undefined.
inline std::int32_t truncatedInt(float value) noexcept MORV_NONBLOCKING {
  if (!(value > -2147483648.0F)) return std::isnan(value) ? 0 : INT32_MIN;
  if (value >= 2147483648.0F) return INT32_MAX;
  return static_cast<std::int32_t>(value);
}
inline std::int32_t truncatedInt(double value) noexcept MORV_NONBLOCKING {
  if (!(value > -2147483649.0)) return std::isnan(value) ? 0 : INT32_MIN;
  if (value >= 2147483648.0) return INT32_MAX;
  return static_cast<std::int32_t>(value);
}

}  // namespace morv
