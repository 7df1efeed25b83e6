#pragma once

#include "modulation/ZRDSPModMatrix.h"
#include "platform/NonBlocking.h"
#include "render/ZRDSPEntity.h"

namespace morv {

// Base of the filters that stand as units of their own. A filter is a destination of modulation only: it
// registers no source, and its three parameters are reached by their members and by the matrix, not through
// the entity's registry.
//
// Construction and setModMatrix: the constructing thread. reset, runFilter: render thread. Parameter values:
// any thread.
class ZRDSPFilter : public ZRDSPEntity {
 public:
  // The three parameters share the process's next address.
  explicit ZRDSPFilter(float sampleRateHz);
  // Draws three addresses from the counter: cutoff, mode, resonance.
  ZRDSPFilter(float sampleRateHz, int* addressCounter);

  // Stores the pointer; the matrix must outlive the filter's runs. Null takes modulation away.
  void setModMatrix(ZRDSPModMatrix* matrix) { modMatrix = matrix; }

  // Clears running state; each filter says how much of it. Settings stay.
  virtual void reset() noexcept MORV_NONBLOCKING = 0;
  // Filters `frames` samples (0 to kMaxBlockFrames) of one or two channels. Each sample of both inputs is
  // read before either output of that sample is written, so an output may be the same buffer as an input;
  // each filter says where that does not hold and which pointers may be null.
  virtual void runFilter(const float* in1, const float* in2, float* out1, float* out2,
                         int frames) noexcept MORV_NONBLOCKING = 0;

  ZRDSPModMatrix* modMatrix = nullptr;
  ZRDSPParameter filterCutoff;     // Hz; filters with a normalised cutoff read its quotient by 20000
  ZRDSPParameter filterMode;       // 0 to 1
  ZRDSPParameter filterResonance;  // 0 to 1
  float outputGain = 1.0F;         // linear

 protected:
  // The cutoff on the scale of 0 to 1 that modulation is added to: 0.95 of its quotient by the range's end,
  // 0.001 at 0 and below, 1 beyond the end.
  float scaledCutoff() const noexcept MORV_NONBLOCKING;
  // The modulation of a parameter over the block, or null where there is none.
  const float* modulationOf(const ZRDSPParameter& parameter) const noexcept MORV_NONBLOCKING;

 private:
  void initParameters(int cutoffAddress, int modeAddress, int resonanceAddress);
};

}  // namespace morv
