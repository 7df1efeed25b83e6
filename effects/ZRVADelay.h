#pragma once

#include <array>
#include <atomic>
#include <memory>

#include "effects/BBDLine.h"
#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "platform/ZeroedFloats.h"
#include "voice/TPT.h"
#include "voice/ZRBiquadFilter.h"

namespace morv {

// Tape echo: one mono tape with mains hum, hiss, wow and flutter, a time that glides (a fall twice as slowly
// as a rise), and a feedback path that loses bass and treble and saturates on its way back to the tape. It
// can run at eight times the rate. Of its programs only "Tape" makes an echo: "Analog" and "VintageDigital"
// are silent on the wet side, and the one above them crushes a wet signal that nothing feeds. It does not
// look at `bypass`.
//
// Construction, `prepare` and `reset`: off the render thread; setting a parameter: any thread; the rest:
// render thread. Memory for both rates is there from construction and `prepare` on, so switching the
// oversampling takes none.
class ZRVADelay : public ZRDSPEffect {
 public:
  explicit ZRVADelay(float sampleRateHz);
  ~ZRVADelay() override;

  // The stored rate is the given one times the factor in force, and everything is built for the stored rate
  // times that factor again: oversampling eightfold, it then counts time by 64 times the rate in Hz.
  // Allocates.
  void prepare(float sampleRateHz, int blockSizeFrames) override;
  // A new, silent tape, and times and feedback at their settings. The tape's sines, its filters and what the
  // decimators hold go on. Allocates.
  void reset() override;
  // Restarts the noise. Not while rendering.
  void setRandomSeed(std::uint64_t seed) override;
  // A value for `oversample`, even the one it has, makes the next block rebuild the tape.
  void setParameterValueForAddress(int address, float value) noexcept MORV_NONBLOCKING override;

  // At most kMaxBlockFrames frames; the outputs may be the inputs. With oversampling the output is about 43
  // frames late. An input that is not a number posts "NaN!" and counts as 0; a tempo that gives no finite
  // time leaves synchronised times where they stand.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float bpm) noexcept MORV_NONBLOCKING override;

  // With oversampling, about half of the decimator's length.
  int latencyFrames() const noexcept MORV_NONBLOCKING override;

  // One sample of the tape at the working rate. Times in seconds. Only the left input and the left time are
  // heard; both wet values take what the tape gives. A left time that is not a number posts "NAN TL\n" and
  // leaves the time where it is.
  void doTapeDelay(float inLeft, float inRight, float* wetLeft, float* wetRight, float timeLeft,
                   float timeRight) noexcept MORV_NONBLOCKING;
  // One sample of the same tape at a steady time in seconds, without its dirt and filters.
  void doDelay(float inLeft, float inRight, float* wetLeft, float* wetRight, float timeSeconds,
               float unused) noexcept MORV_NONBLOCKING;
  // Do nothing.
  void doBBDDelay(float inLeft, float inRight, float* wetLeft, float* wetRight, float timeLeft,
                  float timeRight) noexcept MORV_NONBLOCKING;
  void doVintageDigitalDelay(float inLeft, float inRight, float* wetLeft, float* wetRight, float timeLeft,
                             float timeRight) noexcept MORV_NONBLOCKING;
  // `value` on a grid of trunc(2^bits - 1) steps a unit, at least one step, halves away from zero.
  static float crushed(float value, int bits) noexcept MORV_NONBLOCKING;

  ZRDSPParameter program;     // 0 to 3, truncated
  ZRDSPParameter time;        // milliseconds
  ZRDSPParameter feedback;    // percent
  ZRDSPParameter spread;      // percent; 100 pulls the two times five seconds to each side
  ZRDSPParameter tempoSync;   // boolean
  ZRDSPParameter oversample;  // boolean

  int oversampleFactor = 1;  // 1 or 8
  std::atomic<bool> oversampleChanged{false};
  float tempo = 0;   // beats per minute, of the last block
  int syncType = 0;  // 0 straight, 1 dotted, 2 triplet
  int bitDepth = 0;  // of the crusher

  // The tape: a cycle over all but the last of `size` floats. There is room for oversampling. What has not
  // been written since the tape was made anew counts as silence, whatever stands there.
  ZeroedFloats delayBuffer;
  int writeIndex = 0;
  int size = 0;                // ten seconds at the working rate
  float smoothedTimeLeft = 0;  // seconds
  float smoothedTimeRight = 0;
  float smoothedFeedback = 0;  // fraction
  float tapePosition = 0;      // seconds: the last read's distance from the write
  tpt wowFilter, highpassFilter, lowpassFilter;
  float phaseFast = 0, phaseSlow = 0, phaseHum = 0;  // radians
  float wow = 0;                                     // filtered noise
  float feedbackCoefficient = 0;                     // of smoothedFeedback: to a hundredth in 500 ms
  float fastCoefficient = 0;                         // the same in 250 ms; nothing reads it
  ZeroedFloats decimatorLeft, decimatorRight;        // 674 of history, then a block at eight times the rate

  // A bucket-brigade echo's parts, set up for the working rate; nothing runs them.
  struct Channel {
    uniComb comb;
    std::array<tpt, 2> filters;
    bbd line;
  };
  std::array<Channel, 2> channels;
  tpt spareFilter;
  // A band-pass at 1 kHz, likewise; without and with oversampling.
  const ZRBiquadFilter& bandpass() const noexcept { return *bandpasses_[oversampleFactor == 1 ? 0 : 1]; }

 protected:
  bool _isIdle() const noexcept MORV_NONBLOCKING override;
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;

 private:
  struct Tape;
  struct Stretch;
  struct Times {
    float left, right;  // seconds
  };

  float workingRate() const noexcept MORV_NONBLOCKING;
  void _rebuild() noexcept MORV_NONBLOCKING;
  Times _times(float bpm) const noexcept MORV_NONBLOCKING;
  float readTape(float delaySeconds) const noexcept MORV_NONBLOCKING;
  void writeTape(float value) noexcept MORV_NONBLOCKING;
  void runTape(const float* inL, const float* inR, float* wetL, float* wetR, int count,
               Times times) noexcept MORV_NONBLOCKING;
  void runCrusher(Stretch* s) const noexcept MORV_NONBLOCKING;
  void decimateBlock(float* outL, float* outR, int frames) noexcept MORV_NONBLOCKING;

  int written_ = 0;  // elements that have been written since the tape was made anew, from its start
  std::array<std::unique_ptr<ZRBiquadFilter>, 2> bandpasses_;
  Random random_;
  float firstFeedbackCoefficient_ = 0;  // what `feedbackCoefficient` goes back to if it is no number
};

}  // namespace morv
