#include "effects/FIR.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "effects/FIRTables.h"

namespace morv {
namespace {

constexpr int kLanes = 16;
constexpr std::size_t kDecimatorLengths = 5;

float sumOf(const std::array<float, kLanes>& lanes) noexcept MORV_NONBLOCKING {
  std::array<float, kLanes> sums = lanes;
  for (int half = kLanes / 2; half > 0; half /= 2) {
    for (int k = 0; k < half; ++k) sums[k] += sums[k + half];
  }
  return sums[0];
}

// Sum of a[n] b[n].
float sumOfProducts(const float* a, const float* b, int count) noexcept MORV_NONBLOCKING {
  std::array<float, kLanes> lanes{};
  int n = 0;
  for (; n + kLanes <= count; n += kLanes) {
    for (int k = 0; k < kLanes; ++k) lanes[k] += a[n + k] * b[n + k];
  }
  for (int k = 0; n < count; ++n, ++k) lanes[k] += a[n] * b[n];
  return sumOf(lanes);
}

// Sum of a[-n] b[n]: `a` points at the last of `count` values.
float sumOfProductsBackwards(const float* a, const float* b, int count) noexcept MORV_NONBLOCKING {
  std::array<float, kLanes> lanes{};
  int n = 0;
  for (; n + kLanes <= count; n += kLanes) {
    for (int k = 0; k < kLanes; ++k) lanes[k] += a[-(n + k)] * b[n + k];
  }
  for (int k = 0; n < count; ++n, ++k) lanes[k] += a[-n] * b[n];
  return sumOf(lanes);
}

void initHistory(fir* filter, int length, const float* coefficients, std::size_t lengths) {
  filter->length = length;
  filter->buffer = ZeroedFloats(static_cast<std::size_t>(std::max(length, 0)) * lengths);
  filter->coefficients = coefficients;
  filter->index = 0;
}

}  // namespace

void initFIR(fir* filter, int length, const float* coefficients) {
  initHistory(filter, length, coefficients, 2);
}

void initHalfbandFIR(fir* filter) { initFIR(filter, BL4x, B4x); }

void initVDSPDecimator(fir* filter) { initHistory(filter, BL4x, B4x, kDecimatorLengths); }

void resetHalfbandFIR(fir* filter) noexcept MORV_NONBLOCKING {
  std::fill_n(filter->buffer.data(), filter->buffer.size(), 0.0F);
  filter->index = 0;
}

float fir_basic(int length, const float* coefficients, float* buffer, float in) noexcept MORV_NONBLOCKING {
  buffer[0] = in;
  const float out = sumOfProducts(coefficients, buffer, length);
  std::copy_backward(buffer, buffer + length - 1, buffer + length);
  return out;
}

float fir_circular(int length, const float* coefficients, float* buffer, int* index, int active,
                   float in) noexcept MORV_NONBLOCKING {
  const int newest = *index;
  buffer[newest] = in;
  *index = newest + 1 < length ? newest + 1 : 0;
  if (active == 0) return 0.0F;

  // The oldest sample meets the last coefficient: first the run behind the newest one, then that up to it.
  const int older = length - 1 - newest;
  return sumOfProductsBackwards(coefficients + (length - 1), buffer + newest + 1, older) +
         sumOfProductsBackwards(coefficients + newest, buffer, newest + 1);
}

float fir_split(int length, const float* coefficients, float* buffer, int* index,
                float in) noexcept MORV_NONBLOCKING {
  const int newest = *index;
  buffer[newest] = in;
  *index = newest > 0 ? newest - 1 : length - 1;

  const int ahead = length - newest;
  return sumOfProducts(coefficients, buffer + newest, ahead) +
         sumOfProducts(coefficients + ahead, buffer, newest);
}

float halfband(fir* filter, int active, float in) noexcept MORV_NONBLOCKING {
  return fir_circular(filter->length, filter->coefficients, filter->buffer.data(), &filter->index, active,
                      in);
}

void decimate(fir* filter, float in) noexcept MORV_NONBLOCKING {
  float* buffer = filter->buffer.data();
  std::copy_backward(buffer, buffer + filter->buffer.size() - 1, buffer + filter->buffer.size());
  buffer[0] = in;
}

}  // namespace morv
