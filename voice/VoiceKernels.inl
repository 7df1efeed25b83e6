// Bodies of the voice's kernels; each translation unit that includes this compiles them for one kind of
// machine. Everything is local to the file and nothing of the standard library's templates is used: a
// function shared between the files could be taken from the one that the machine cannot run. Polynomials and
// rational functions are minimax fits in relative error, made by iteratively reweighted least squares.

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include <cstdint>

#include "voice/OscillatorKernels.inl"
#include "voice/PulseKernels.inl"
#include "voice/SEMFilterKernels.inl"
#include "voice/VoiceKernelLanes.inl"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

void tanhInPlace(float* x, int frames) noexcept {
  for (int i = 0; i < frames; ++i) x[i] = tanhRational(bounded(x[i], -kTanhBound, kTanhBound));
}

// 2^k for a whole number held in a float, -126 to 127.
inline float powerOfTwo(std::int32_t k) noexcept { return __builtin_bit_cast(float, (k + 127) << 23); }

// The nearest whole number of a value up to four million: adding this makes the float drop its fraction.
inline float roundedToWhole(float x) noexcept {
  constexpr float kShift = 12582912.0F;  // 1.5 x 2^23
  return (x + kShift) - kShift;
}

// e^x - 1 for x from -87 to 0, without the cancellation near 0: with x = k ln 2 + r it is 2^k (e^r - 1) +
// (2^k - 1).
inline float expMinusOne(float x) noexcept {
  constexpr float kLog2e = 1.44269504F;
  constexpr float kLn2High = 0.693359375F;
  constexpr float kLn2Low = -2.12194440e-4F;
  const float n = roundedToWhole(x * kLog2e);
  const auto k = static_cast<std::int32_t>(n == n ? n : 0.0F);
  const float r = (x - n * kLn2High) - n * kLn2Low;
  const float p =
      r *
      (1.00000001F +
       r * (0.49999998F + r * (0.16666493F + r * (4.1667175e-2F + r * (8.3705116e-3F + r * 1.3888836e-3F)))));
  const float scale = powerOfTwo(k);
  return scale * p + (scale - 1.0F);
}

void softLimit(const float* in, float gain, float* out, int frames) noexcept {
  constexpr float kLowest = -87.0F;
  for (int i = 0; i < frames; ++i) {
    const float y = in[i] * gain;
    const float magnitude = y < 0.0F ? y : -y;
    const float limited = -expMinusOne(magnitude < kLowest ? kLowest : magnitude);
    out[i] = y < 0.0F ? -limited : limited;
  }
}

// Whole turns taken off and folded into a quarter turn, where an odd polynomial has a relative error
// of 5.3e-9.
void sinPi(const float* p, float* out, int frames) noexcept {
  constexpr float kBound = 2.0e6F;
  for (int i = 0; i < frames; ++i) {
    const float far = __builtin_fabsf(p[i]);
    float x = far < kBound ? p[i] : 0.0F;
    x -= 2.0F * roundedToWhole(0.5F * x);
    const float left = __builtin_fabsf(x);
    const float right = 1.0F - left;
    const float t = left < right ? left : right;
    const float u = t * t;
    const float sine =
        t * (3.1415926F + u * (-5.1677097F + u * (2.5500698F + u * (-0.59824234F + u * 7.7560750e-2F))));
    out[i] = __builtin_copysignf(sine, x);
  }
}

// A row of samples at a time: with b = (1 - c) x the follower is y = c y' + b, whose sums of b over 1, 2, 4
// and 8 samples come from each other by doubling. A row in which y leaves the bound is done again one by one.
void smoothBounded(float* x, float c, float* state, int frames) noexcept {
  float powers[kWidth];
  powers[0] = c;
  for (int k = 1; k < kWidth; ++k) powers[k] = powers[k - 1] * c;
  const Lanes weights = loadRow(powers);
  float y = *state;
  int i = 0;
  for (; i + kWidth <= frames; i += kWidth) {
    const Lanes in = loadRow(x + i);
    Lanes b = in - c * in;
    b = addEarlier<1>(b, powers[0]);
    b = addEarlier<2>(b, powers[1]);
    if constexpr (kWidth == 8) b = addEarlier<4>(b, powers[3]);
    const Lanes out = weights * y + b;
    const LaneMask beyond = (out > 1.0F) | (out < -1.0F);
    if (anyLane(beyond)) [[unlikely]] {
      for (int k = 0; k < kWidth; ++k) {
        y = bounded(c * (y - x[i + k]) + x[i + k], -1.0F, 1.0F);
        x[i + k] = y;
      }
      continue;
    }
    storeRow(x + i, out);
    y = out[kWidth - 1];
  }
  for (; i < frames; ++i) {
    y = bounded(c * (y - x[i]) + x[i], -1.0F, 1.0F);
    x[i] = y;
  }
  *state = y;
}

void amplify(const AmpSettings& settings, const float* max, float* volumes, float* in, float* out,
             int frames) noexcept {
  const AmpSettings s = settings;
  for (int i = 0; i < frames; ++i) {
    const float x = in[i] * (s.gain + max[i]);
    const float v = volumes[i] + s.volume;
    in[i] = x;
    volumes[i] = v;
    out[i] = x * v;
  }
}

void amplifyTwicePanned(const AmpSettings& settings, const float* max, float* volumes, float* in, float* left,
                        float* right, int frames) noexcept {
  const AmpSettings s = settings;
  for (int i = 0; i < frames; ++i) {
    const float g = s.gain + max[i];
    const float v = volumes[i] + s.volume;
    const float x = in[i] * g * g * v * v;
    in[i] = x;
    volumes[i] = v;
    left[i] += x * s.left;
    right[i] += x * s.right;
  }
}

constexpr VoiceKernels kernelsNamed(const char* name) {
  VoiceKernels kernels{};
  kernels.name = name;
  kernels.tanhInPlace = tanhInPlace;
  kernels.softLimit = softLimit;
  kernels.sinPi = sinPi;
  kernels.smoothBounded = smoothBounded;
  kernels.amplify = amplify;
  kernels.amplifyTwicePanned = amplifyTwicePanned;
  kernels.centsFactors = centsFactors;
  kernels.oscillatorSteps = oscillatorSteps;
  kernels.secondPhases = secondPhases;
  kernels.pulseWave = pulseWave;
  kernels.pulseOscillator = pulseOscillator;
  kernels.readTable = readTable;
  kernels.addTable = addTable;
  kernels.semCoefficients = semCoefficients;
  kernels.semFilterBank = semFilterBank;
  return kernels;
}

}  // namespace
}  // namespace morv
