#pragma once

#include <array>

#include "voice/BiquadCascade.h"
#include "voice/ZRDSPFilter.h"

namespace morv {

// The passive treble, middle and bass network of guitar amplifiers with all three controls at their middle: a
// third-order filter for two channels that passes treble, dips in the low middle and blocks DC. Nothing in it
// can be set or modulated; the coefficients are those of the rate of construction.
class ZRToneStack : public ZRDSPFilter {
 public:
  explicit ZRToneStack(float sampleRateHz);
  ZRToneStack(float sampleRateHz, int* addressCounter);

  // Clears both channels.
  void reset() noexcept MORV_NONBLOCKING override;
  // in1 to out1, and in2 to out2 where both are given. An output may be its own channel's input.
  void runFilter(const float* in1, const float* in2, float* out1, float* out2,
                 int frames) noexcept MORV_NONBLOCKING override;

 private:
  static constexpr int kSections = 2;
  using Delays = std::array<double, biquadDelayLength(kSections)>;

  void computeCoefficients();

  std::array<double, kSections * kBiquadCoefficients> coefficients_{};
  std::array<Delays, 2> delays_{};
};

}  // namespace morv
