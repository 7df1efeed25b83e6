#pragma once

#include "voice/ZRDSPFilter.h"

namespace morv {

// A state-variable filter in Chamberlin's form, one channel, low-pass output, without modulation. The value
// of filterCutoff is the integrator coefficient itself, 2 sin(pi f / rate), and keeps the loop stable from 0
// to about 1; the parameter's own range does not.
class ZRStateVariableFilter : public ZRDSPFilter {
 public:
  using ZRDSPFilter::ZRDSPFilter;

  // Clears both integrators.
  void reset() noexcept MORV_NONBLOCKING override;
  // in2 takes no part and may be null; out2 gets what out1 gets, unless it is null.
  void runFilter(const float* in1, const float* in2, float* out1, float* out2,
                 int frames) noexcept MORV_NONBLOCKING override;

  float low = 0;
  float band = 0;
  float high = 0;
  float notch = 0;
};

}  // namespace morv
