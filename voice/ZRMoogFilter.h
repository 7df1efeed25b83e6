#pragma once

#include <array>

#include "platform/NonBlocking.h"
#include "voice/TPT.h"
#include "voice/ZRDSPFilter.h"

namespace morv {

// A ladder of four one-pole stages with resonance feedback and a tanh before the last stage; one channel.
// filterMode picks the mix of the stages' outputs: around 0 a four-pole low-pass, around 0.5 a high-pass,
// around 1 a band-pass. Cutoff and resonance are modulated at every sample, the mode is not. The constants of
// the sample rate are those of construction.
class ZRMoogFilter : public ZRDSPFilter {
 public:
  explicit ZRMoogFilter(float sampleRateHz);
  // Cutoff and resonance start at 0.5.
  ZRMoogFilter(float sampleRateHz, int* addressCounter);

  // Clears all stages.
  void reset() noexcept MORV_NONBLOCKING override;
  // in2 takes no part and may be null; out2 gets what out1 gets, unless it is null.
  void runFilter(const float* in1, const float* in2, float* out1, float* out2,
                 int frames) noexcept MORV_NONBLOCKING override;

  const double T;         // seconds per sample
  const double halfT;     // T / 2
  const double twoOverT;  // 2 / T
  const double nyquist;   // Hz
  double g = 0;           // prewarped integrator gain
  double G = 0;           // g / (1 + g)
  double k = 0;           // feedback, 0 to 4
  float A = 0;            // output mix: of the ladder's input,
  float B = 0;            // of stage 1,
  float C = 0;            // 2,
  float D = 0;            // 3
  float E = 1;            // and 4

 private:
  void _updateCoefficients(float c, float r) noexcept MORV_NONBLOCKING;
  void setMix() noexcept MORV_NONBLOCKING;

  std::array<tpt, 4> stages_{};
  float lastCutoff_ = -1.0F;  // scaled and limited, of g; none at first
};

}  // namespace morv
