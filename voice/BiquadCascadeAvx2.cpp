// Compiled for AVX2; nothing in here may run, or be shared with other files, before the machine was asked.

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include "voice/BiquadCascade.h"

namespace morv {

#if defined(__AVX2__)

namespace {

using Pair = double __attribute__((vector_size(16)));
using Quad = double __attribute__((vector_size(32)));

// Direct form I of one section for two channels, or of two for as many.
template <typename V>
struct Section {
  V b0, b1, b2, a1, a2;
  V x1, x2, y1, y2;

  inline V step(V x) noexcept {
    const V y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    return y;
  }
};

Section<Pair> sectionOf(const BiquadPair& p) noexcept {
  const auto both = [&p](int k) noexcept { return _mm_set1_pd(p.coefficients[k]); };
  const auto delays = [&p](int k) noexcept { return _mm_set_pd(p.delays2[k], p.delays1[k]); };
  return {both(0), both(1), both(2), both(3), both(4), delays(0), delays(1), delays(2), delays(3)};
}

Section<Quad> sideBySide(const Section<Pair>& low, const Section<Pair>& high) noexcept {
  const auto joined = [](Pair l, Pair h) noexcept { return _mm256_set_m128d(h, l); };
  return {joined(low.b0, high.b0), joined(low.b1, high.b1), joined(low.b2, high.b2),
          joined(low.a1, high.a1), joined(low.a2, high.a2), joined(low.x1, high.x1),
          joined(low.x2, high.x2), joined(low.y1, high.y1), joined(low.y2, high.y2)};
}

void store(Pair x1, Pair x2, Pair y1, Pair y2, const BiquadPair& p) noexcept {
  const Pair states[] = {x1, x2, y1, y2};
  for (int k = 0; k < 4; ++k) {
    _mm_storel_pd(p.delays1 + k, states[k]);
    _mm_storeh_pd(p.delays2 + k, states[k]);
  }
}

// Frames by which each section is behind the one ahead of it. By then that one's result is ready, so that a
// turn of all three takes no longer than one section's own recursion.
constexpr int kLag = 4;
constexpr int kBothLags = 2 * kLag;  // of the third pair behind the first
constexpr int kFramesAtOnce = 64;

// `frames` is 2 kLag to kFramesAtOnce.
void runStretch(const BiquadPair* pairs, const float* in1, const float* in2, float* out1, float* out2,
                int frames) noexcept {
  Section<Pair> first = sectionOf(pairs[0]);
  Section<Pair> third = sectionOf(pairs[2]);
  // The first section's two channels of a frame, then the second one's of kLag frames earlier, as floats.
  alignas(16) float between[kFramesAtOnce + 2 * kLag][4];
  const auto input = [&](int i) noexcept {
    return _mm_insert_ps(_mm_load_ss(in1 + i), _mm_load_ss(in2 + i), 0x10);
  };
  for (int i = 0; i < kLag; ++i) {
    _mm_store_ps(between[i + kLag], _mm_cvtpd_ps(first.step(_mm_cvtps_pd(input(i)))));
  }
  Section<Quad> both = sideBySide(first, sectionOf(pairs[1]));
  const auto runBoth = [&](int i, __m128 in) noexcept {
    const __m128 x = _mm_loadh_pi(in, reinterpret_cast<const __m64*>(between[i]));
    const __m128 y = _mm256_cvtpd_ps(both.step(_mm256_cvtps_pd(x)));
    _mm_store_ps(between[i + kLag], y);
  };
  const auto runThird = [&](int i) noexcept {
    const __m128i x = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(between[i] + 2));
    const __m128 y = _mm_cvtpd_ps(third.step(_mm_cvtps_pd(_mm_castsi128_ps(x))));
    _mm_store_ss(out1 + i - kBothLags, y);
    _mm_store_ss(out2 + i - kBothLags, _mm_movehdup_ps(y));
  };
  for (int i = kLag; i < 2 * kLag; ++i) runBoth(i, input(i));
  for (int i = 2 * kLag; i < frames; ++i) {
    const __m128 in = input(i);
    runThird(i);
    runBoth(i, in);
  }
  store(_mm256_castpd256_pd128(both.x1), _mm256_castpd256_pd128(both.x2), _mm256_castpd256_pd128(both.y1),
        _mm256_castpd256_pd128(both.y2), pairs[0]);
  for (int i = frames; i < frames + kLag; ++i) {
    runThird(i);
    runBoth(i, _mm_setzero_ps());
  }
  store(_mm256_extractf128_pd(both.x1, 1), _mm256_extractf128_pd(both.x2, 1),
        _mm256_extractf128_pd(both.y1, 1), _mm256_extractf128_pd(both.y2, 1), pairs[1]);
  for (int i = frames + kLag; i < frames + 2 * kLag; ++i) runThird(i);
  store(third.x1, third.x2, third.y1, third.y2, pairs[2]);
}

int runStretches(const BiquadPair* pairs, const float* in1, const float* in2, float* out1, float* out2,
                 int frames) noexcept {
  int done = 0;
  while (frames - done >= 2 * kLag) {
    const int n = frames - done < kFramesAtOnce ? frames - done : kFramesAtOnce;
    runStretch(pairs, in1 + done, in2 + done, out1 + done, out2 + done, n);
    done += n;
  }
  return done;
}

}  // namespace

ThreeBiquadPairs avx2ThreeBiquadPairs() noexcept {
  return __builtin_cpu_supports("avx2") ? runStretches : nullptr;
}

#else

ThreeBiquadPairs avx2ThreeBiquadPairs() noexcept { return nullptr; }

#endif

}  // namespace morv
