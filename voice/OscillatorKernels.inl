// The oscillator's kernels for pitch and phases. Everything is local to the file that includes this, as
// VoiceKernels.inl explains.
#pragma once

#include "voice/VoiceKernelLanes.inl"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

// Whole octaves come off in cents, where that is exact; of octaves a wide interval would lose digits.
inline Lanes centsFactorRow(Lanes cents) noexcept {
  constexpr float kOctave = 1200.0F;
  constexpr float kShift = 12582912.0F;  // adding 1.5 x 2^23 makes a float drop its fraction
  const Lanes c = boundedLanes(cents, 125.0F * kOctave);
  const Lanes octaves = (c * (1.0F / kOctave) + kShift) - kShift;
  const LaneMask k = __builtin_convertvector(select(octaves == octaves, octaves, Lanes{}), LaneMask);
  const Lanes r = (c - octaves * kOctave) * (1.0F / kOctave);
  const Lanes p =
      1.0F + r * (0.69314721F +
                  r * (0.24022646F +
                       r * (5.5503221e-2F + r * (9.6185187e-3F + r * (1.3402597e-3F + r * 1.5343436e-4F)))));
  return p * __builtin_bit_cast(Lanes, (k + 127) << 23);
}

void centsFactors(const float* cents, float base, float* out, int frames) noexcept {
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    storePart(out + at, base * centsFactorRow(loadPart(cents + at, samples)), samples);
  }
}

inline bool isPowerOfTwo(float x) noexcept {
  return x > 0.0F && (__builtin_bit_cast(std::uint32_t, x) & 0x7FFFFFU) == 0;
}

// Steps of a row. Factors that are powers of two move from one side of a rounding to the other, so the sub
// phase mostly takes its step from the main one's.
class StepRows {
 public:
  explicit StepRows(const OscillatorStepSettings& settings) noexcept
      : s_(settings),
        isSubShifted_(s_.subDetune == 1.0F && isPowerOfTwo(s_.size) && isPowerOfTwo(s_.subDivisor)) {}

  void work(Lanes modulation, Lanes centsFactor, Lanes& steps, Lanes& subSteps) const noexcept {
    Lanes f = s_.base + modulation;
    f = select(f > 0.0F, f, Lanes{} + 1.0F);
    const Lanes cents = s_.cents * centsFactor;
    f = f * s_.octave * s_.semitone * select(cents == cents, cents, Lanes{} + 1.0F);
    f = select(f < 20000.0F, f, Lanes{} + 20000.0F);
    const Lanes step = f * s_.size / s_.rate;
    steps = step * s_.scale;
    subSteps =
        isSubShifted_ ? step * (1.0F / s_.subDivisor) : f / s_.subDivisor * s_.subDetune * s_.size / s_.rate;
  }

 private:
  const OscillatorStepSettings s_;
  const bool isSubShifted_;
};

void oscillatorSteps(const OscillatorStepSettings& settings, const float* modulation,
                     const float* centsFactors, float* steps, float* subSteps, int frames) noexcept {
  const StepRows rows(settings);
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    Lanes main;
    Lanes sub;
    rows.work(loadPart(modulation + at, samples), loadPart(centsFactors + at, samples), main, sub);
    storePart(steps + at, main, samples);
    storePart(subSteps + at, sub, samples);
  }
}

inline Lanes secondPhaseRow(Lanes widths, Lanes one, Lanes steps, float size) noexcept {
  Lanes position = widths * size + one + steps;
  position = select(position >= size, position - size, position);
  return select(position >= size, position - size, position);
}

void secondPhases(const float* widths, const float* one, const float* steps, float size, float* out,
                  int frames) noexcept {
  for (int at = 0; at < frames; at += kWidth) {
    const int samples = frames - at < kWidth ? frames - at : kWidth;
    const Lanes next = secondPhaseRow(loadPart(widths + at, samples), loadPart(one + at, samples),
                                      loadPart(steps + at, samples), size);
    storePart(out + at, next, samples);
  }
}

}  // namespace
}  // namespace morv
