#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// What one lane of the filter bank works on: a block of samples, its settings with what modulates them sample
// by sample, and the two integrators, which are read and written back. `in` may be `out`.
struct SEMFilterLane {
  const float* in = nullptr;
  float* out = nullptr;
  float cutoff = 0;                         // 0 to 1, held inside that with its modulation
  float resonance = 0;                      // likewise
  float mode = 0;                           // 0 low-pass, 0.5 notch, 1 high-pass, 2 band-pass
  const float* cutoffModulation = nullptr;  // null for none, like the next two
  const float* resonanceModulation = nullptr;
  const float* modeModulation = nullptr;
  float turnsScale = 0;  // see `semCoefficients`
  float turnsOffset = 0;
  float* z1 = nullptr;
  float* z2 = nullptr;
  bool limitsInput = false;  // what comes in goes through the hyperbolic tangent first
  float driveGain = 0;       // behind the filter sgn(y)(1 - e^-|y|) with y = gain x; 0 for none
};

struct OscillatorStepSettings {
  float base = 0;    // Hz
  float octave = 1;  // factors, taken in this order
  float semitone = 1;
  float cents = 1;
  float size = 0;   // samples of a cycle
  float rate = 0;   // Hz
  float scale = 1;  // of the main phase's step
  float subDivisor = 1;
  float subDetune = 1;
};

struct PulseWaveSettings {
  const float* saw = nullptr;
  const float* reversed = nullptr;
  float a = 0;
  float shape = 0;
  float height = 1;
  float level = 1;
};

// One block of a variable pulse with its sub oscillator. Modulations are null where they hold still; what
// they hold then stands in the setting. The pitch has both of its modulations or none.
struct PulseOscillatorSettings {
  OscillatorStepSettings steps;
  PulseWaveSettings pulse;
  float step = 0;  // of the main and the sub phase, where nothing modulates the pitch
  float subStep = 0;
  float width = 0;  // where nothing modulates it 0 to 0.98, else what the modulation is added to
  const float* frequencyModulation = nullptr;
  const float* centsModulation = nullptr;
  const float* widthModulation = nullptr;
  const float* shapeModulation = nullptr;
  const float* sub = nullptr;
  float subLevel = 0;
};

// Phases in samples of the table, at the sample that comes next.
struct PulseOscillatorState {
  float one = 0;
  float two = 0;
  float three = 0;
  float lastStep = 0;
};

struct AmpSettings {
  float gain = 1;
  float volume = 0;
  float left = 0;  // gains of the pan
  float right = 0;
};

// The voice's hot loops. They exist once for plain x86-64 and once for AVX2 with fused multiply-add; the
// better one that the machine has is chosen when the program starts. Approximations are single precision with
// a relative error below 4e-7 over the range given. Any thread; no allocation; 0 frames are legal.
struct VoiceKernels {
  static constexpr int kLanes = 8;

  const char* name = nullptr;
  // x = tanh(x) in place. Any value; not-a-number stays.
  void (*tanhInPlace)(float* x, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out = sgn(y)(1 - e^-|y|) with y = gain x. `out` may be `in`.
  void (*softLimit)(const float* in, float gain, float* out, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out = sin(pi p); beyond a million cycles some value from -1 to 1. `out` may be `p`.
  void (*sinPi)(const float* p, float* out, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out = base 2^(cents / 1200). `out` may be `cents`. Results are held inside the range of normal floats.
  void (*centsFactors)(const float* cents, float base, float* out,
                       int frames) noexcept MORV_NONBLOCKING = nullptr;
  // Steps of the main and the sub phase from the modulated frequency: f = base + modulation, 1 Hz if that is
  // not above 0, times the factors, at most 20 kHz. `centsFactors` of not-a-number count as 1.
  void (*oscillatorSteps)(const OscillatorStepSettings& settings, const float* modulation,
                          const float* centsFactors, float* steps, float* subSteps,
                          int frames) noexcept MORV_NONBLOCKING = nullptr;
  // Phase of a pulse's second edge, for the sample behind each: width x size + one + step, inside 0 to size.
  // `one` is the main phase of that next sample; steps are below `size`.
  void (*secondPhases)(const float* widths, const float* one, const float* steps, float size, float* out,
                       int frames) noexcept MORV_NONBLOCKING = nullptr;
  // out = (A + a B + B (shape + modulation)) height level, with A and B the two saws read at their phases
  // times 0.95.
  void (*pulseWave)(const PulseWaveSettings& settings, const float* one, const float* two,
                    const float* modulation, float* out, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // All of the voice's oscillator but the noise in one pass: centsFactors, oscillatorSteps, the phases, width
  // and secondPhases, pulseWave and addTable. Steps are above 0 and below the table's size.
  void (*pulseOscillator)(const PulseOscillatorSettings& settings, PulseOscillatorState& state, float* out,
                          int frames) noexcept MORV_NONBLOCKING = nullptr;
  // x = y with y following x by y = c (y - x) + x, each y held inside -1 to 1. `state` is the y before the
  // block.
  void (*smoothBounded)(float* x, float c, float* state, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // The amplifier from one input: in *= gain + max; volumes += volume; out = in volumes.
  void (*amplify)(const AmpSettings& settings, const float* max, float* volumes, float* in, float* out,
                  int frames) noexcept MORV_NONBLOCKING = nullptr;
  // The same with each multiplication acting twice, added into left and right by the pan's gains.
  void (*amplifyTwicePanned)(const AmpSettings& settings, const float* max, float* volumes, float* in,
                             float* left, float* right, int frames) noexcept MORV_NONBLOCKING = nullptr;
  // Linear interpolation at positions of 0 to just below the table's length; one value beyond it is read.
  void (*readTable)(const float* table, const float* positions, float* out,
                    int frames) noexcept MORV_NONBLOCKING = nullptr;
  // Adds such a read times a gain.
  void (*addTable)(const float* table, const float* positions, float gain, float* out,
                   int frames) noexcept MORV_NONBLOCKING = nullptr;
  // Coefficients of the state-variable filter as its bank works them out on its way, for who looks at them
  // alone: from its limited cutoff c and resonance r x = c turnsScale + turnsOffset, alpha = tan(pi x), R = 1
  // / (50 r + 1), alpha0 = 1 / (1 + 2 R alpha + alpha^2), rho = 2 R + alpha. The turns lie around a quarter:
  // turnsScale + 2 turnsOffset is a half.
  void (*semCoefficients)(const float* cutoffs, const float* resonances, float turnsScale, float turnsOffset,
                          float* alphas, float* alpha0s, float* rhos,
                          int frames) noexcept MORV_NONBLOCKING = nullptr;
  // Up to kLanes state-variable filters side by side. Every lane gives the same bits whatever the others
  // hold.
  void (*semFilterBank)(const SEMFilterLane* lanes, int count,
                        int frames) noexcept MORV_NONBLOCKING = nullptr;
};

// The best kernels of this machine.
const VoiceKernels& voiceKernels() noexcept MORV_NONBLOCKING;
// Those for any x86-64.
const VoiceKernels& baselineVoiceKernels() noexcept MORV_NONBLOCKING;
// Those for AVX2; null where the machine has none.
const VoiceKernels* avx2VoiceKernels() noexcept MORV_NONBLOCKING;

}  // namespace morv
