// The oscillator's kernels that read tables, and the variable pulse made of them. Everything is local to the
// file that includes this, as VoiceKernels.inl explains.
#pragma once

#include "voice/OscillatorKernels.inl"
#include "voice/VoiceKernelLanes.inl"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

inline float interpolated(const float* table, float position) noexcept {
  const auto at = static_cast<std::int32_t>(position);
  const float fraction = position - static_cast<float>(at);
  return table[at] + fraction * (table[at + 1] - table[at]);
}

// The same for a row of positions.
inline Lanes interpolatedRow(const float* table, Lanes position) noexcept {
#if defined(__AVX2__)
  // Each gather fetches a sample together with its neighbour; the order of the indices makes up for that of
  // the shuffles.
  const __m256i at = _mm256_cvttps_epi32(position);
  const __m256i order = _mm256_permute4x64_epi64(at, 0xD8);
  const auto* pairs = reinterpret_cast<const double*>(table);
  const __m256d none = _mm256_setzero_pd();
  const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
  const auto fetch = [&](__m128i indices) {
    return _mm256_castpd_ps(_mm256_mask_i32gather_pd(none, pairs, indices, all, 4));
  };
  const __m256 first = fetch(_mm256_castsi256_si128(order));
  const __m256 second = fetch(_mm256_extracti128_si256(order, 1));
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

// The pulse's settings where no store can touch them.
struct PulseRows {
  const float* const saw;
  const float* const reversed;
  const Lanes a;
  const Lanes shape;
  const Lanes height;
  const Lanes level;

  explicit PulseRows(const PulseWaveSettings& s) noexcept
      : saw(s.saw),
        reversed(s.reversed),
        a(Lanes{} + s.a),
        shape(Lanes{} + s.shape),
        height(Lanes{} + s.height),
        level(Lanes{} + s.level) {}

  Lanes at(Lanes one, Lanes two, Lanes modulation) const noexcept {
    constexpr float kTableGain = 0.95F;
    const Lanes first = kTableGain * interpolatedRow(saw, one);
    const Lanes second = kTableGain * interpolatedRow(reversed, two);
    return multiplyAdd(second, shape + modulation, multiplyAdd(second, a, first)) * height * level;
  }
};

void pulseWave(const PulseWaveSettings& settings, const float* one, const float* two, const float* modulation,
               float* out, int frames) noexcept {
  const PulseRows pulse(settings);
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    const Lanes row = pulse.at(loadPart(one + at, samples), loadPart(two + at, samples),
                               loadPart(modulation + at, samples));
    storePart(out + at, row, samples);
  }
}

void readTable(const float* table, const float* positions, float* out, int frames) noexcept {
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    storePart(out + at, interpolatedRow(table, loadPart(positions + at, samples)), samples);
  }
}

void addTable(const float* table, const float* positions, float gain, float* out, int frames) noexcept {
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    const Lanes read = interpolatedRow(table, loadPart(positions + at, samples));
    storePart(out + at, multiplyAdd(read, Lanes{} + gain, loadPart(out + at, samples)), samples);
  }
}

// The last sample of one row, then all but the last of the next.
inline Lanes shiftedIn(Lanes earlier, Lanes row) noexcept {
#if defined(__AVX__)
  return __builtin_shufflevector(earlier, row, 7, 8, 9, 10, 11, 12, 13, 14);
#else
  return __builtin_shufflevector(earlier, row, 3, 4, 5, 6);
#endif
}

inline Lanes rowOf(const float* v) noexcept {
#if defined(__AVX__)
  return Lanes{v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]};
#else
  return Lanes{v[0], v[1], v[2], v[3]};
#endif
}

// A phase that goes on from sample to sample: the row behind each step, of which the first `samples` are
// taken. As it only rises, its end tells whether a cycle has ended on the way.
inline Lanes walkedRow(float& phase, Lanes row, float size, int samples) noexcept {
  float steps[kWidth];
  float walked[kWidth];
  storeRow(steps, row);
  float p = phase;
  if (samples == kWidth) [[likely]] {
    for (int k = 0; k < kWidth; ++k) walked[k] = p = p + steps[k];
    if (p < size) [[likely]] {
      phase = p;
      return rowOf(walked);
    }
    p = phase;
  }
  float wrapped[kWidth];
  for (int k = 0; k < kWidth; ++k) {
    p += k < samples ? steps[k] : 0.0F;
    p = p >= size ? p - size : p;
    wrapped[k] = p;
  }
  phase = p;
  return loadRow(wrapped);
}

