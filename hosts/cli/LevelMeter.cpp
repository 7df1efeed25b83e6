#include "hosts/cli/LevelMeter.h"

#include <algorithm>
#include <cmath>

namespace morv::cli {

void LevelMeter::add(const float* samples, std::size_t count) {
  double peak = peak_;
  double sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double sample = samples[i];
    peak = std::max(peak, std::abs(sample));
    sum += sample * sample;
  }
  peak_ = peak;
  sumOfSquares_ += sum;
  count_ += count;
}

double LevelMeter::peakDb() const { return 20.0 * std::log10(peak_); }

double LevelMeter::rmsDb() const {
  return count_ == 0 ? peakDb() : 10.0 * std::log10(sumOfSquares_ / static_cast<double>(count_));
}

}  // namespace morv::cli
