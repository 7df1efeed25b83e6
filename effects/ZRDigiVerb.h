#pragma once

#include <array>
#include <cstdint>

#include "effects/AllPass.h"
#include "effects/Comb.h"
#include "effects/DelayBlocks.h"
#include "effects/FIR.h"
#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "voice/TPT.h"

namespace morv {

// Reverb in nine modes. All of them share shelves at the input, a pre-delay, a bank of combs (Schroeder 1962,
// with a low-pass in the loop as Moorer 1979 has it), all-passes, a plate tank (Dattorro 1997), a model of a
// spring out of long all-pass chains (Abel et al. 2006) and the mixing; the mode says which of them run and
// with which constants:
//
//   0 plate   1 hall of four combs   2 chorused hall of eight   3 hall with tremolo   4 half rate and 12 bits
//   5 spring  6 hall with a second echo   7 resonant half of the plate   8 hall of one channel; its combs
//   keep the times of the mode before, at the start those of mode 0
//
// It declares no parameters: its owner sets the plain members from the render thread or between blocks. They
// are not clamped where they are set; a block reads them held where its loops stay bounded.
//
// Construction, `prepare` and `reset`: off the render thread. The rest: render thread. Smoothing coefficients
// and the spring's frequency keep the constructor's rate.
class ZRDigiVerb : public ZRDSPEffect {
 public:
  static constexpr int kModes = 9;
  static constexpr int kCombs = 8;
  static constexpr int kAllpasses = 6;
  static constexpr int kStretch = kDelayBlock;  // frames that are worked on at once

  // What moves with time over one stretch: the followers, and the sines of the two swings for each side.
  struct Modulation {
    using Frames = std::array<float, kStretch>;
    Frames decay, preDelay, size, mix, spread, depth;
    Frames sinL, sinR;    // of `phase`, the spread apart
    Frames sin2L, sin2R;  // of `phase2`, likewise
    Frames springSwing;   // sin(pi phase2)
    Frames white;         // fresh noise, -1 to 1
  };

  explicit ZRDigiVerb(float sampleRateHz);
  ~ZRDigiVerb() override;

  // Stores rate in Hz and block size in frames, then resets.
  void prepare(float sampleRateHz, int blockSizeFrames) override;
  // At most kMaxBlockFrames frames; the outputs may be the inputs. Does nothing while `bypass` is on. Modes 4
  // and 5 work on every other frame, counted from the block's start. An input that is not a number counts as
  // 0.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float tempo) noexcept MORV_NONBLOCKING override;
  // Makes all lines anew for the rate, and forgets what the filters at half rate and the spring's feedback
  // hold. Followers, phases and one-pole filters stay. Allocates.
  void reset() override;
  void setRandomSeed(std::uint64_t seed) override;

