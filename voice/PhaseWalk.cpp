#include "voice/PhaseWalk.h"

#include <algorithm>
#include <cmath>

namespace morv {
namespace {

constexpr int kFloatDigits = 24;

// Further steps of `d` from `q` that stay below `end` and between the powers of two around `q`.
std::int64_t stepsInside(float q, float d, float end) noexcept {
  int exponent = 0;
  std::frexp(q, &exponent);
  const double unit = std::ldexp(1.0, exponent - kFloatDigits);
  const auto units = [&](double x) { return static_cast<std::int64_t>(x / unit); };
  const std::int64_t each = units(static_cast<double>(d));
  if (each <= 0) return 0;
  if (q < 0.0F) {
    const double last = -std::ldexp(1.0, exponent - 1);
    return units(last - static_cast<double>(q)) / each;
  }
  const double beyond = std::min(std::ldexp(1.0, exponent), static_cast<double>(end));
  return (units(beyond - static_cast<double>(q)) - 1) / each;
}

}  // namespace

// Two equal moves behind each other show that a sum halfway between two floats, if there was one, has come to
// the even one, from which such sums round alike too.
PhaseWalk walkPhase(float position, float step, float end, std::int64_t steps) noexcept {
  float p = position;
  std::int64_t done = 0;
  while (done < steps) {
    const float q = p + step;
    ++done;
    if (q >= end) return {q, done, true};
    const float d = q - p;
    const bool isStuck = q == p;
    p = q;
    if (isStuck) return {p, steps, false};
    if (q == 0.0F || (q + step) - q != d) continue;
    const std::int64_t further = std::min(stepsInside(q, d, end), steps - done);
    if (further <= 0) continue;
    p = static_cast<float>(static_cast<double>(q) + static_cast<double>(further) * static_cast<double>(d));
    done += further;
  }
  return {p, done, false};
}

}  // namespace morv
