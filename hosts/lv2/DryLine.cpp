#include "hosts/lv2/DryLine.h"

#include <algorithm>

namespace morv::lv2 {

void DryLine::run(float* samples, std::uint32_t frames, std::uint32_t delayFrames) noexcept {
  std::array<float, kGreatestFrames + kHostBlockFrames> line;
  std::copy(past_.begin(), past_.end(), line.begin());
  std::copy_n(samples, frames, line.begin() + kGreatestFrames);
  std::copy_n(line.begin() + (kGreatestFrames - delayFrames), frames, samples);
  std::copy_n(line.begin() + frames, kGreatestFrames, past_.begin());
}

}  // namespace morv::lv2
