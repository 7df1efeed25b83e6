#pragma once

#include <array>

#include "effects/AllPass.h"
#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "voice/TPT.h"
#include "voice/ZRBiquadFilter.h"

namespace morv {

// Plate reverb after the figure-of-eight tank of Dattorro, "Effect Design, Part 1" (J. Audio Eng. Soc. 1997):
// the left input goes through four diffusing all-passes into the first branch, the right one straight into
// the second; each branch is a modulated all-pass, a delay, a low-pass, an all-pass and a delay, and feeds
// the other. The output is tapped from the all-passes; size scales the taps alone. Tank lengths are in
// samples, so the reverb grows shorter as the rate rises. At full decay the loop's gain is above 1 and the
// saturation of its delays bounds it.
//
// It sleeps once its input and all that its lines took for their length lie below 160 dB under full scale,
// and wakes with the next louder sample, modulation and lines where they would have been.
//
// Construction and `reset`: off the render thread. `runEffect`: render thread. Lines and input filters keep
// the constructor's rate.
class ZREcoVerb : public ZRDSPEffect {
 public:
  explicit ZREcoVerb(float sampleRateHz);
  ~ZREcoVerb() override;

  // At most kMaxBlockFrames frames; the outputs may be the inputs. Always crossfades, whatever `routing`.
  // An input that is not a number counts as 0.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float tempo) noexcept MORV_NONBLOCKING override;
  // Empties the tank; the diffusers keep what they hold.
  void reset() override;

  ZRDSPParameter reverbSize;
  ZRDSPParameter reverbDecay;
  ZRDSPParameter spread;  // distance of the two modulations, in turns
  ZRDSPParameter modAmount;
  ZRDSPParameter modFrequency;  // Hz
  ZRDSPParameter highpass;      // 0 to 1, as 1 to 5001 Hz

  // Run on the stereo input in this order.
  ZRBiquadFilter variableHighpass, fixedHighpass, fixedLowpass;
  std::array<ap, 4> diffusers;
  ap loopAP1, loopAP2, loopAP3, loopAP4;
  uniComb loopD1, loopD2, loopD3, loopD4;
  float damping = 0;  // of the loop's low-passes: 0 leaves them at 20 kHz
  tpt lowpassA, lowpassB;
  float phase = 0;  // radians

 protected:
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;

 private:
  // One stretch of samples on its way.
  struct Stretch;
  // What holds for a block.
  struct Block;

  Block _settings() const noexcept MORV_NONBLOCKING;
  bool sleepsOn(const Block& block, const float* inL, const float* inR, float* outL, float* outR,
                float cutoffHz, int frames) noexcept MORV_NONBLOCKING;
  static float phaseAfter(float at, float step, int frames) noexcept MORV_NONBLOCKING;
  void watchForSleep(int frames) noexcept MORV_NONBLOCKING;
  int _longestStretch(const Block& block) const noexcept MORV_NONBLOCKING;
  void stepModulation(const Block& block, Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void readDelays(const Block& block, Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void runBranches(const Block& block, Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void tapOutputs(const Block& block, Stretch* s, int frames) const noexcept MORV_NONBLOCKING;

  bool isInputQuiet_ = false;  // of this block
  int quietFrames_ = 0;        // for which neither the input nor any line took more than silence
};

}  // namespace morv
