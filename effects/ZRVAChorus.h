#pragma once

#include <array>
#include <cstdint>

#include "effects/AllPass.h"
#include "effects/BBDLine.h"
#include "effects/FIR.h"
#include "effects/FIRTables.h"
#include "effects/UniComb.h"
#include "effects/ZRDSPEffect.h"
#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "voice/TPT.h"

namespace morv {

// Stereo chorus of one to three stages, in series or side by side: bucket-brigade lines, digital combs, or
// combs behind a coarse grid and a filter that takes the treble. Ahead of the lines stand three gains for
// three bands, behind them a slow cross-feed between the sides and two shelves.
//
// Construction and `prepare`: off the render thread. `runEffect`: render thread.
class ZRVAChorus : public ZRDSPEffect {
 public:
  static constexpr std::size_t kStages = 3;
  enum ProgramValue : int { kAnalog = 0, kDigital = 1, kVintageDigital = 2, kAnalog2 = 3 };

  explicit ZRVAChorus(float sampleRateHz);
  ~ZRVAChorus() override;

  // Builds everything that runs anew for the rate in Hz. Allocates.
  void prepare(float sampleRateHz, int blockSizeFrames) override;
  // Clears nothing.
  void reset() override { ZRDSPEffect::reset(); }
  // Restarts the noise of lines and modulation. Not while rendering.
  void setRandomSeed(std::uint64_t seed) override;

  // At most kMaxBlockFrames frames; the outputs may be the inputs. An input that is not a number counts as 0.
  void _runEffect(const float* inL, const float* inR, float* outL, float* outR, int frames,
                  float tempo) noexcept MORV_NONBLOCKING override;

  ZRDSPParameter program;     // ProgramValue; the range ends below kAnalog2
  ZRDSPParameter spread;      // percent
  ZRDSPParameter modFreq;     // Hz
  ZRDSPParameter modAmount;   // percent
  ZRDSPParameter modShape;    // 0 sine, 1 noise
  ZRDSPParameter modRouting;  // 0 serial, 1 parallel
  ZRDSPParameter numStages;   // stages less one
  ZRDSPParameter shape;       // of the cross-feed, -1 to 1
  ZRDSPParameter animate;     // of the cross-feed, 0 to 1
  ZRDSPParameter minDelay;    // tenths of a millisecond, shown as milliseconds
  ZRDSPParameter inGainLow;   // below 1 kHz
  ZRDSPParameter inGainMid;
  ZRDSPParameter inGainHigh;  // above 5 kHz
  ZRDSPParameter lowShelf;    // dB, 250 Hz
  ZRDSPParameter highShelf;   // dB, 4500 Hz
  // No address reaches these two.
  ZRDSPParameter feedback;  // percent; of the combs
  ZRDSPParameter bitDepth;  // of the grid of kVintageDigital

  // By channel and stage, a second each.
  std::array<std::array<bbd, kStages>, 2> lines;
  std::array<std::array<uniComb, kStages>, 2> combs;
  tpt split5kLeft, split5kRight, split1kLeft, split1kRight;
  tpt animateLeft, animateRight;
  std::array<ap, 2> shelves;  // by channel; both shelves run through the same line
  std::array<float, BLChorus> halfbandCoefficients;
  std::array<fir, 2> halfbands;  // by channel
  std::array<float, kStages> phaseA{};
  std::array<float, kStages> phaseB{};  // radians
  float noiseTargetLeft = 0;
  float noiseTargetRight = 0;
  float noiseLeft = 0;
  float noiseRight = 0;
  float smoothing = 0;      // coefficient of the followers below, per sample
  float smoothedDepth = 0;  // fraction
  float smoothedSpread = 0;
  float smoothedMix = 0;
  bool tempoSynced = false;  // takes the swing from the tempo; nothing sets it

 protected:
  const char* _diagnosticName() const noexcept MORV_NONBLOCKING override;
  bool _holdsNumbers() const noexcept MORV_NONBLOCKING override;
  void _forget(EffectMemory* memory) noexcept MORV_NONBLOCKING override;

 private:
  // Some frames on their way, and the modulation that goes with each.
  struct Stretch;
  // How a program's modulation moves its lines.
  struct Motion;
  // A first-order shelf as an all-pass and what of its sum with the signal is added.
  struct Shelf {
    float coefficient;
    float gain;
    float delaySeconds;  // one sample
  };

  void _setup();
  float driftCoefficient(float frequencyHz) const noexcept MORV_NONBLOCKING;
  void stepModulation(float frequencyHz, Stretch* s) noexcept MORV_NONBLOCKING;
  void splitBands(Stretch* s) noexcept MORV_NONBLOCKING;
  void runProgram(int which, Stretch* s) noexcept MORV_NONBLOCKING;
  void doAnalog(Stretch* s) noexcept MORV_NONBLOCKING;
  void doDigital(Stretch* s) noexcept MORV_NONBLOCKING;
  void doAnalog2(Stretch* s) noexcept MORV_NONBLOCKING;
  void quantise(Stretch* s) const noexcept MORV_NONBLOCKING;
  void crossFeed(Stretch* s) noexcept MORV_NONBLOCKING;
  Shelf _lowShelf() const noexcept MORV_NONBLOCKING;
  Shelf _highShelf() const noexcept MORV_NONBLOCKING;
  void doShelf(const Shelf& shelf, float* left, float* right) noexcept MORV_NONBLOCKING;
  void doLowShelf(const Shelf& shelf, float* left, float* right) noexcept MORV_NONBLOCKING;
  void doHighShelf(const Shelf& shelf, float* left, float* right) noexcept MORV_NONBLOCKING;

  int _stages() const noexcept MORV_NONBLOCKING;
  void _delays(const Stretch& s, const Motion& motion, std::size_t channel, std::size_t stage,
               float* delays) const noexcept MORV_NONBLOCKING;
  template <typename RunLine>
  void _runStages(const Motion& motion, Stretch* s, RunLine runLine) noexcept MORV_NONBLOCKING;

  std::uint64_t seed_;
  Random random_;
  float firstSmoothing_ = 0;  // what `smoothing` goes back to if it is no number
};

}  // namespace morv
