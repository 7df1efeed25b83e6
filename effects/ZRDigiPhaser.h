#pragma once

#include <array>

#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "voice/TPT.h"

namespace morv {

// Phaser of four first-order all-passes a side, each a comb around one sample. The combs saturate: each stage
// takes 0.95 of the signal.
//
// It declares no parameters: its owner sets the plain members from the render thread or between blocks. They
// are not clamped where they are set; a block reads them held where the stages stay stable.
//
// Construction and `reset`: off the render thread. The rest: render thread. The smoothing coefficient keeps
// the constructor's rate.
class ZRDigiPhaser : public ZRDSPEffect {
 public:
  static constexpr int kStages = 4;

  explicit ZRDigiPhaser(float sampleRateHz);
  ~ZRDigiPhaser() override;

  // At most kMaxBlockFrames frames; the outputs may be the inputs. Does nothing while `bypass` is on. An
  // input that is no number counts as 0 and, on the left, posts "NAN\n"; a left output beyond 1 to either
  // side posts "out of range sample: %f delay: %f\n".
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float tempo) noexcept MORV_NONBLOCKING override;
  // Silences the lines and the feedback. The phase and the followers go on.
  void reset() override;

  // One frame. The signal goes to the stages as it is.
  void doPreFilter(float* left, float* right) noexcept MORV_NONBLOCKING;
  void doAllpass(float* left, float* right) noexcept MORV_NONBLOCKING;

  // Controls.
  float mix = 0.5F;  // 0 dry, 1 wet; takes the place of the base's parameter
  float feedback = 0;
  float depth = 0;    // 1 sweeps the corners over 5 kHz
  float rate = 0.2F;  // Hz
  float spareHigh = 10000.0F;
  float spareLow = 10.0F;

  float phase = 0;           // radians
  float smoothedDepth = 0;   // on its way to `depth`
  float smoothedMix = 0.5F;  // on its way to `mix`
  float smoothing = 0;       // of both: to a thousandth in 250 ms
  float lastLeft = 0;        // what the stages gave last
  float lastRight = 0;

  struct Channel {
    std::array<uniComb, kStages> lines;  // two seconds each
    std::array<tpt, 2> filters;          // nothing runs them
  };
  std::array<Channel, 2> channels;

 protected:
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;
  float _dryGain() const noexcept MORV_NONBLOCKING override;

 private:
  float firstSmoothing_ = 0;  // what `smoothing` goes back to if it is no number
};

}  // namespace morv