inline Lanes widthRow(float width, Lanes modulation) noexcept {
  const Lanes sum = width + modulation;
  const Lanes above = select(sum > 0.0F, sum, Lanes{});
  const Lanes limited = select(above < 1.0F, above, Lanes{} + 1.0F) * 0.98F;
  return select(sum == sum, limited, Lanes{} + 0.5F);
}

// Rows of a stretch of the block. Each stage goes over the stretch before the next does: one behind the
// other, row by row, they would wait for each other's results.
struct PulseStretch {
  static constexpr int kFrames = 64;
  static constexpr int kRows = kFrames / kWidth;
  Lanes steps[kRows];
  Lanes subSteps[kRows];
  Lanes one[kRows];  // behind the steps
  Lanes three[kRows];
};

inline void fillSteps(const PulseOscillatorSettings& s, const StepRows& rows, int at, int frames,
                      PulseStretch& stretch) noexcept {
  for (int r = 0; r * kWidth < frames; ++r) {
    const int from = r * kWidth;
    const int samples = frames - from < kWidth ? frames - from : kWidth;
    const Lanes factors = centsFactorRow(loadPart(s.centsModulation + at + from, samples));
    rows.work(loadPart(s.frequencyModulation + at + from, samples), factors, stretch.steps[r],
              stretch.subSteps[r]);
  }
}

inline void walk(PulseOscillatorState& state, float size, int frames, PulseStretch& stretch) noexcept {
  PulseOscillatorState phases = state;
  int r = 0;
  for (; (r + 1) * kWidth <= frames; ++r) {
    stretch.one[r] = walkedRow(phases.one, stretch.steps[r], size, kWidth);
    stretch.three[r] = walkedRow(phases.three, stretch.subSteps[r], size, kWidth);
  }
  const int samples = frames - r * kWidth;
  if (samples > 0) {
    stretch.one[r] = walkedRow(phases.one, stretch.steps[r], size, samples);
    stretch.three[r] = walkedRow(phases.three, stretch.subSteps[r], size, samples);
  }
  state = phases;
}

void pulseOscillator(const PulseOscillatorSettings& s, PulseOscillatorState& state, float* out,
                     int frames) noexcept {
  const StepRows stepRows(s.steps);
  const PulseRows pulse(s.pulse);
  const float size = s.steps.size;
  const float width = s.width;
  const float* const widthModulation = s.widthModulation;
  const float* const shapeModulation = s.shapeModulation;
  const float* const sub = s.subLevel != 0.0F ? s.sub : nullptr;
  const Lanes subLevel = Lanes{} + s.subLevel;
  const bool isSteady = s.frequencyModulation == nullptr;
  Lanes one = Lanes{} + state.one;
  Lanes two = Lanes{} + state.two;
  Lanes three = Lanes{} + state.three;
  Lanes widths = Lanes{} + width;
  PulseStretch stretch;
  if (isSteady) {
    for (Lanes& row : stretch.steps) row = Lanes{} + s.step;
    for (Lanes& row : stretch.subSteps) row = Lanes{} + s.subStep;
  }
  for (int at = 0; at < frames; at += PulseStretch::kFrames) {
    const int left = frames - at < PulseStretch::kFrames ? frames - at : PulseStretch::kFrames;
    if (!isSteady) fillSteps(s, stepRows, at, left, stretch);
    walk(state, size, left, stretch);
    for (int r = 0; r * kWidth < left; ++r) {
      const int from = at + r * kWidth;
      const int samples = frames - from < kWidth ? frames - from : kWidth;
      if (widthModulation != nullptr) widths = widthRow(width, loadPart(widthModulation + from, samples));
      const Lanes nextTwo = secondPhaseRow(widths, stretch.one[r], stretch.steps[r], size);
      const Lanes shape = shapeModulation != nullptr ? loadPart(shapeModulation + from, samples) : Lanes{};
      Lanes row = pulse.at(shiftedIn(one, stretch.one[r]), shiftedIn(two, nextTwo), shape);
      if (sub != nullptr) {
        row = multiplyAdd(interpolatedRow(sub, shiftedIn(three, stretch.three[r])), subLevel, row);
      }
      storePart(out + from, row, samples);
      one = stretch.one[r];
      two = nextTwo;
      three = stretch.three[r];
    }
    const int last = (left - 1) % kWidth;
    state.two = two[last];
    state.lastStep = stretch.steps[(left - 1) / kWidth][last];
  }
}

}  // namespace
}  // namespace morv
