#pragma once

#include <array>

#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "voice/TPT.h"

namespace morv {

// Stereo echo with a high-pass and a low-pass ahead of its two lines and a modulation stage before or behind
// them. The lines saturate.
//
// It declares no parameters: its owner sets the plain members from the render thread or between blocks. They
// are not clamped where they are set; a block reads them held where its loops stay bounded.
//
// Construction, `prepare` and `reset`: off the render thread. The rest: render thread. Smoothing coefficients
// keep the constructor's rate.
class ZRDigiDelay : public ZRDSPEffect {
 public:
  static constexpr int kModTypes = 7;
  static constexpr int kStretch = 64;  // frames that are worked on at once

  // What `modType` says. Any other value lets the signal through.
  enum ModType : int {
    kChorus = 0,      // a moving line beside the signal
    kVibrato = 1,     // a moving line alone
    kFlanger = 2,     // a short moving line with feedback
    kAutoPan = 3,     // level, the sides a quarter of a turn apart
    kPhaser = 4,      // one all-pass, each side fed by the other
    kTremolo = 5,     // level, both sides alike
    kDelayedMod = 6,  // a moving line behind half of the echo's time
  };
  enum ModPosition : int { kBeforeDelay = 0, kBehindDelay = 1, kNowhere = 2 };

  // Replaces a pair of signals over 1 to kStretch frames.
  using Stage = void (ZRDigiDelay::*)(float* left, float* right, int frames) noexcept;

  explicit ZRDigiDelay(float sampleRateHz);
  ~ZRDigiDelay() override;

  // Stores rate in Hz and block size in frames, then resets.
  void prepare(float sampleRateHz, int blockSizeFrames) override;
  // At most kMaxBlockFrames frames; the outputs may be the inputs. Does nothing while `bypass` is on. A
  // sample at or beyond 1.5 to either side counts as 0; one that is no number is 0 on the dry side and posts
  // "NaN!" where it meets the echo. A time that comes to no number posts "NAN TL\n" and stays where it was.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float bpm) noexcept MORV_NONBLOCKING override;
  // Makes the four lines anew for the rate. Filters, phases and followers go on. Allocates.
  void reset() override;

  // The stages. The echo and modulation run with the times that the last call of `followControls` gave for
  // these frames. A frame in which either side is no number goes through the filters and the modulation as it
  // is, and leaves no trace in them.
  void doDelay(float* left, float* right, int frames) noexcept MORV_NONBLOCKING;
  void doFilter(float* left, float* right, int frames) noexcept MORV_NONBLOCKING;
  void doMod(float* left, float* right, int frames) noexcept MORV_NONBLOCKING;
  // Times and feedback of the next 1 to kStretch frames, on their way to their settings.
  void followControls(int frames) noexcept MORV_NONBLOCKING;

  // Controls.
  float time = 0.1F;  // ms; with `syncTempo` the exponent of the division, 1 from above 8 on
  float feedback = 0.25F;
  float mix = 0.5F;  // 0 dry, 1 wet; takes the place of the base's parameter
  float spread = 0;  // 1 pulls the two times 50 ms to each side
  float modAmount = 0;
  float modRate = 1.0F;  // Hz
  float modFeedback = 0;
  int modType = kChorus;
  int modPosition = kBehindDelay;
  bool syncTempo = false;
  int syncType = 0;  // 0 straight, 1 dotted, 2 triplet
  bool delayBypass = false;
  float lowpass = 20000.0F;  // Hz
  float highpass = 10.0F;    // Hz
  float modBase = 0.005F;    // seconds; types 0 to 2 set their own
  float modDepth = 0.03F;    // seconds; likewise

  // Where the followers of the controls stand. The times start at the number of milliseconds, taken as
  // seconds: the first echoes sweep down from there.
  float delayLeft = 0.1F;   // seconds
  float delayRight = 0.1F;  // seconds
  float smoothedFeedback = 0.25F;
  float smoothedAmount = 0;
  float timeCoefficient = 0;    // of times and feedback: to a hundredth in 500 ms
  float amountCoefficient = 0;  // of `smoothedAmount`: to a hundredth in 250 ms

  float tempo = 0;     // beats per minute, of the last block
  float phaseA = 0;    // radians
  float phaseB = 0;    // radians
  float lastLeft = 0;  // what the modulation gave last
  float lastRight = 0;

  uniComb combLeft, combRight;  // ten seconds each
  uniComb modLeft, modRight;    // five seconds each
  tpt highpassLeft, highpassRight, lowpassLeft, lowpassRight;

  // Run in this order where they are set. The first and the last follow `modPosition` at each block.
  Stage preMod = nullptr;
  Stage filterStage = &ZRDigiDelay::doFilter;
  Stage delayStage = &ZRDigiDelay::doDelay;
  Stage postMod = &ZRDigiDelay::doMod;

 protected:
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;
  float _dryGain() const noexcept MORV_NONBLOCKING override;

 private:
  // The lines' outputs saturate, what they hold does not: beyond 1 a feedback would grow without end.
  static constexpr float kGreatestLineFeedback = 1.0F;

  struct Times {
    float left, right;  // seconds
  };
  // One frame of the modulation's movement.
  struct Swing {
    float s, c;    // of the two phases
    float dL, dR;  // seconds
  };

  Times _times() const noexcept MORV_NONBLOCKING;
  void _placeModulation() noexcept MORV_NONBLOCKING;
  void _setModTimes() noexcept MORV_NONBLOCKING;
  void _runStage(Stage stage, float* left, float* right, int frames) noexcept MORV_NONBLOCKING;
  template <typename Kernel>
  void _runMod(float* left, float* right, int frames, Kernel kernel) noexcept MORV_NONBLOCKING;

  float firstTimeCoefficient_ = 0;  // what the coefficients go back to if they are no numbers
  float firstAmountCoefficient_ = 0;
  bool gaveNoNumber_ = false;                 // the wet side, out of an input that was one
  std::array<float, kStretch> timesLeft_{};   // seconds
  std::array<float, kStretch> timesRight_{};  // seconds
  std::array<float, kStretch> feedbacks_{};
};

}  // namespace morv
