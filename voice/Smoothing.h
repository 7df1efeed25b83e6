#pragma once

namespace morv {

// Coefficient c of the one-pole follower y = c (y - target) + target that comes within a thousandth of its
// target in `timeMs` milliseconds at `sampleRateHz` steps per second. The logarithm is taken in single
// precision, the rest in double. Any thread.
float smoothingCoefficient(double timeMs, float sampleRateHz) noexcept;

}  // namespace morv
