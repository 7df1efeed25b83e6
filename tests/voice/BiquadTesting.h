#pragma once

#include <array>
#include <vector>

#include "voice/ZRBiquadFilter.h"

namespace morv::testing {

// b0, b1, b2, a1, a2.
using Section = std::array<double, 5>;

// Bilinear transform of (p0 + p1 s + p2 s^2) / (q0 + q1 s + q2 s^2) with its corner at s = 1.
inline Section bilinear(double K, double p0, double p1, double p2, double q0, double q1, double q2) {
  const double norm = q0 * K * K + q1 * K + q2;
  return {(p0 * K * K + p1 * K + p2) / norm, 2.0 * (p0 * K * K - p2) / norm,
          (p0 * K * K - p1 * K + p2) / norm, 2.0 * (q0 * K * K - q2) / norm,
          (q0 * K * K - q1 * K + q2) / norm};
}

inline Section coefficientsOf(const ZRBiquadFilter& filter, int section) {
  Section c{};
  for (std::size_t i = 0; i < 5; ++i) c[i] = filter.coefficients()[static_cast<std::size_t>(section) * 5 + i];
  return c;
}

// Brings new settings into the coefficients of a multichannel filter.
inline void takeSettings(ZRBiquadFilter& filter) {
  float x = 0;
  float y = 0;
  filter.runFilter(&x, &x, &y, &y, 1);
}

inline std::vector<Section> sectionsOf(const ZRBiquadFilter& filter) {
  std::vector<Section> list;
  for (int s = 0; s < filter.sections; ++s) list.push_back(coefficientsOf(filter, s));
  return list;
}

}  // namespace morv::testing
