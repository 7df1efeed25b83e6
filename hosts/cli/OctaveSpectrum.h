#pragma once

#include <array>
#include <cstddef>

namespace morv::cli {

// How the energy of a stereo signal spreads over the octaves around 31.25 Hz to 16 kHz.
class OctaveSpectrum {
 public:
  static constexpr std::size_t kBands = 10;
  static constexpr double kLowestHz = 31.25;
  static constexpr double kFloorDb = -60.0;
  using Levels = std::array<double, kBands>;

  // Two band-passes in a row for each octave, -6 dB at its ends. Bands whose centre does not lie below half
  // the rate stay at the floor.
  explicit OctaveSpectrum(double sampleRateHz);

  void add(const float* left, const float* right, std::size_t frames);

  // Share of each band in the sum of all, in decibels, not below the floor.
  Levels levelsDb() const;
  // Root mean square, over the bands, of the differences in decibels: how unlike two sounds are, whatever
  // their levels.
  static double distanceDb(const Levels& a, const Levels& b);

 private:
  // b1 is 0 and b2 is -b0.
  struct BandPass {
    double b0 = 0, a1 = 0, a2 = 0;
  };
  struct State {
    double s1 = 0, s2 = 0;
  };

  std::array<BandPass, kBands> filters_{};
  std::array<std::array<State, 4>, kBands> states_{};  // two in a row for each channel
  Levels energies_{};
};

}  // namespace morv::cli
