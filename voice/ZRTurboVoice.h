#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/NonBlocking.h"
#include "platform/Relaxed.h"
#include "voice/ZRBasicEnvelope.h"
#include "voice/ZRBiquadFilter.h"
#include "voice/ZRDSPVoice.h"
#include "voice/ZRSEMFilter.h"
#include "voice/ZRSequencer.h"
#include "voice/ZRVAAmp.h"
#include "voice/ZRVAOscillator.h"
#include "voice/ZRWavetableOscillator.h"

namespace morv {

// The instrument's voice: wavetable oscillator with sub and noise, multimode filter, drive, two envelopes, an
// LFO with fade-in, and two amplifiers, wired through the modulation matrix by 44 rows that all voices share.
//
// The order of one block: control work, LFO, matrix, fade envelope and LFO amplifier, oscillator, limiter,
// modulation envelope, filter, amplitude envelope, drive, output amplifier. What runs behind the matrix
// reaches its destinations one block later.
class ZRTurboVoice : public ZRDSPVoice {
 public:
  ZRTurboVoice(float sampleRateHz, int blockSizeFrames, int firstParameterAddress);
  ~ZRTurboVoice() override;

  // Does nothing: a voice keeps its state between notes.
  void reset() override;
  // Hands the rate to the modules; tables, coefficients and smoothing keep the constructor's.
  void prepare(float sampleRateHz, int blockSizeFrames) override;
  using ZRDSPVoice::setGateWithNoteAndPitchbend;
  void setGateWithNoteAndPitchbend(int newGate, int newNote, int newVelocity,
                                   float bend) noexcept MORV_NONBLOCKING override;
  void setGateWithNote(int newGate, int newNote, int newVelocity) noexcept MORV_NONBLOCKING override;
  // Gate alone, at full velocity, without touching the LFO.
  void setGate(int newGate) noexcept MORV_NONBLOCKING override;
  // Adds the voice's sound to `left` and `right`. A voice that never had a note adds nothing.
  void runGenerator(float* left, float* right, int frames, float tempo) noexcept MORV_NONBLOCKING override;
  // Filters up to eight voices side by side.
  void runGenerators(ZRDSPVoice* const* bank, int count, float* left, float* right, int frames,
                     float tempo) noexcept MORV_NONBLOCKING override;
  bool holdsNumbers(int frames) const noexcept MORV_NONBLOCKING override;
  bool playedNumbers(int frames) const noexcept MORV_NONBLOCKING override;
  // A voice that slept is awake behind it, without playing anything again.
  void mendState(int frames) noexcept MORV_NONBLOCKING override;
  void addLastBlock(float* left, float* right, int frames) const noexcept MORV_NONBLOCKING override;
  void setRandomSeed(std::uint64_t seed) override;
  void setParameterValueForAddress(int address, float value) noexcept MORV_NONBLOCKING override;

  // A voice whose sound has ended falls asleep a second later, while nothing about it moves, and then costs
  // no more than one that never sounded. In the first block in which something moves it makes up for the
  // time: LFO phase, random draws and filter are then where they would have been. The oscillator's phase is,
  // too, but for at most 2^-25 of a cycle per frame slept; where the LFO bends the pitch, it is some other
  // one, as is the phase of an LFO at the pitch that the instrument's slop moves. The filter's state comes
  // from playing its last stretch again and is within 80 dB. If settings moved, that stretch is played with
  // the new ones, so a note in the very block of such a move begins as if they had stood longer.
  bool isAsleep() const noexcept MORV_NONBLOCKING { return asleep_; }

  ZRDSPParameter oscWave, oscPulseWidth, oscMainLevel, oscNoiseLevel, oscSubLevel, oscSubWave, oscSubOctave,
      oscSubDetune, oscEnvModAmount, oscLFOModAmount, oscPulsewidthLFOModAmount, oscWaveLFOModAmount,
      lfoAmount, lfoFreq, lfoShape, lfoFadeIn, lfoBPMSync, lfoKeySync, lfoRange, filterCutoff,
      filterResonance, filterMode, filterEnvModAmount, filterLFOModAmount, filterModeModAmount,
      filterModeEnvModAmount, filterKeyTrackAmount, filterQLFOAmount, env1Attack, env1Decay, env1Sustain,
      env1Release, env1Velocity, env2Attack, env2Decay, env2Sustain, env2Release, env2Velocity, env2Loop,
      env2Sync, outputDistortion, outputDistortionTone, modwheelFilterFreqAmount, modwheelFilterModeAmount,
      modwheelLFOAmount, modwheelLFOFreqAmount, modwheelAmpModAmount, oscSubPressModAmount,
      oscPWPressModAmount, oscShapePressModAmount, oscNoisePressModAmount, oscPWSlideModAmount,
      oscShapeSlideModAmount, oscNoiseSlideModAmount, oscSubSlideModAmount, filterFreqPressModAmount,
      filterModePressModAmount, filterFreqSlideModAmount, filterModeSlideModAmount, ampPressModAmount,
      ampSlideModAmount, lfoFreqPressModAmount, lfoFreqSlideModAmount, lfoAmountPressModAmount,
      lfoAmountSlideModAmount, outputDistortionPressModAmount, outputDistortionSlideModAmount;

