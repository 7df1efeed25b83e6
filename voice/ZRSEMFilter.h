#pragma once

#include "platform/NonBlocking.h"
#include "voice/VoiceKernels.h"
#include "voice/ZRDSPFilter.h"

namespace morv {

// The voice's filter: a nonlinear state-variable filter of two poles for two channels, whose mode moves
// without a step from low-pass (0) over notch (0.5) to high-pass (1), and under modulation on to band-pass
// (2) and beyond. Trapezoidal integrators with a tanh at the first one's output, which bounds the filter at
// any resonance. Cutoff, mode and resonance are modulated at every sample.
//
// The cutoff is linear in Hz against its normalised value. The constants of the sample rate are those of
// construction; a later change of `sampleRate` does not reach them.
class ZRSEMFilter : public ZRDSPFilter {
 public:
  ZRSEMFilter(float sampleRateHz, int* addressCounter);

  // Clears channel 1. The second channel rings on.
  void reset() noexcept MORV_NONBLOCKING override;
  // in2 may be null: the second channel then gets silence. out2 must not be null. Any output may be any
  // input.
  void runFilter(const float* in1, const float* in2, float* out1, float* out2,
                 int frames) noexcept MORV_NONBLOCKING override;
  // Prepares one block of channel 1 for a bank that filters several voices side by side, in single precision
  // and with approximated tangent and tanh: within 100 dB of `runFilter`, and what rings on without an input
  // at cutoffs of some tens of Hz within 90. The second channel stands still.
  // The lane refers to this filter's states and modulation; run it before the next block.
  SEMFilterLane laneFor(const float* in, float* out, int frames) noexcept MORV_NONBLOCKING;
  // Samples in which what the coefficients of the block's first sample keep falls to 1/e.
  float memorySamples() noexcept MORV_NONBLOCKING;
  // Brings the coefficients up to one sample of the present block. The tangent is taken only when the limited
  // cutoff or resonance has changed.
  void _updateCoefficients(int sampleIndex) noexcept MORV_NONBLOCKING;

  // Whether all that lasts from block to block is finite, and to put back what is not.
  bool holdsNumbers() const noexcept MORV_NONBLOCKING;
  void mendState() noexcept MORV_NONBLOCKING;

  float lastCutoff = -1.0F;  // limited inputs of the coefficients below; none at first
  float lastResonance = -1.0F;
  float z1 = 0;  // integrators of channel 1
  float z2 = 0;
  float z3 = 0;  // integrators of channel 2
  float z4 = 0;
  const double T;         // seconds per sample
  const double halfT;     // T / 2
  const double twoOverT;  // 2 / T
  const double nyquist;   // Hz
  double g = 0;           // prewarped integrator gain
  double alpha0 = 0;      // resolves the delay-free loop
  double alpha = 0;       // g
  double R = 0;           // damping, 1 at no resonance, 1/51 at full resonance
  double rho = 0;         // 2 R + g

 private:
  bool holdsStill(const ZRDSPParameter& parameter, const float* modulation,
                  int frames) const noexcept MORV_NONBLOCKING;
  void setCoefficients(float c, float r) noexcept MORV_NONBLOCKING;

  // Cutoff in turns a sample, linear in its setting, in single precision for a bank.
  float turnsScale_;
  float turnsOffset_;
};

}  // namespace morv
