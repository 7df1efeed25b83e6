#include "voice/PhaseWalk.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace morv {
namespace {

constexpr int kMantissaBits = 23;
constexpr std::uint32_t kExponentMask = 0xFFU;

// Further steps of `d` from `q`, up to `most`, that stay below `end` and between the powers of two around
// `q`, all counted in the distance of floats there. None from a number too small to be normal.
std::int64_t stepsInside(float q, float d, float end, std::int64_t most) noexcept {
  const std::uint32_t exponent = (std::bit_cast<std::uint32_t>(q) >> kMantissaBits) & kExponentMask;
  if (exponent <= kMantissaBits + 1) return 0;
  const float power = std::bit_cast<float>(exponent << kMantissaBits);
  constexpr std::uint64_t kBias = 127 + kMantissaBits + 1023;
  const auto perUnit = std::bit_cast<double>((kBias - exponent) << 52);
  // Whole numbers below 2^25, whose quotients keep their whole part in double.
  const auto units = [&](double x) { return x * perUnit; };
  const double each = units(static_cast<double>(d));
  if (!(each >= 1.0)) return 0;
  // A sum that comes to the power itself may stem from beyond it, where floats are denser.
  const double beyond = q < 0.0F ? -static_cast<double>(power)
                                 : std::min(2.0 * static_cast<double>(power), static_cast<double>(end));
  const double distance = units(beyond - static_cast<double>(q)) - 1.0;
  if (static_cast<double>(most) * each <= distance) return most;
  return std::min(static_cast<std::int64_t>(distance / each), most);
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
    const std::int64_t further = stepsInside(q, d, end, steps - done);
    if (further <= 0) continue;
    p = static_cast<float>(static_cast<double>(q) + static_cast<double>(further) * static_cast<double>(d));
    done += further;
  }
  return {p, done, false};
}

int fillPhase(float* position, float step, float end, float* out, int steps) noexcept {
  float p = *position;
  int done = 0;
  while (done < steps) {
    const float q = p + step;
    const float d = q - p;
    out[done++] = q;
    p = q;
    if (q >= end) break;
    if (d == 0.0F || q == 0.0F || (q + step) - q != d) continue;
    const auto further = static_cast<int>(stepsInside(q, d, end, steps - done));
    if (further <= 0) continue;
    float* run = out + done;
    for (int i = 0; i < further; ++i) run[i] = q + static_cast<float>(i + 1) * d;
    p = run[further - 1];
    done += further;
  }
  *position = p;
  return done;
}

}  // namespace morv
