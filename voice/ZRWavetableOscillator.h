#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "platform/ZeroedFloats.h"
#include "render/BlockLimits.h"
#include "render/FiniteCheck.h"
#include "voice/VoiceKernels.h"
#include "voice/WTOsc.h"
#include "voice/WavetableSet.h"
#include "voice/ZRDSPOscillator.h"

namespace morv {

enum class ZROscillatorMode : int {
  standardWaves = 0,  // five waves, with an optional blend to the neighbour
  voice = 1,          // two saws that make a variable pulse, a sub oscillator and noise
  scaledWave = 2,     // a sine whose pitch `oscWave` scales
  blend = 3,          // blend of two waves
  bank = 4,           // frames of a bank file
};

// Reads single-cycle tables, with a band-limited copy of each for every range of pitch. The copy is chosen by
// `noteFrequency`, so it does not follow modulation of the pitch.
//
// Construction and loading: off the render thread. `runGenerator`: render thread. Tables do not change while
// rendering; those of mode 1 are shared by all oscillators of one rate.
class ZRWavetableOscillator : public ZRDSPOscillator {
 public:
  ZRWavetableOscillator(float sampleRateHz, int blockLengthFrames, ZROscillatorMode mode,
                        int* addressCounter);
  ~ZRWavetableOscillator() override;

  // Back to the start of the cycle, the second phase to its half.
  void resetPhase() noexcept MORV_NONBLOCKING;
  void setRandomSeed(std::uint64_t seed);

  // `right` is never written. At most kMaxBlockFrames frames.
  void runGenerator(float* left, float* right, int frames, float tempo) noexcept MORV_NONBLOCKING override;
  void runGenerator(int frames, float tempo) noexcept MORV_NONBLOCKING override;
  virtual void _init();

  // Mean steps of the main and the sub phase, in samples of the table.
  struct Steps {
    double main = 0;
    double sub = 0;
  };
  // Works out the steps of a block from the present modulation, without playing it.
  Steps meanSteps(int frames) noexcept MORV_NONBLOCKING;
  // Moves the phases on by so many steps, and the noise by as many draws. Behind a sum of single steps the
  // phases differ by what those lose in rounding: at most 2^-15 of a sample of the table each.
  void skip(Steps each, std::int64_t frames) noexcept MORV_NONBLOCKING;
  // The noise's draws so many frames on, and to go on from there.
  Random noiseAfter(std::int64_t frames) const noexcept MORV_NONBLOCKING;
  void setNoise(const Random& noise) noexcept MORV_NONBLOCKING { random_ = noise; }
  // Whether pitch and phase hold still over the block, but for the settings.
  bool holdsPitch(int frames) const noexcept MORV_NONBLOCKING;

  // Whether the phases are finite. A block must not begin with others: they are places in the tables.
  bool holdsPhases() const noexcept MORV_NONBLOCKING { return areNumbers(phaseOne, phaseTwo, phaseThree); }
  // Whether all that lasts from block to block is, and to put back what is not: phases to their start.
  bool holdsNumbers() const noexcept MORV_NONBLOCKING;
  void mendState() noexcept MORV_NONBLOCKING;

  // Fills a slot of `tables` with a wave and its copies and counts it; without a number of harmonics they
  // reach up to 10 kHz at the base table's pitch.
  void generateWaveInTable(ZROscillatorWave wave, float* table);
  void generateWaveInTable(ZROscillatorWave wave, float* table, int harmonics);
  // Reads one cycle of 600 16-bit samples behind a 44-byte header into a slot, or into the next free one. A
  // file that cannot be opened or is too short changes nothing. Returns whether it was read.
  bool _loadWavetableFromDisk(const std::string& path, float* table);
  bool _loadWavetableFromDisk(const std::string& path);
  // Reads every ".wav" file of a folder, in order of path, into slots 0, 1, 2 ...
  void _loadWavetables(const std::string& folder);
  // Reads `frames` frames of 2048 raw floats from byte `headerBytes` on. A file that cannot be read leaves a
  // silent bank of that many frames. Returns whether it was read.
  bool loadWavetableBankFromDisk(const std::string& path, int frames, int headerBytes);
  // Plays one cycle of up to 600 samples out again as `outLength` samples.
  void _resynthesizeTable(const std::int16_t* in, int inLength, float* out, int outLength);

