#include "hosts/cli/OctaveSpectrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morv::cli {

// Second-order band-passes by the bilinear transform of s / Q / (s^2 + s / Q + 1) with Q = sqrt(2), an octave
// between the points of -3 dB; unity gain at the centre.
OctaveSpectrum::OctaveSpectrum(double sampleRateHz) {
  double centreHz = kLowestHz;
  for (BandPass& filter : filters_) {
    if (centreHz < sampleRateHz / 2) {
      const double k = std::tan(std::numbers::pi * centreHz / sampleRateHz);
      const double norm = 1.0 / (1.0 + k / std::numbers::sqrt2 + k * k);
      filter = {k / std::numbers::sqrt2 * norm, 2.0 * (k * k - 1.0) * norm,
                (1.0 - k / std::numbers::sqrt2 + k * k) * norm};
    }
    centreHz *= 2;
  }
}

void OctaveSpectrum::add(const float* left, const float* right, std::size_t frames) {
  for (std::size_t band = 0; band < kBands; ++band) {
    const BandPass filter = filters_[band];
    auto states = states_[band];
    const auto pass = [&filter](double x, State& state) {
      const double y = filter.b0 * x + state.s1;
      state.s1 = state.s2 - filter.a1 * y;
      state.s2 = -filter.b0 * x - filter.a2 * y;
      return y;
    };
    double sum = 0;
    for (std::size_t i = 0; i < frames; ++i) {
      const double l = pass(pass(left[i], states[0]), states[1]);
      const double r = pass(pass(right[i], states[2]), states[3]);
      sum += l * l + r * r;
    }
    states_[band] = states;
    energies_[band] += sum;
  }
}

OctaveSpectrum::Levels OctaveSpectrum::levelsDb() const {
  double total = 0;
  for (const double energy : energies_) total += energy;
  Levels levels{};
  for (std::size_t band = 0; band < kBands; ++band) {
    const double share = total > 0 ? energies_[band] / total : 0;
    levels[band] = std::max(kFloorDb, 10.0 * std::log10(share));
  }
  return levels;
}

double OctaveSpectrum::distanceDb(const Levels& a, const Levels& b) {
  double sum = 0;
  for (std::size_t band = 0; band < kBands; ++band) sum += (a[band] - b[band]) * (a[band] - b[band]);
  return std::sqrt(sum / kBands);
}

}  // namespace morv::cli
