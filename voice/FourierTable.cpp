#include "voice/FourierTable.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace morv {
namespace {

constexpr float kFullScale16 = 32767.0F;

// table[n] += sigma a cos(2 pi k n / size + 2 pi phase); the angle is worked out in double and rounded to
// float.
void addHarmonics(int harmonics, const float* amplitudes, int size, float* table, float phaseCycles) {
  const double shift = 2.0 * std::numbers::pi * static_cast<double>(phaseCycles);
  for (int k = 1; k <= harmonics; ++k) {
    const float amplitude = amplitudes != nullptr ? amplitudes[k - 1] : 1.0F;
    if (amplitude == 0.0F) continue;
    const auto x = static_cast<float>(k * std::numbers::pi / harmonics);
    const float sigma = std::sin(x) / x;
    for (int n = 0; n < size; ++n) {
      const auto angle = static_cast<float>(k * 2.0 * n * std::numbers::pi / size + shift);
      table[n] += sigma * amplitude * std::cos(angle);
    }
  }
}

std::int16_t toInt16(float value) {
  return static_cast<std::int16_t>(std::clamp(value, -32768.0F, kFullScale16));
}

}  // namespace

void fourierTableFloat(int harmonics, const float* amplitudes, int size, float* table, int clear,
                       float phaseCycles) {
  if (clear != 0) std::fill_n(table, size, 0.0F);
  addHarmonics(harmonics, amplitudes, size, table, phaseCycles);
  normalise_table(table, size, 1.0F);
}

void fourierTableInt16(int harmonics, const float* amplitudes, int size, std::int16_t* table, int clear,
                       float phaseCycles) {
  std::vector<float> sum(static_cast<std::size_t>(size), 0.0F);
  if (clear == 0) {
    for (int n = 0; n < size; ++n)
      sum[static_cast<std::size_t>(n)] = static_cast<float>(table[n]) / kFullScale16;
  }
  fourierTableFloat(harmonics, amplitudes, size, sum.data(), 0, phaseCycles);
  for (int n = 0; n < size; ++n) table[n] = toInt16(sum[static_cast<std::size_t>(n)] * kFullScale16);
}

void fourierTableInt16AddHarmonics(int harmonics, const float* amplitudes, int size, std::int16_t* table,
                                   float phaseCycles) {
  std::vector<float> sum(static_cast<std::size_t>(size), 0.0F);
  addHarmonics(harmonics, amplitudes, size, sum.data(), phaseCycles);
  for (int n = 0; n < size; ++n) {
    table[n] = toInt16(static_cast<float>(table[n]) + sum[static_cast<std::size_t>(n)] * kFullScale16);
  }
}

void normalise_table(float* table, int size, float /*scale*/) {
  float peak = 0.0F;
  for (int n = 0; n < size; ++n) peak = std::max(peak, table[n]);
  if (peak == 0.0F) return;
  for (int n = 0; n < size; ++n) table[n] /= peak;
}

}  // namespace morv
