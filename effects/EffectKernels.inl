// Bodies of the effects' kernels; each translation unit that includes this compiles them for one kind of
// machine. Everything is local to the file and nothing of the standard library's templates is used: a
// function shared between the files could be taken from the one that the machine cannot run.

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include "effects/EffectKernels.h"
#include "voice/VoiceKernelLanes.inl"

namespace morv {
namespace {

#if defined(__AVX__)
constexpr Lanes kSteps = {0, 1, 2, 3, 4, 5, 6, 7};
#else
constexpr Lanes kSteps = {0, 1, 2, 3};
#endif

inline float readOne(const StraightRead& r, int k) noexcept {
  const auto step = static_cast<float>(k);
  const float fraction = ((r.position + step) - r.delaySamples + r.lap) - (r.first + step);
  return r.from[k] + fraction * (r.from[k + 1] - r.from[k]);
}

inline Lanes readRow(const StraightRead& r, int k) noexcept {
  const Lanes step = static_cast<float>(k) + kSteps;
  const Lanes fraction = ((r.position + step) - r.delaySamples + r.lap) - (r.first + step);
  const Lanes here = loadRow(r.from + k);
  return here + fraction * (loadRow(r.from + k + 1) - here);
}

void read(const StraightRead& read, float* out, int frames) noexcept {
  const StraightRead r = read;
  int k = 0;
  for (; k + kWidth <= frames; k += kWidth) storeRow(out + k, readRow(r, k));
  for (; k < frames; ++k) out[k] = readOne(r, k);
}

void addReads(const StraightRead* reads, const float* gains, int count, float* out, int frames) noexcept {
  int k = 0;
  for (; k + kWidth <= frames; k += kWidth) {
    Lanes sum = loadRow(out + k);
    for (int j = 0; j < count; ++j) sum = sum + gains[j] * readRow(reads[j], k);
    storeRow(out + k, sum);
  }
  for (; k < frames; ++k) {
    for (int j = 0; j < count; ++j) out[k] += gains[j] * readOne(reads[j], k);
  }
}

#if defined(__AVX2__)

// Four frames, in double.
inline __m128 movingHalfRow(const float* buffer, __m256d position) noexcept {
  const __m128i at = _mm256_cvttpd_epi32(position);
  const __m256 pairs = gatherPairs(buffer, at);
  const __m128 low = _mm256_castps256_ps128(pairs);
  const __m128 high = _mm256_extractf128_ps(pairs, 1);
  const __m256d here = _mm256_cvtps_pd(_mm_shuffle_ps(low, high, 0x88));
  const __m256d next = _mm256_cvtps_pd(_mm_shuffle_ps(low, high, 0xDD));
  const __m256d fraction = position - _mm256_cvtepi32_pd(at);
  return _mm256_cvtpd_ps(here + fraction * (next - here));
}

#endif

void readMoving(const float* buffer, float position, float lap, const float* delaysSamples, float* out,
                int frames) noexcept {
  int k = 0;
#if defined(__AVX2__)
  for (; k + kWidth <= frames; k += kWidth) {
    const Lanes at = (position + (static_cast<float>(k) + kSteps)) - loadRow(delaysSamples + k) + lap;
    storeRow(out + k, interpolatedRow(buffer, at));
  }
#endif
  for (; k < frames; ++k) {
    out[k] = interpolated(buffer, (position + static_cast<float>(k)) - delaysSamples[k] + lap);
  }
}

void readMovingDouble(const float* buffer, double position, double lap, const float* delaysSeconds,
                      double rateHz, float* out, int frames) noexcept {
  int k = 0;
#if defined(__AVX2__)
  const __m256d steps = {0, 1, 2, 3};
  for (; k + 4 <= frames; k += 4) {
    const __m256d delay = _mm256_cvtps_pd(_mm_loadu_ps(delaysSeconds + k)) * rateHz;
    const __m256d at = (position + (static_cast<double>(k) + steps)) - delay + lap;
    _mm_storeu_ps(out + k, movingHalfRow(buffer, at));
  }
#endif
  for (; k < frames; ++k) {
    const double p =
        (position + static_cast<double>(k)) - static_cast<double>(delaysSeconds[k]) * rateHz + lap;
    const auto i = static_cast<int>(p);
    const double fraction = p - static_cast<double>(i);
    const auto here = static_cast<double>(buffer[i]);
    out[k] = static_cast<float>(here + fraction * (static_cast<double>(buffer[i + 1]) - here));
  }
}

void allPass(const float* from, float fraction, float g, const float* in, float* out, float* entering,
             int frames) noexcept {
  int k = 0;
  for (; k + kWidth <= frames; k += kWidth) {
    const Lanes x = loadRow(in + k);
    const Lanes here = loadRow(from + k);
    const Lanes y = (here + fraction * (loadRow(from + k + 1) - here)) - g * x;
    storeRow(entering + k, x + g * y);
    storeRow(out + k, y);
  }
  for (; k < frames; ++k) {
    const float x = in[k];
    const float y = (from[k] + fraction * (from[k + 1] - from[k])) - g * x;
    entering[k] = x + g * y;
    out[k] = y;
  }
}

void mixAllPass(const float* delayed, float g, const float* in, float* out, float* entering,
                int frames) noexcept {
  int k = 0;
  for (; k + kWidth <= frames; k += kWidth) {
    const Lanes x = loadRow(in + k);
    const Lanes y = loadRow(delayed + k) - g * x;
    storeRow(entering + k, x + g * y);
    storeRow(out + k, y);
  }
  for (; k < frames; ++k) {
    const float x = in[k];
    const float y = delayed[k] - g * x;
    entering[k] = x + g * y;
    out[k] = y;
  }
}

// The integrator is z' = c z + 2 G in with c = 1 - 2 G, whose sums over 1, 2, 4 and 8 samples come from each
// other by doubling. What it loses over some samples, 1 - c^n, is worked out as such: next to 1 a low
// cutoff's would drown.
void lowpass(float G, float* z, const float* in, float* out, int frames) noexcept {
  const float gain = 2.0F * G;
  const float c = 1.0F - gain;
  const float c2 = c * c;
  const float c4 = c2 * c2;
  const float loss2 = gain * (2.0F - gain);
  const float loss3 = loss2 + c2 * gain;
  const float loss4 = loss2 * (2.0F - loss2);
#if defined(__AVX__)
  const Lanes losses = {gain,
                        loss2,
                        loss3,
                        loss4,
                        loss4 + c4 * gain,
                        loss4 + c4 * loss2,
                        loss4 + c4 * loss3,
                        loss4 * (2.0F - loss4)};
#else
  const Lanes losses = {gain, loss2, loss3, loss4};
#endif
  float state = *z;
  int k = 0;
  for (; k + kWidth <= frames; k += kWidth) {
    const Lanes x = loadRow(in + k);
    Lanes sums = gain * x;
    sums = addEarlier<1>(sums, c);
    sums = addEarlier<2>(sums, c2);
    if constexpr (kWidth == 8) sums = addEarlier<4>(sums, c4);
    const Lanes behind = state + (sums - losses * state);
    const Lanes old = Lanes{} + state;
    const Lanes ahead = shiftedIn(old, behind);
    storeRow(out + k, ahead + G * (x - ahead));
    state = behind[kWidth - 1];
  }
  for (; k < frames; ++k) {
    const float x = in[k];
    out[k] = state + G * (x - state);
    state += gain * (x - state);
  }
  *z = state;
}

inline Lanes numbersOnly(Lanes x) noexcept {
  return __builtin_bit_cast(Lanes, __builtin_bit_cast(LaneMask, x) & (x == x));
}

void hold(const float* in, float bound, float* out, int frames) noexcept {
  int k = 0;
  for (; k + kWidth <= frames; k += kWidth) {
    storeRow(out + k, boundedLanes(numbersOnly(loadRow(in + k)), bound));
  }
  for (; k < frames; ++k) out[k] = in[k] == in[k] ? bounded(in[k], -bound, bound) : 0.0F;
}

void scale(float gain, const float* in, float* out, int frames) noexcept {
  int k = 0;
  for (; k + kWidth <= frames; k += kWidth) storeRow(out + k, gain * loadRow(in + k));
  for (; k < frames; ++k) out[k] = gain * in[k];
}

void mix(float gainA, const float* a, float gainB, const float* b, float* out, int frames) noexcept {
  int k = 0;
  for (; k + kWidth <= frames; k += kWidth) {
    storeRow(out + k, gainA * loadRow(a + k) + gainB * loadRow(b + k));
  }
  for (; k < frames; ++k) out[k] = gainA * a[k] + gainB * b[k];
}

inline Lanes lesser(Lanes a, Lanes b) noexcept {
#if defined(__AVX__)
  return _mm256_min_ps(a, b);
#elif defined(__SSE2__)
  return _mm_min_ps(a, b);
#else
  return select(a < b, a, b);
#endif
}

// The least of the row's samples.
inline float leastOf(Lanes row) noexcept {
#if defined(__AVX__)
  row = lesser(row, __builtin_shufflevector(row, row, 4, 5, 6, 7, 0, 1, 2, 3));
  row = lesser(row, __builtin_shufflevector(row, row, 2, 3, 0, 1, 6, 7, 4, 5));
  row = lesser(row, __builtin_shufflevector(row, row, 1, 0, 3, 2, 5, 4, 7, 6));
#else
  row = lesser(row, __builtin_shufflevector(row, row, 2, 3, 0, 1));
  row = lesser(row, __builtin_shufflevector(row, row, 1, 0, 3, 2));
#endif
  return row[0];
}

inline bool isAll(LaneMask mask) noexcept {
#if defined(__AVX__)
  return _mm256_movemask_ps(__builtin_bit_cast(__m256, mask)) == 0xFF;
#elif defined(__SSE2__)
  return _mm_movemask_ps(__builtin_bit_cast(__m128, mask)) == 0xF;
#else
  bool all = true;
  for (int j = 0; j < kWidth; ++j) all &= mask[j] != 0;
  return all;
#endif
}

// The greatest is the least of the values turned round.
bool range(const float* values, int frames, float* least, float* greatest) noexcept {
  float low = values[0];
  float high = values[0];
  bool areNumbers = true;
  int k = 0;
  if (frames >= kWidth) {
    Lanes lows = loadRow(values);
    Lanes turnedHighs = -lows;
    LaneMask numbers = lows == lows;
    for (; k + kWidth <= frames; k += kWidth) {
      const Lanes row = loadRow(values + k);
      lows = lesser(row, lows);
      turnedHighs = lesser(-row, turnedHighs);
      numbers &= row == row;
    }
    low = leastOf(lows);
    high = -leastOf(turnedHighs);
    areNumbers = isAll(numbers);
  }
  for (; k < frames; ++k) {
    low = values[k] < low ? values[k] : low;
    high = values[k] > high ? values[k] : high;
    areNumbers &= values[k] == values[k];
  }
  *least = low;
  *greatest = high;
  return areNumbers;
}

constexpr EffectKernels effectKernelsNamed(const char* name) {
  EffectKernels kernels{};
  kernels.name = name;
  kernels.read = read;
  kernels.addReads = addReads;
  kernels.readMoving = readMoving;
  kernels.readMovingDouble = readMovingDouble;
  kernels.allPass = allPass;
  kernels.mixAllPass = mixAllPass;
  kernels.lowpass = lowpass;
  kernels.hold = hold;
  kernels.scale = scale;
  kernels.mix = mix;
  kernels.range = range;
  return kernels;
}

}  // namespace
}  // namespace morv
