#include "voice/ZRStateVariableFilter.h"

#include <cmath>
#include <numbers>

namespace morv {

void ZRStateVariableFilter::reset() noexcept {
  low = 0;
  band = 0;
  high = 0;
  notch = 0;
}

// low += f band, high = r x - low - m band, band += f high. The damping m falls as resonance rises, and the
// input's gain r falls with it.
void ZRStateVariableFilter::runFilter(const float* in1, const float* /*in2*/, float* out1, float* out2,
                                      int frames) noexcept {
  const float f = filterCutoff.value;
  const double s = std::sqrt(100.0 * static_cast<double>(filterResonance.value.load()));
  const double damping = std::sqrt(1.0 - 2.0 * std::atan(s) / std::numbers::pi);
  const auto m = static_cast<float>(damping);
  const auto r = static_cast<float>(std::sqrt(damping));
  float l = low;
  float b = band;
  float h = high;
  for (int i = 0; i < frames; ++i) {
    l += f * b;
    h = r * in1[i] - l - m * b;
    b += f * h;
    out1[i] = l;
    if (out2 != nullptr) out2[i] = l;
  }
  low = l;
  band = b;
  high = h;
  notch = h + l;
}

}  // namespace morv
