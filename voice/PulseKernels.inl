// The oscillator's kernels that read tables, and the variable pulse made of them. Everything is local to the
// file that includes this, as VoiceKernels.inl explains.
#pragma once

#include "voice/OscillatorKernels.inl"
#include "voice/VoiceKernelLanes.inl"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

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
