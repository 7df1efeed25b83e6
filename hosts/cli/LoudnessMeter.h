#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace morv::cli {

// Integrated loudness of a stereo signal after ITU-R BS.1770-4: K-weighting, mean square over blocks of 400
// ms that overlap by three quarters, an absolute gate at -70 LUFS and a relative one 10 LU below the mean of
// what passes the first. A sine of 997 Hz at full scale in one channel alone reads -3.01 LUFS, in both
// channels 0.00.
class LoudnessMeter {
 public:
  // The rate is above 200 Hz. The Recommendation tables its filters for 48 kHz; for other rates they are
  // moved so that their corners stay where they are.
  explicit LoudnessMeter(double sampleRateHz);

  void add(const float* left, const float* right, std::size_t frames);

  // Minus infinity for what is too short for one block or nowhere above the absolute gate.
  double integratedLufs() const;

 private:
  struct Biquad {
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
  };
  // Transposed direct form II.
  struct State {
    double s1 = 0, s2 = 0;
  };
  static Biquad movedTo(double sampleRateHz, const Biquad& at48kHz);
  double weighted(float sample, std::array<State, 2>& states) const;

  const std::array<Biquad, 2> filters_;
  const std::size_t framesPerHop_;  // a quarter of a block
  std::array<std::array<State, 2>, 2> states_{};
  std::vector<double> hops_;  // sums of squares of both channels
  double sum_ = 0;
  std::size_t framesInHop_ = 0;
};

}  // namespace morv::cli
