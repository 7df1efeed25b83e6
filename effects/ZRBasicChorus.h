#pragma once

#include <cstdint>

#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "voice/TPT.h"

namespace morv {

// Stereo chorus: a delay line for each side, swung by a sine or by gliding noise, with a saturating sum and a
// high-passed, inverted cross-feed between the sides. Even at full mix it is limited by a hyperbolic tangent.
//
// It sleeps once its input has been below 160 dB under full scale for longer than its lines, and wakes with
// the next louder sample, modulation and lines where they would have been.
//
// Construction and `prepare`: off the render thread. `runEffect`: render thread.
class ZRBasicChorus : public ZRDSPEffect {
 public:
  explicit ZRBasicChorus(float sampleRateHz);
  ~ZRBasicChorus() override;

  // Builds lines and filters anew for the rate in Hz and starts the followers over. Allocates.
  void prepare(float sampleRateHz, int blockSizeFrames) override;
  // At most kMaxBlockFrames frames; the outputs may be the inputs. An input that is not a number counts as 0.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float tempo) noexcept MORV_NONBLOCKING override;
  // Clears nothing.
  void reset() override { ZRDSPEffect::reset(); }
  void setRandomSeed(std::uint64_t seed) override;

  ZRDSPParameter chorusSpread;     // percent
  ZRDSPParameter chorusModFreq;    // Hz
  ZRDSPParameter chorusModAmount;  // percent
  ZRDSPParameter modShape;         // 0 sine, 1 noise

  uniComb delayL, delayR;  // one second
  tpt crossL, crossR;      // 100 Hz
  float phase1 = 0;        // radians
  float phase2 = 0;
  // Where the followers of the settings stand.
  struct {
    float spread = 0;
    float amount = 0;
    float mix = 0;
  } smoothed;
  float smoothing = 0;  // coefficient of these followers, per sample
  float noiseTargetL = 0;
  float noiseTargetR = 0;
  float noiseL = 0;
  float noiseR = 0;
  bool tempoSync = false;  // takes the swing from the tempo; nothing sets it
  bool preFilter = false;  // nothing reads it

 protected:
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;
  float _dryGain() const noexcept MORV_NONBLOCKING override;

 private:
  // One stretch of samples on its way.
  struct Stretch;

  void _setup();
  bool sleepsOn(const float* inL, const float* inR, float* outL, float* outR, float frequencyHz, float inGain,
                int frames) noexcept MORV_NONBLOCKING;
  void watchForSleep(int frames) noexcept MORV_NONBLOCKING;
  void skipModulation(float frequencyHz, int frames) noexcept MORV_NONBLOCKING;
  int _longestStretch() const noexcept MORV_NONBLOCKING;
  float driftCoefficient(float frequencyHz) const noexcept MORV_NONBLOCKING;
  bool stepPhasesAlone(float frequencyHz, Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  bool onlyPhasesMove(float step, float step2) const noexcept MORV_NONBLOCKING;
  void stepModulation(float frequencyHz, Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void doChorus(Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void crossFeed(Stretch* s, int frames) noexcept MORV_NONBLOCKING;

  Random random_;
  bool isInputQuiet_ = false;  // of this block
  int quietFrames_ = 0;        // for which the input was
  float firstSmoothing_ = 0;   // what `smoothing` goes back to if it is no number
};

}  // namespace morv