  // Slot of the wave set, for writing; makes the set this oscillator's own first. Not while rendering.
  float* tableForWriting(int wave);
  const float* table(int wave) const noexcept MORV_NONBLOCKING { return waves_->wave(wave); }

  ZRDSPParameter fmAmount;     // no address, value 0: modulation of the phase is off
  ZRDSPParameter morphAmount;  // no address, value 0
  ZROscillatorMode oscillatorMode;
  int morphTable = 0;  // second wave of the blend
  int subOctave = 0;   // octaves down, 0 to 2
  float noiseLevel = 0;
  float subLevel = 0;
  float subDetune = 0;           // semitones
  int subWave = 0;               // 0 triangle, otherwise square
  float tablePosition = 1;       // index of the copy over 12; stored only
  float modulatedFrequency = 1;  // Hz, last sample, with the pitch factors
  float rawFrequency = 1;        // Hz, last sample, without them
  float noteFrequency = 0;       // Hz; chooses the band-limited copy
  bool noiseFromTable = false;
  bool morphEnabled = false;
  int bankTableCount = 0;
  int tableSize = WavetableSet::kTableSize;
  int tableCount = 0;
  bool tablesReady = false;
  int noiseWave = 4;
  float phaseOne = 0;  // samples of the table, 0 to tableSize
  float phaseTwo = 512;
  float phaseThree = 0;

 private:
  struct Block : ZeroedFloats {
    Block() : ZeroedFloats(kMaxBlockFrames + 1) {}
  };

  void chooseCopy() noexcept MORV_NONBLOCKING;
  OscillatorStepSettings stepSettings() noexcept MORV_NONBLOCKING;
  void keepFrequencies(const OscillatorStepSettings& settings, float lastStep,
                       int frames) noexcept MORV_NONBLOCKING;
  void runFrequency(const OscillatorStepSettings& settings, int frames) noexcept MORV_NONBLOCKING;
  void runWidths(int frames) noexcept MORV_NONBLOCKING;
  bool modulatesPhase() const noexcept MORV_NONBLOCKING;
  void runPhaseModulation(int frames) noexcept MORV_NONBLOCKING;
  void runPhases(int frames) noexcept MORV_NONBLOCKING;
  PulseWaveSettings pulseSettings() const noexcept MORV_NONBLOCKING;
  const float* subTable() const noexcept MORV_NONBLOCKING;
  void runPulse(const OscillatorStepSettings& steps, float* left, int frames) noexcept MORV_NONBLOCKING;
  void runVoiceMode(float* left, int frames) noexcept MORV_NONBLOCKING;
  void runStandardWaves(float* left, int frames) noexcept MORV_NONBLOCKING;
  void runBank(float* left, int frames) noexcept MORV_NONBLOCKING;
  void addNoise(float* left, int frames) noexcept MORV_NONBLOCKING;
  void addSub(float* left, int frames) noexcept MORV_NONBLOCKING;
  void blendIntoWork(int wave, int other, float amount) noexcept MORV_NONBLOCKING;
  int clampedWave(int wave) const noexcept MORV_NONBLOCKING;

  // Of the constructor's rate, whatever `sampleRate` becomes.
  double log10Ratio;
  double log10Low;
  double log10Step;

  std::shared_ptr<const WavetableSet> waves_;
  std::shared_ptr<WavetableSet> ownWaves_;  // the same set when it is this oscillator's own
  std::vector<float> bank_;
  Random random_;
  WTOscState firstState_;
  WTOscState secondState_;
  float chosenFrequency_ = -1;  // what the copy was chosen for
  int chosenSize_ = 0;
  int readOffset_ = 1;  // first sample of the chosen copy that is read
  float lastWidth_ = 0.5F;
  bool phaseIsModulated_ = false;
  bool stepsAreShort_ = false;  // every step of the block is above 0 and below a cycle
  Block increments_;
  Block subIncrements_;
  Block widths_;
  Block phaseModulation_;
  Block phaseOneBuffer;
  Block phaseTwoBuffer;
  Block phaseThreeBuffer;
  Block work;
};

}  // namespace morv
