#pragma once

#include <algorithm>

namespace morv {

// Remembers that the start of a buffer holds one value, so that filling it with the same again costs nothing.
// Whoever writes anything else into the buffer calls `forget`. Render thread; does not own the buffer.
class HeldFill {
 public:
  void fill(float* buffer, float value, int frames) noexcept {
    if (frames <= frames_ && value == value_) return;
    std::fill_n(buffer, frames, value);
    value_ = value;
    frames_ = frames;
  }
  void forget() noexcept { frames_ = 0; }

 private:
  float value_ = 0;
  int frames_ = 0;
};

}  // namespace morv
