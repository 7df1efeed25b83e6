#include "hosts/lv2/BypassFade.h"

#include <algorithm>
#include <cmath>

namespace morv::lv2 {

BypassFade::BypassFade(double sampleRateHz)
    : length_(std::max(1, static_cast<std::int32_t>(std::lround(kSeconds * sampleRateHz)))),
      place_(length_) {}

void BypassFade::setEnabled(bool isEnabled) noexcept {
  isEnabled_ = isEnabled;
  if (!hasBegun_) place_ = isEnabled ? length_ : 0;
  hasBegun_ = true;
}

// out = dry + g (wet - dry), with g on a line from 0 to 1.
void BypassFade::mix(const float* dryLeft, const float* dryRight, float* left, float* right,
                     std::uint32_t frames) noexcept {
  const std::int32_t end = isEnabled_ ? length_ : 0;
  const std::int32_t step = isEnabled_ ? 1 : -1;
  const float scale = 1.0F / static_cast<float>(length_);
  std::int32_t place = place_;
  std::uint32_t i = 0;
  for (; i < frames && place != end; ++i) {
    place += step;
    const float gain = static_cast<float>(place) * scale;
    left[i] = dryLeft[i] + gain * (left[i] - dryLeft[i]);
    right[i] = dryRight[i] + gain * (right[i] - dryRight[i]);
  }
  place_ = place;
  if (isEnabled_) return;
  std::copy(dryLeft + i, dryLeft + frames, left + i);
  std::copy(dryRight + i, dryRight + frames, right + i);
}

}  // namespace morv::lv2
