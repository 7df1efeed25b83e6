#pragma once

#include <array>
#include <cstddef>
#include <numbers>

#include "effects/ZRVAChorus.h"

namespace morv {

// What the files of the analogue chorus share.

struct ZRVAChorus::Stretch {
  static constexpr int kFrames = 64;
  using Samples = std::array<float, kFrames>;

  Samples dryL, dryR;
  Samples left, right;                          // the wet signal
  std::array<Samples, kStages> phaseA, phaseB;  // turns of pi
  Samples noiseL, noiseR;                       // between -1 and 1
  Samples spread, depth, mix;                   // fractions
  int count = 0;
};

inline constexpr float kChorusPi = std::numbers::pi_v<float>;

}  // namespace morv
