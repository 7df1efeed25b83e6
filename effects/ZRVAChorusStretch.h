#pragma once

#include <array>
#include <cstddef>
#include <numbers>

#include "effects/HeldSettings.h"
#include "effects/ZRVAChorus.h"

namespace morv {

// What the files of the analogue chorus share.

struct ZRVAChorus::Stretch {
  static constexpr int kFrames = 64;
  using Samples = std::array<float, kFrames>;

  Samples dryL, dryR;
  Samples left, right;                          // the wet signal
  std::array<Samples, kStages> phaseA, phaseB;  // half turns
  Samples noiseL, noiseR;                       // between -1 and 1
  Samples spread, depth, mix;                   // fractions
  int count = 0;
};

inline constexpr float kChorusPi = std::numbers::pi_v<float>;

// Settings at or inside the bounds where all stays finite.
inline float heldValue(const ZRDSPParameter& parameter) noexcept MORV_NONBLOCKING {
  return heldSetting(parameter.value, -kHeldMagnitude, kHeldMagnitude);
}

inline float heldFraction(const ZRDSPParameter& parameter) noexcept MORV_NONBLOCKING {
  return heldSetting(parameter.normalizedValue(), -kHeldMagnitude, kHeldMagnitude);
}

}  // namespace morv
