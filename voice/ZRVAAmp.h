#pragma once

#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"
#include "render/ZRDSPEntity.h"
#include "render/ZRDSPParameter.h"

namespace morv {

struct AmpSettings;
class ZRDSPModMatrix;

// Amplifier: its gain is the sum of its settings and what the matrix delivers for them, sample by sample. It
// works in place: inputs are multiplied where they stand, and the normalised `volume` is added into the
// destination buffer of `volume`, which therefore needs a row that clears it each block.
//
// Construction and `setModMatrix`: the constructing thread. `runAmp`: render thread. Parameter values: any
// thread.
class ZRVAAmp : public ZRDSPEntity {
 public:
  // Draws six addresses.
  ZRVAAmp(float sampleRateHz, int* addressCounter);

  // Amplifies the destination of `input` into the amplifier's source buffer. Needs a matrix; without one
  // nothing happens. `frames` is at most kMaxBlockFrames here and below; `tempo` is not read.
  virtual void runAmp(int frames, float tempo) noexcept MORV_NONBLOCKING;
  // Multiplies both inputs by `max` and `volume`. If `in2` is the buffer of `in1`, it is multiplied twice;
  // `in2` may be null. With `out2` null, `in1` takes `max` only and its product with `volume` is written over
  // `out1`. Otherwise the inputs are added to the outputs: in `bypassPan` each to its own, else `in1` to both
  // by the law of equal power, with the pan modulation of the block's first sample. Without a matrix the
  // settings alone count.
  virtual void runAmp(float* in1, float* in2, float* out1, float* out2, int frames,
                      float tempo) noexcept MORV_NONBLOCKING;
  // Amplifies the destinations of `input` and `input2` onto the outputs. Needs a matrix.
  virtual void runAmp(float* out1, float* out2, int frames, float tempo) noexcept MORV_NONBLOCKING;

  // Stores the matrix, which the amplifier does not own, and registers one source that the user is not
  // offered.
  void setModMatrix(ZRDSPModMatrix* matrix);

  // Whether all that lasts from block to block is finite, and to put back what is not.
  bool holdsNumbers() const noexcept MORV_NONBLOCKING;
  void mendState() noexcept MORV_NONBLOCKING;
  // Adds `in` by the gains of the pan, as the last block did.
  void addPanned(const float* in, float* left, float* right, int frames) const noexcept MORV_NONBLOCKING;

  ZRDSPParameter volume;      // percent
  ZRDSPParameter volumeR;     // percent
  ZRDSPParameter max;         // linear gain
  ZRDSPParameter pan;         // -1 left to 1 right
  ZRDSPParameter input;       // its destination is the first input signal
  ZRDSPParameter input2;      // its destination is the second one
  bool stereoVolume = false;  // the second input takes the destination of `volumeR`, without its setting
  bool bypassPan = false;
  ZRDSPModMatrix* modMatrix = nullptr;
  int outputSource = 0;   // source index
  float maxSmoothing;     // one-pole coefficient per block, at the constructor's rate
  float smoothedMax = 0;  // follows `max`; no gain depends on it

 private:
  void applyMax(float* in1, float* in2, int frames) noexcept MORV_NONBLOCKING;
  const float* volumeGains(int frames) noexcept MORV_NONBLOCKING;
  struct PanGains {
    float left;
    float right;
  };
  PanGains panGains() noexcept MORV_NONBLOCKING;
  bool runEvenly(const AmpSettings& settings, float* in, float* out, int frames) noexcept MORV_NONBLOCKING;
  bool runInOnePass(float* in1, const float* in2, float* out1, float* out2,
                    int frames) noexcept MORV_NONBLOCKING;

  const float firstSmoothing_;  // what `maxSmoothing` goes back to if it is no number
  ZeroedFloats gains_;
  float pannedPosition_ = 0;  // position, from 0 left to 2 right, that the gains below are for
  PanGains panGains_{1, 0};
};

}  // namespace morv
