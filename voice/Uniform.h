#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// Whether a modulation holds still over the block; one that is absent does, and so does a block of no frames.
// Render thread.
inline bool isUniform(const float* values, int frames) noexcept MORV_NONBLOCKING {
  if (values == nullptr || frames <= 0) return true;
  const float first = values[0];
  if (values[frames - 1] != first) return false;
  int different = 0;
  for (int i = 1; i < frames; ++i) different |= static_cast<int>(values[i] != first);
  return different == 0;
}

}  // namespace morv
