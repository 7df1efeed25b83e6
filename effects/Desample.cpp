#include "effects/Desample.h"

#include <cstddef>

namespace morv {
namespace {

constexpr int kLanes = 16;

float sumOfProducts(const float* a, const float* b, int count) noexcept MORV_NONBLOCKING {
  float lanes[kLanes] = {};
  int n = 0;
  for (; n + kLanes <= count; n += kLanes) {
    for (int k = 0; k < kLanes; ++k) lanes[k] += a[n + k] * b[n + k];
  }
  for (int k = 0; n < count; ++n, ++k) lanes[k] += a[n] * b[n];
  for (int half = kLanes / 2; half > 0; half /= 2) {
    for (int k = 0; k < half; ++k) lanes[k] += lanes[k + half];
  }
  return lanes[0];
}

}  // namespace

void desample(const float* in, int factor, const float* coefficients, int length, float* out,
              int frames) noexcept {
  for (int n = 0; n < frames; ++n)
    out[n] = sumOfProducts(coefficients, in + static_cast<std::ptrdiff_t>(n) * factor, length);
}

}  // namespace morv