  // Made in this order, in which they draw their addresses.
  std::unique_ptr<ZRBiquadFilter> driveTone;
  std::unique_ptr<ZRWavetableOscillator> waveOscillator;
  std::unique_ptr<ZRSEMFilter> filter;
  std::unique_ptr<ZRVAOscillator> lfo;
  std::unique_ptr<ZRBasicEnvelope> ampEnvelope;
  std::unique_ptr<ZRBasicEnvelope> modEnvelope;
  std::unique_ptr<ZRBasicEnvelope> fadeEnvelope;
  std::unique_ptr<ZRVAAmp> outputAmp;
  std::unique_ptr<ZRVAAmp> lfoAmp;
  std::unique_ptr<ZRSequencer> sequencer;  // draws no address; stands idle

  float smoothedPan = 0;  // -1 to 1

  // Rows that each block adjusts; shared by all voices, so the voice rendered last sets them for all.
  modMatrixRow* rowFadeToLfo = nullptr;
  modMatrixRow* rowLfoToPitch = nullptr;
  modMatrixRow* rowLfoToAmp = nullptr;
  modMatrixRow* rowNoteToPitch = nullptr;

 private:
  // The row array that a block has looked through, and how the fade row stood then.
  struct SeenRows {
    const ModMatrixCore* core = nullptr;
    bool fadeIsActive = false;
  };

  // What must not move while a voice sleeps.
  struct Rest {
    float pressure = 0, bend = 0, slide = 0, velocity = 0, noteFrequency = 0, glideStart = 0, wheel = 0;
    int gate = 0;
    std::uint32_t settings = 0;
    int frames = 0;
    float tempo = 0;
    bool operator==(const Rest&) const = default;
  };

  void makeModules(float sampleRateHz, int blockSizeFrames);
  void makeRows();
  void leaveOutUnreadRows();
  void gateEnvelopes(int newGate, int newVelocity) noexcept MORV_NONBLOCKING;
  void followPan() noexcept MORV_NONBLOCKING;
  void followControls(int frames) noexcept MORV_NONBLOCKING;
  void runRows(int frames, SeenRows* rows) noexcept MORV_NONBLOCKING;
  bool runSources(int frames, float tempo, SeenRows* rows) noexcept MORV_NONBLOCKING;
  float* runToFilter(int frames, float tempo, SeenRows* rows, bool withEnvelopes) noexcept MORV_NONBLOCKING;
  void runOutput(float* left, float* right, int frames, float tempo) noexcept MORV_NONBLOCKING;
  void runLfo(int frames, float tempo) noexcept MORV_NONBLOCKING;
  void runOscillator(int frames, float tempo) noexcept MORV_NONBLOCKING;
  float driveGain() const noexcept MORV_NONBLOCKING;
  SEMFilterLane laneFor(float* signal, int frames) noexcept MORV_NONBLOCKING;
  void runDriveTone(float* signal, int frames) noexcept MORV_NONBLOCKING;
  float firstDestinationSample(const ZRDSPParameter& parameter) const noexcept MORV_NONBLOCKING;

  const float* lastBlock() const noexcept MORV_NONBLOCKING;
  void mendSettings() noexcept MORV_NONBLOCKING;

  Rest presentRest(int frames, float tempo) const noexcept MORV_NONBLOCKING;
  bool isAtRest(int frames) const noexcept MORV_NONBLOCKING;
  void watchForSleep(int frames, float tempo) noexcept MORV_NONBLOCKING;
  void sleepOn(int frames) noexcept MORV_NONBLOCKING;
  bool isStirred(int frames, float tempo) const noexcept MORV_NONBLOCKING;
  void wake() noexcept MORV_NONBLOCKING;
  static void wakeStirred(ZRDSPVoice* const* bank, int count, int frames,
                          float tempo) noexcept MORV_NONBLOCKING;
  static void replayTogether(ZRTurboVoice* const* waking, int count) noexcept MORV_NONBLOCKING;
  void beginWaking() noexcept MORV_NONBLOCKING;
  void endWaking() noexcept MORV_NONBLOCKING;
  void skip(std::int64_t frames) noexcept MORV_NONBLOCKING;
  ZRWavetableOscillator::Steps meanSteps(double frames) noexcept MORV_NONBLOCKING;

  const float panSmoothing;
  // Counts the settings that are set, behind each, so that who sees the count sees the setting.
  std::atomic<std::uint32_t> settingsSeen_{0};
  Rest rest_;
  float longestMemory_ = 0;  // samples, of the filter since the voice came to rest
  int quietFrames_ = 0;
  int replayedFrames_ = 0;  // that waking plays again
  std::int64_t sleptFrames_ = 0;
  double sleptDetune_ = 0;  // Hz, summed over those
  float lastDetune_ = 0;    // Hz
  bool asleep_ = false;
  bool isGated_ = false;      // since it fell asleep
  bool lfoRestarts_ = false;  // once the voice is awake
  // What waking hands over to the voice awake.
  struct Awake {
    int blocksLeft = 0;  // to be played again
    float noteFrequency = 0;
    float detune = 0;
    ZRVAOscillator::Place lfo{};
    Random noise;
  };
  Awake awake_;
};

}  // namespace morv
