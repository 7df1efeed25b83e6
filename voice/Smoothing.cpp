#include "voice/Smoothing.h"

#include <cmath>

namespace morv {

float smoothingCoefficient(double timeMs, float sampleRateHz) noexcept {
  const double logLevel = std::log(0.001F);
  return static_cast<float>(std::exp(logLevel / (timeMs * static_cast<double>(sampleRateHz) * 0.001)));
}

}  // namespace morv
