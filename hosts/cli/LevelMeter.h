#pragma once

#include <cstddef>

namespace morv::cli {

// Peak and root mean square over everything that passes, both channels together.
class LevelMeter {
 public:
  void add(const float* samples, std::size_t count);

  // Decibels below full scale (1.0); minus infinity for silence or nothing.
  double peakDb() const;
  double rmsDb() const;

 private:
  double peak_ = 0;
  double sumOfSquares_ = 0;
  std::size_t count_ = 0;
};

}  // namespace morv::cli