  // The stages, on at most kStretch frames in place. `smooth` and `runLFO` come first and fill `m`.
  void smooth(Modulation* m, int frames) noexcept MORV_NONBLOCKING;
  void runLFO(Modulation* m, int frames) noexcept MORV_NONBLOCKING;
  void doLowShelf(float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  void doHighShelf(float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  void doPreDelay(const Modulation& m, float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  // The first `count` combs of each side, in parallel.
  void doCombStage(const Modulation& m, float* L, float* R, int count, int frames) noexcept MORV_NONBLOCKING;
  // The first `count` all-passes of each side, in series.
  void doAllpass(const Modulation& m, float* L, float* R, int count, int frames) noexcept MORV_NONBLOCKING;
  // The second set of them, in parallel.
  void doAllpass2(float* L, float* R, int count, int frames) noexcept MORV_NONBLOCKING;
  void doChorus(const Modulation& m, float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  void doTremolo(const Modulation& m, float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  void doPostFilter(float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  void doNoise(const Modulation& m, float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  void doDatorro(const Modulation& m, float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  void doEchoVerb(const Modulation& m, float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  void doResoVerb(const Modulation& m, float* L, float* R, int frames) noexcept MORV_NONBLOCKING;
  // One sample each.
  float doSpringHF(float x) noexcept MORV_NONBLOCKING;
  float doSpringLF(float x) noexcept MORV_NONBLOCKING;
  // Reads x and gives the sum of the reflections to both sides; they may be x.
  void doEarlyReflections(const Modulation& m, const float* x, float* L, float* R,
                          int frames) noexcept MORV_NONBLOCKING;

  // Controls.
  int mode = 0;                       // 0 to 8
  float highShelfFrequency = 500.0F;  // Hz
  float diffusion = 0;                // 0 to 1
  float decay = 0;
  float preDelay = 80.0F;  // ms
  float damping = 0;       // 0 to 1
  float size = 0.25F;
  float mix = 0;  // 0 dry, 1 wet; takes the place of the base's parameter
  float spread = 0;
  float modDepth = 0;
  float lfoRate = 0.2F;  // Hz
  float earlyGain = 0;
  float lateGain = 1.0F;
  float dryGain = 0;
  float lowShelfGain = 0;   // dB
  float highShelfGain = 0;  // dB
  float inputGain = 1.0F;
  float outputGain = 1.0F;

  // Where the followers of the controls stand.
  float decaySmoothed = 0;
  float preDelaySmoothed = 0;  // ms
  float sizeSmoothed = 0;
  float mixSmoothed = 0;
  float spreadSmoothed = 0;
  float modDepthSmoothed = 0;  // steps twice a frame in modes with combs
  float smoothing = 0;         // their coefficient, per sample
  float sizeSmoothing = 0;     // that of `sizeSmoothed`

  float phase = 0;   // radians, at `lfoRate`
  float phase2 = 0;  // radians, at 2.5 Hz
  float noise = 0;   // slow noise; nothing listens to it
  float springFrequency;

  // Lines of two seconds for each side, unless said otherwise.
  std::array<ap, 2> lowShelf, highShelf;
  std::array<uniComb, 2> preDelayLine;
  std::array<std::array<comb, kCombs>, 2> combs;
  std::array<std::array<uniComb, kAllpasses>, 2> allpass, allpass2;
  std::array<uniComb, 2> chorus;
  std::array<uniComb, 2> springLine;  // the spring's feedback, low and high
  std::array<uniComb, 2> echoLine;    // behind the combs of mode 6
  std::array<ap, 25> springLF;        // a fifth of a second, as the rest of them
  std::array<ap, 50> springHF;
  std::array<ap, 4> diffusers;
  ap loopAP1, loopAP2, loopAP3, loopAP4;
  uniComb loopD1, loopD2, loopD3, loopD4;
  ZeroedFloats earlyBuffer;  // two seconds
  int earlyIndex = 0;

  fir springFIR;
  std::array<fir, 2> loFiFIR;
  tpt lowpassA, lowpassB, inputLowpass;
  std::array<tpt, 2> postFilter;
  tpt noiseFilter;

 protected:
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;
  float _dryGain() const noexcept MORV_NONBLOCKING override;

 private:
  struct Mode;
  // The controls inside their bounds.
  struct Held {
    float diffusion = 0, decay = 0, preDelay = 0, damping = 0, size = 0, mix = 0, spread = 0, modDepth = 0;
  };
  struct Stretch;
  struct Tank;

  static const Mode kModeTable[kModes];

  void initBuffers();
  void freeBuffers();
  int _mode() const noexcept MORV_NONBLOCKING;
  void _hold() noexcept MORV_NONBLOCKING;
  void _shelf(std::array<ap, 2>* lines, float tangent, float gainDb, float* L, float* R,
              int frames) noexcept MORV_NONBLOCKING;
  void _diffuse(float* x, int frames) noexcept MORV_NONBLOCKING;
  void _runTank(const Tank& tank, const Modulation& m, float* L, float* R,
                int frames) noexcept MORV_NONBLOCKING;
  void _runMode(Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void _runHall(const Mode& mode, Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void _runLoFi(Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void _runSpring(Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void _runOneChannel(Stretch* s, int frames) noexcept MORV_NONBLOCKING;
  void _mixOutputs(const Stretch& s, float* outL, float* outR, int frames) noexcept MORV_NONBLOCKING;

  Held held_;
  const Mode* combMode_;   // whose times the combs have
  float feedbackLow_ = 0;  // of the spring
  float feedbackHigh_ = 0;
  Random random_;
  // What the constants of the rate go back to if they are no numbers.
  const float firstSmoothing_ = smoothing;
  const float firstSizeSmoothing_ = sizeSmoothing;
  const float firstSpringFrequency_ = springFrequency;
};

}  // namespace morv
