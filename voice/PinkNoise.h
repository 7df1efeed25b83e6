#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/Random.h"

namespace morv {

// A stretch of pink noise: Gaussian noise through three one-pole filters side by side, whose corners lie so
// that the sum falls by some 10 dB per decade. Never changes once it is made, so that all oscillators of one
// seed share it.
struct PinkNoise {
  std::vector<float> samples;
  Random behind;  // the generator as the draws leave it

  // That of a seed, which exists once in the process as long as somebody holds it. `length` in samples. Any
  // thread but the render thread; throws std::bad_alloc.
  static std::shared_ptr<const PinkNoise> ofSeed(std::uint64_t seed, int length);
};

}  // namespace morv
