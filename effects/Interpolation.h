#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// The point at t on the straight line from a (t = 0) to b (t = 1); t beyond that continues the line. Any
// thread.
inline float interpolate_linear(float a, float b, float t) noexcept MORV_NONBLOCKING {
  return a + t * (b - a);
}

}  // namespace morv
