#pragma once

#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "voice/TPT.h"

namespace morv {

// Stereo echo: one feedback line of five seconds for each side behind a high-pass, with times that glide, so
// that a change of time bends the pitch of what is in the lines. At full feedback a repeat neither grows nor
// decays. It starts bypassed, and bypassing it empties the lines.
//
// Construction, `prepare` and `reset`: off the render thread. `runEffect`: render thread.
class ZRBasicDelay : public ZRDSPEffect {
 public:
  explicit ZRBasicDelay(float sampleRateHz);
  ~ZRBasicDelay() override;

  // Builds the lines anew for the rate in Hz; the followers of the times keep the constructor's rate.
  // Allocates.
  void prepare(float sampleRateHz, int blockSizeFrames) override;
  // At most kMaxBlockFrames frames; the outputs may be the inputs. Without a right input the right line takes
  // silence. A tempo that gives no finite time leaves synchronised times as they are. An input that is not a
  // number counts as 0.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float tempo) noexcept MORV_NONBLOCKING override;
  // Empties both lines.
  void reset() override;

  ZRDSPParameter echoTime;      // milliseconds
  ZRDSPParameter echoRelative;  // takes no part in the sound
  ZRDSPParameter echoFeedback;
  ZRDSPParameter syncTempo;
  ZRDSPParameter highpass;    // Hz
  ZRDSPParameter echoSpread;  // percent

  uniComb delayL, delayR;
  tpt highpassL, highpassR;
  float timeL = 0.125F;  // seconds, where the followers stand
  float timeR = 0.125F;
  float smoothing = 0;  // coefficient of these followers, per sample
  bool wasBypassed = false;
  bool needsReset = true;  // the next bypassed block empties the lines

 protected:
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;
  float _dryGain() const noexcept MORV_NONBLOCKING override;

 private:
  struct Side;

  void _buildLines();
  void _updateTargets(float tempo) noexcept MORV_NONBLOCKING;
  void _beginErasing() noexcept MORV_NONBLOCKING;
  void _eraseSome() noexcept MORV_NONBLOCKING;
  int _longestStretch() const noexcept MORV_NONBLOCKING;
  void _eraseUpTo(int end) noexcept MORV_NONBLOCKING;
  void filterInput(const Side& side, float* entering, int frames) noexcept MORV_NONBLOCKING;
  void readLine(const Side& side, float* delayed, int frames) noexcept MORV_NONBLOCKING;
  void runSide(const Side& side, int frames) noexcept MORV_NONBLOCKING;

  float targetL_ = 0.125F;  // seconds
  float targetR_ = 0.125F;
  // A bypassed echo empties its lines piece by piece, and goes on with it while it runs again.
  int written_ = 0;  // elements that have been written since the lines counted as empty, from their start
  int dirty_ = 0;    // end of what was written before; 0 once all of it is erased
  int erased_ = 0;   // how far that is erased
  float firstSmoothing_ = 0;  // what `smoothing` goes back to if it is no number
};

}  // namespace morv
