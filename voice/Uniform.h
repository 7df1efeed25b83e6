#pragma once

namespace morv {

// Whether a modulation holds still over the block; one that is absent does. `frames` above 0.
inline bool isUniform(const float* values, int frames) noexcept {
  if (values == nullptr) return true;
  const float first = values[0];
  if (values[frames - 1] != first) return false;
  int different = 0;
  for (int i = 1; i < frames; ++i) different |= static_cast<int>(values[i] != first);
  return different == 0;
}

}  // namespace morv
