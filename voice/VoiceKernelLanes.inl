// What the kernels of voice and effects share: rows of samples as wide as the machine's registers, their
// reads of tables, and the hyperbolic tangent for one sample or a row. Everything is local to the file that
// includes this, as VoiceKernels.inl explains.
#pragma once

#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include <cstdint>
#include <cstring>

namespace morv {
namespace {

// x P(x^2) / Q(x^2), relative error 2.1e-8 up to 9, where tanh is 1 to within 3.1e-8.
inline constexpr float kTanhBound = 9.0F;
inline constexpr float kTanhP[] = {0.99999998F, 0.13381049F, 3.4956151e-3F, 2.0609506e-5F, 1.3355208e-8F};
inline constexpr float kTanhQ[] = {1.0F, 0.46714364F, 2.5877086e-2F, 3.2856781e-4F, 7.7767906e-7F};

template <typename V>
inline V tanhRational(V x) noexcept {
  const V u = x * x;
  const V u2 = u * u;
  // The factor x goes in early: the numerator is then ready together with the denominator.
  const V p = (x * u2) * ((kTanhP[2] + kTanhP[3] * u) + u2 * kTanhP[4]) + x * (kTanhP[0] + kTanhP[1] * u);
  const V q = (kTanhQ[0] + kTanhQ[1] * u) + u2 * ((kTanhQ[2] + kTanhQ[3] * u) + u2 * kTanhQ[4]);
  return p / q;
}

inline float bounded(float x, float low, float high) noexcept {
  x = x < low ? low : x;
  return x > high ? high : x;
}

// As many samples side by side as the machine's registers hold.
#if defined(__AVX__)
inline constexpr int kWidth = 8;
using Lanes = float __attribute__((vector_size(32)));
using LaneMask = std::int32_t __attribute__((vector_size(32)));
#else
inline constexpr int kWidth = 4;
using Lanes = float __attribute__((vector_size(16)));
using LaneMask = std::int32_t __attribute__((vector_size(16)));
#endif

inline Lanes loadRow(const float* p) noexcept {
  Lanes row;
  std::memcpy(&row, p, sizeof(row));
  return row;
}

inline void storeRow(float* p, Lanes row) noexcept { std::memcpy(p, &row, sizeof(row)); }

// The first samples of a row, up to a whole one; absent ones are zero.
inline Lanes loadPart(const float* p, int samples) noexcept {
  if (samples == kWidth) [[likely]]
    return loadRow(p);
  float part[kWidth] = {};
  for (int i = 0; i < samples; ++i) part[i] = p[i];
  return loadRow(part);
}

inline void storePart(float* p, Lanes row, int samples) noexcept {
  if (samples == kWidth) [[likely]] {
    storeRow(p, row);
    return;
  }
  float part[kWidth];
  storeRow(part, row);
  for (int i = 0; i < samples; ++i) p[i] = part[i];
}

inline Lanes select(LaneMask mask, Lanes a, Lanes b) noexcept {
  return __builtin_bit_cast(
      Lanes, (__builtin_bit_cast(LaneMask, a) & mask) | (__builtin_bit_cast(LaneMask, b) & ~mask));
}

// a b + c, in one step where the machine has one.
inline Lanes multiplyAdd(Lanes a, Lanes b, Lanes c) noexcept {
#if defined(__FMA__)
  return _mm256_fmadd_ps(a, b, c);
#else
  return a * b + c;
#endif
}

inline bool anyLane(LaneMask mask) noexcept {
#if defined(__AVX__)
  return _mm256_movemask_ps(__builtin_bit_cast(__m256, mask)) != 0;
#elif defined(__SSE2__)
  return _mm_movemask_ps(__builtin_bit_cast(__m128, mask)) != 0;
#else
  std::int32_t any = 0;
  for (int k = 0; k < kWidth; ++k) any |= mask[k];
  return any != 0;
#endif
}

// Not-a-number stays.
inline Lanes boundedLanes(Lanes x, float bound) noexcept {
  const Lanes high = Lanes{} + bound;
  const Lanes low = Lanes{} - bound;
#if defined(__AVX__)
  return _mm256_min_ps(high, _mm256_max_ps(low, x));
#elif defined(__SSE2__)
  return _mm_min_ps(high, _mm_max_ps(low, x));
#else
  x = select(x < low, low, x);
  return select(x > high, high, x);
#endif
}

// The last sample of one row, then all but the last of the next.
inline Lanes shiftedIn(Lanes earlier, Lanes row) noexcept {
#if defined(__AVX__)
  return __builtin_shufflevector(earlier, row, 7, 8, 9, 10, 11, 12, 13, 14);
#else
  return __builtin_shufflevector(earlier, row, 3, 4, 5, 6);
#endif
}

// b[i] += weight b[i - distance] for the samples behind the first `distance`.
template <int kDistance>
inline Lanes addEarlier(Lanes b, float weight) noexcept {
  const Lanes zero{};
#if defined(__AVX__)
  if constexpr (kDistance == 1)
    return b + weight * __builtin_shufflevector(zero, b, 0, 8, 9, 10, 11, 12, 13, 14);
  if constexpr (kDistance == 2)
    return b + weight * __builtin_shufflevector(zero, b, 0, 0, 8, 9, 10, 11, 12, 13);
  return b + weight * __builtin_shufflevector(zero, b, 0, 0, 0, 0, 8, 9, 10, 11);
#else
  if constexpr (kDistance == 1) return b + weight * __builtin_shufflevector(zero, b, 0, 4, 5, 6);
  return b + weight * __builtin_shufflevector(zero, b, 0, 0, 4, 5);
#endif
}

// Linear interpolation between the elements to both sides of a position.
inline float interpolated(const float* table, float position) noexcept {
  const auto at = static_cast<std::int32_t>(position);
  const float fraction = position - static_cast<float>(at);
  return table[at] + fraction * (table[at + 1] - table[at]);
}

#if defined(__AVX2__)
// Four elements, each together with its right neighbour; a masked gather, so that it waits for no old value.
inline __m256 gatherPairs(const float* table, __m128i elements) noexcept {
  const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
  const auto* pairs = reinterpret_cast<const double*>(table);
  return _mm256_castpd_ps(_mm256_mask_i32gather_pd(_mm256_setzero_pd(), pairs, elements, all, 4));
}
#endif

// `interpolated` for a row of positions.
inline Lanes interpolatedRow(const float* table, Lanes position) noexcept {
#if defined(__AVX2__)
  const __m256i at = _mm256_cvttps_epi32(position);
  // This order of the elements makes up for that of the shuffles.
  const __m256i order = _mm256_permute4x64_epi64(at, 0xD8);
  const __m256 first = gatherPairs(table, _mm256_castsi256_si128(order));
  const __m256 second = gatherPairs(table, _mm256_extracti128_si256(order, 1));
  const Lanes here = _mm256_shuffle_ps(first, second, 0x88);
  const Lanes next = _mm256_shuffle_ps(first, second, 0xDD);
  const Lanes fraction = position - _mm256_cvtepi32_ps(at);
  return here + fraction * (next - here);
#else
  Lanes row;
  for (int k = 0; k < kWidth; ++k) row[k] = interpolated(table, position[k]);
  return row;
#endif
}

}  // namespace
}  // namespace morv
