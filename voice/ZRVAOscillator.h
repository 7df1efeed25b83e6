#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "platform/ZeroedFloats.h"
#include "voice/DPWOscillator.h"
#include "voice/PinkNoise.h"
#include "voice/ZRDSPOscillator.h"

namespace morv {

// Oscillator built on differentiated parabolic waves: the square of a ramp, differenced from sample to
// sample, is a ramp again, with its aliases far lower. In LFO mode the phases restart exactly at -1, the
// output is smoothed and bounded, and a sample and hold takes the place of one wave.
//
// Construction and `setModMatrix`: the constructing thread. Everything else but the parameters' values:
// render thread.
//
// What depends on the block length: the scale of saw, pulse and triangle follows the frequency of the block's
// last sample, the octave, semitone and wave modulation its first sample, and the sample and hold shows the
// value of the block's last wrap in the whole block.
class ZRVAOscillator : public ZRDSPOscillator {
 public:
  // Draws nine addresses. Allocates buffers for kMaxBlockFrames frames, or `framesPerBlock` if that is more.
  // In LFO mode `oscFreq` goes from 0.01 to 10 Hz and starts at 0.1 Hz.
  ZRVAOscillator(float sampleRateHz, int framesPerBlock, int* addressCounter, bool isLfo);

  // Reseeds the generator and takes the noise table that goes with it. Off the render thread.
  void setRandomSeed(std::uint64_t seed);
  // Puts both phases and the sign to their start, then calls `wrapCallback`.
  void resetPhase() noexcept MORV_NONBLOCKING;

  // Fills the phase buffers for one block. The modulated frequency must not be 0: it scales the waves by its
  // reciprocal. A negative one moves the phase down without a wrap.
  void runPhaseIncrement(int frames, float tempo) noexcept MORV_NONBLOCKING;
  void runGenerator(float* left, float* right, int frames, float tempo) noexcept MORV_NONBLOCKING override;
  // The matrix's sources; with `leavesUnreadRight` the second only while some row takes it.
  void runGenerator(int frames, float tempo) noexcept MORV_NONBLOCKING override;

  // Whether the last block's steps were all alike and its wave is one of the five that draw no random
  // numbers, so that `skip` may follow.
  bool isSteady(int frames) const noexcept MORV_NONBLOCKING;
  // Where an LFO stands, but for its output smoother.
  struct Place {
    float phase, secondPhase, sign, heldValue;
    std::array<float, 3> lastHistories;
  };
  Place place() const noexcept MORV_NONBLOCKING;
  void setPlace(const Place& place) noexcept MORV_NONBLOCKING;
  // Moves phases, sign and held value on by so many frames as blocks of `blockFrames` at the last block's
  // frequency would, to the bit. The output smoother stands still. LFO mode, without a `wrapCallback`.
  void skip(std::int64_t frames, int blockFrames) noexcept MORV_NONBLOCKING;

  // Whether all that lasts from block to block is finite, and to put back what is not: the phases to their
  // start, the rest to what fits the phases.
  bool holdsNumbers() const noexcept MORV_NONBLOCKING;
  void mendState() noexcept MORV_NONBLOCKING;

  bool leavesUnreadRight = false;
  int pulseMode = 0;     // 0: the wave that oscWave names; 1: pulse of two saws, oscWave the second's gain
  bool bpmSync = false;  // oscFreq x 8 names a division of the tempo, from 4 bars (0) to a 64th (8)
  bool lfoMode;
  int (*wrapCallback)(void*) = nullptr;  // on each wrap of the main phase; must not touch this oscillator
  void* wrapCallbackOwner = nullptr;
  ZeroedFloats historyA;  // squares of the main phase, behind the last one of the block before
  ZeroedFloats historyB;  // squares of the second phase, likewise
  ZeroedFloats historyC;  // parabolas of the triangle, likewise
  ZeroedFloats phaseBuffer;
  ZeroedFloats secondPhaseBuffer;
  ZeroedFloats signBuffer;
  ZeroedFloats scratch;
  float frequency = 0;                // Hz, of the block's last sample, modulated
  float phase = -1.0F;                // -1 to 1
  float secondPhase = 0.0F;           // -1 to 1; pulse and triangle
  float sign = -1.0F;                 // flips with each wrap of `secondPhase`
  std::span<const float> noiseTable;  // pink noise, shared by all of one seed
  float heldValue = 0;                // of the sample and hold
  float lfoSmoothing;                 // 1 ms at the constructor's rate
  float lfoOutput = 0;                // state of the output smoother, -1 to 1
  DPWOscillatorState dpwState;
  // A second-order section that turns white noise pink, in double, with its two delays. The block loop takes
  // its noise from the table instead.
  std::array<double, 7> noiseFilterCoefficients = {
      1.0, 1.0, -1.80116083982126, 0.80257737639225, 0.04957526213389, -0.06305581334498, 0.0148322032074};
  std::array<double, 2> noiseFilterDelays = {};

 private:
  void _initNoise(std::uint64_t seed, int length);
  float baseFrequency(float tempo) const noexcept MORV_NONBLOCKING;
  bool fillSteps(int frames, float tempo) noexcept MORV_NONBLOCKING;
  void advance(int frames, float tempo, bool isSecondRead) noexcept MORV_NONBLOCKING;
  void advancePhasesSteadily(float step, bool isSecondRead, int frames) noexcept MORV_NONBLOCKING;
  void skipSecondPhase(float step, std::int64_t frames) noexcept MORV_NONBLOCKING;
  template <bool kLfo, bool kPulse, bool kWidthModulated>
  void advancePhases(int frames) noexcept MORV_NONBLOCKING;
  void fillHistories(bool first, bool second, bool third, int frames) noexcept MORV_NONBLOCKING;
  void runOutputs(float* left, float* right, bool isRightWanted, int frames,
                  float tempo) noexcept MORV_NONBLOCKING;
  void runWave(int wave, float* left, float* right, bool isRightWanted, int frames) noexcept MORV_NONBLOCKING;
  void smoothOutput(float* left, int frames) noexcept MORV_NONBLOCKING;

  const float firstSmoothing_;  // what `lfoSmoothing` goes back to if it is no number
  Random random_;
  std::shared_ptr<const PinkNoise> noise_;
};

}  // namespace morv
