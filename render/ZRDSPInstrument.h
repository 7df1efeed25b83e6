#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "effects/ZRDSPEffect.h"
#include "modulation/ZRDSPMIDIQuantizer.h"
#include "modulation/ZRDSPModMatrix.h"
#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "render/BlockLimits.h"
#include "render/FixedList.h"
#include "render/KeyedSlots.h"
#include "render/NoteStateGuard.h"
#include "render/RecoveryCounter.h"
#include "render/SequencerLanes.h"
#include "render/ZRDSPEntity.h"
#include "voice/ZRBiquadFilter.h"
#include "voice/ZRDSPVoice.h"

namespace morv {

enum class ZRDSPInstrumentEffectRouting : int { insert = 0, send = 1 };

// Which groups of global parameters are registered; a record whose bit is clear keeps its value, out of the
// tree.
enum ZRDSPInstrumentFlags : unsigned {
  kInstrumentMidi = 4,
  kInstrumentVoices = 8,
  kInstrumentArpeggiator = 16,
  kInstrumentGlideAndMPE = 32,  // also makes MPE the default
  kInstrumentControllers = 64,
  kInstrumentDistortion = 128,
  kInstrumentSequencer = 256,
  kInstrumentSplitBend = 512,
};

// One held note in unison, with its expression.
struct NoteState {
  int note = 0;
  int channel = 0;
  float velocity = 0;
  float pitchbend = 0;  // -1 to 1
  float pressure = 0;
  float slide = 0;
};

// The engine's top object: a bank of voices, a chain of effects, the global parameters and the note
// allocator.
//
// Construction, `initWithNumberOfVoices`, `addEffect`, `prepare`: one thread, not while rendering. Note
// operations and `runInstrument`: render thread, between `beginBlock` and `endBlock` of the kernel. Parameter
// values, `setAllNotesOff` and `setGate`: any thread.
class ZRDSPInstrument : public ZRDSPEntity {
 public:
  explicit ZRDSPInstrument(float sampleRateHz);
  ~ZRDSPInstrument() override;

  // Builds the bank and the global parameters. Once.
  template <typename Voice>
  void initWithNumberOfVoices(int numberOfVoices, float sampleRateHz, int blockSizeFrames, unsigned flags) {
    _beginInit(numberOfVoices, sampleRateHz, blockSizeFrames, flags);
    for (int i = 0; i < numberOfVoices; ++i) {
      _addVoice(std::make_unique<Voice>(sampleRateHz, blockSizeFrames, 0));
    }
    _finishInit(flags);
  }
  // Builds one effect, bypassed, at the end of the chain. The last call's routing holds for all.
  template <typename Effect>
  void addEffect(float sampleRateHz, int routing) {
    _addEffect(std::make_unique<Effect>(sampleRateHz), routing);
  }

  // The first voice's parameters, then the globals; no effect parameter.
  std::vector<ZRDSPParameter*> parameters() override;
  // Among the globals, then the first voice's; 0 when there is none.
  int addressForIdentifier(const std::string& wanted) override;
  // Answers none for every address; read through `parameterValueForAddress`.
  ZRDSPParameter* parameterForAddress(int address) override;
  // Writes a global, or else the same address in every voice. A new `voiceMode` and `arpEnabled` 0 end all
  // notes.
  void setParameterValueForAddress(int address, float value) noexcept MORV_NONBLOCKING override;
  // A global's value, else the first voice's, else 0.
  float parameterValueForAddress(int address) noexcept MORV_NONBLOCKING override;

  // Hands rate (Hz) and block size (frames) to voices and effects and works out the followers.
  virtual void prepare(float sampleRateHz, int blockSizeFrames);
  // Back to the start: the arpeggiator's sample count, the sequencer's step, step and tick counts and cycle.
  // The sequencer's sample count within a tick and its direction stay. Then the same on every voice.
  virtual void resetTimeline(int mode) noexcept MORV_NONBLOCKING;

  // Entry of all notes. Channel 0 to 15, note and velocity 0 to 127.
  virtual void setGateWithNote(int channel, int gate, int note, int velocity) noexcept MORV_NONBLOCKING;
  // Does nothing.
  virtual void setGateWithNote(int channel, int gate, int note, int velocity,
                               double sampleTime) noexcept MORV_NONBLOCKING;
  // The same on the voice of the given index, without a search. An index outside the bank does nothing.
  virtual void setGateWithNote(int channel, int gate, int note, int velocity,
                               int voice) noexcept MORV_NONBLOCKING;
  // Gate of the first voice alone.
  virtual void setGate(int gate) noexcept MORV_NONBLOCKING;
  // 0 to 16383, centre 8192.
  virtual void setPitchbend(int channel, int value) noexcept MORV_NONBLOCKING;
  virtual void setMIDICC(int channel, int controller, int value) noexcept MORV_NONBLOCKING;
  virtual void setChannelPressure(int channel, int value) noexcept MORV_NONBLOCKING;
  virtual void setPolyAftertouch(int note, int value) noexcept MORV_NONBLOCKING;
  virtual void setAllNotesOff() noexcept MORV_NONBLOCKING;
  virtual void setSustain(int value) noexcept MORV_NONBLOCKING;

  // Renders one block: both outputs are overwritten. At most kMaxBlockFrames frames; more are answered by
  // silence. `left` and `right` may be the same memory. A tempo that is not finite leaves the last one.
  virtual void runInstrument(float* left, float* right, int frames, float blockTempo,
                             double sampleTime) noexcept MORV_NONBLOCKING;
  virtual void _runEffects(const float* inLeft, const float* inRight, float* outLeft, float* outRight,
                           int frames) noexcept MORV_NONBLOCKING;
  // Moves the step sequencer on by a fixed 256 samples, whatever the block's length, and plays on all voices
  // at once. `sampleTime` becomes the time of a step taken in this call. Only while the transport plays and
  // `seqEnabled` is on.
  virtual void runSequencer(double sampleTime) noexcept MORV_NONBLOCKING;
  // To the next step by `seqMode`.
  void advanceSequencer() noexcept MORV_NONBLOCKING;
  // Sets one step of one lane; see SequencerLanes. False, with nothing changed, for a lane, step or value
  // outside its range. Not while rendering.
  bool setSequencerStep(int lane, int step, bool gate, int value) noexcept {
    return sequencerLanes_.setStep(lane, step, gate, value);
  }
  const SequencerLanes& sequencerLanes() const noexcept MORV_NONBLOCKING { return sequencerLanes_; }

  // Plays the held notes in turn, one a step; the start of a step falls on a block's start. `frames` are
  // those of the block, `wholeTempo` is in beats per minute. At 0 a step has no end. Render thread, only
  // while `arpEnabled` is on.
  void doArp(int frames, int wholeTempo) noexcept MORV_NONBLOCKING;
  // Does nothing: latching happens where notes end. (The record has the name without the underscore.)
  void _arpLatch() noexcept MORV_NONBLOCKING;
  // Ends all notes.
  void arpUnlatch() noexcept MORV_NONBLOCKING;
  // Resets every effect.
  virtual void clearBuffers();
  // The voice that plays a note, or none.
  virtual ZRDSPVoice* voiceForNote(int note, int channel) noexcept MORV_NONBLOCKING;

  void setMinVelocity(float velocity) noexcept MORV_NONBLOCKING;
  void setNotePriority(int priority) noexcept MORV_NONBLOCKING { notePriority = priority; }
  int numActiveVoices() const noexcept MORV_NONBLOCKING { return heldNotes.size(); }
  ZRDSPModMatrix* getModMatrix(int voice) const;

  // Brackets one block: what other threads asked of note state happens at its start.
  void beginBlock() noexcept MORV_NONBLOCKING;
  void endBlock() noexcept MORV_NONBLOCKING;

  // How often state that was no number was found, in voices, effects and the instrument itself, and put back;
  // each time is told the diagnostic ring, but for more than a few in a second. What is found again before a
  // look found it healthy is put back, and neither counted nor told once more. Any thread, once the effects
  // are added.
  std::uint32_t recoveryCount() const noexcept MORV_NONBLOCKING;
  // Something around the instrument put state of its own back; the next block counts it as the instrument's.
  void noteRecovery() noexcept MORV_NONBLOCKING { isNoted_ = true; }

  // Makes every random draw from here on a function of the seed. Not while rendering.
  void setRandomSeed(std::uint64_t seed);

  // Global parameters.
  ZRDSPParameter volume, pitchbendRange, modwheelAmount, voiceMode, voiceNumber, voiceDetune, midiMode,
      midiChannel, aftertouchAmount, slideAmount, glideAmount, outputSaturation, outputDistortion,
      outputDistortionTone, legato, panSpread, arpEnabled, arpMode, arpClockDivision, arpRange, arpGateLength,
      arpLatch, controlA, controlB, controlC, controlX, controlY, seqEnabled, seqMode, seqClockDivision,
      seqRange, seqGateLength, seqScale, seqRoot, seqKeyTranspose, seqVariation, seqVariationType,
      pitchbendRangeUp, pitchbendRangeDown;
  ZRDSPParameter tuning;  // never offered; its value of 0 goes to each voice's baseFrequency

  std::vector<std::unique_ptr<ZRDSPVoice>> voices;
  std::vector<std::unique_ptr<ZRDSPEffect>> effects;
  std::map<ZRDSPEffect*, std::unique_ptr<ZRDSPParameter>> sendParameters;
  ZRDSPInstrumentEffectRouting effectRouting = ZRDSPInstrumentEffectRouting::insert;
  std::shared_ptr<ZRDSPModMatrix> modMatrix;
  std::unique_ptr<ZRBiquadFilter> outputFilter;  // made for the rate of construction; no stage runs it
  int numVoices = 0;

  // Note state.
  static constexpr std::size_t kMaxHeldOrder = 1024;
  bool defaultsToMPE = true;
  Relaxed<float> mpeBendRange{48.0F};  // semitones, member channels
  Relaxed<int> notePriority{0};        // 0 lowest, 1 highest, 2 last
  int currentVoiceMode = 0;            // 0 Poly, 1 Unison
  int rotateUnisonIndex = 0;
  using HeldNotes = KeyedSlots<ZRDSPVoice*, 128>;  // the voice of each sounding note
  HeldNotes heldNotes;
  KeyedSlots<int, 16> channelNotes;
  KeyedSlots<ZRDSPVoice*, 16> channelVoices;
  FixedList<ZRDSPVoice*, kMaxHeldOrder> sustainedVoices;
  bool sustainHeld = false;
  int voiceIndex = 0;
  int lastNote = 0;
  int lastChannel = 0;
  FixedList<int, kMaxHeldOrder> noteOrder;
  FixedList<NoteState, kMaxHeldOrder> noteStack;
  float bendValue = 0;
  float currentBend = 0;
  int lastReleasedNote = 0;
  std::uint8_t nrpnMSB = 0;
  std::uint8_t nrpnLSB = 0;

  // Arpeggiator.
  FixedList<int, kMaxHeldOrder> arpNotes;  // in playing order
  float arpCounter = 0;                    // samples since the step began
  float arpStepSamples = 0;                // samples; as the last call worked it out
  int arpIndex = 0;                        // position in `arpNotes`
  int arpCycle = 0;                        // steps, modulo the length of the pattern
  int arpGoingUp = 0;
  int arpOctave = 1;  // octaves above the held note

  // Step sequencer.
  std::unique_ptr<ZRDSPMIDIQuantizer> quantizer;  // none without the sequencer's flag; notes then pass as is
  int seqStep = 0;                                // 0 to 7
  int seqDisplayStep = 0;                         // a copy for the display
  int seqCycle = 0;                               // passes through step 0
  int seqDirection = 0;                           // 0 forward, 1 backward
  int seqTickInStep = 0;                          // ticks, counted on across steps
  int seqShift = 0;                               // semitones, ahead of the quantiser
  int seqGateLengthSamples = 0;
  int seqStepCounter = 0;       // samples since the last step
  int seqTickCounter = 0;       // samples since the last tick
  double seqLastStepTime = 0;   // host's sample time of the last step
  double seqTimelineStart = 0;  // host's sample time of the last reset

  // Rendering state.
  float tempo = 120;  // beats per minute
  int transportState = 0;
  double timelinePosition = 0;
  float slopValue = 0;
  float smoothedVolume = 0;
  float volumeCoefficient = 0;
  float slopCoefficient = 0;
  float sampleCoefficient = 0;
  double blockSampleTime = 0;
  double timelineSampleTime = 0;
  int (*voiceCallback)(int, int, void*) = nullptr;
  void* voiceCallbackContext = nullptr;

 private:
  void _beginInit(int numberOfVoices, float sampleRateHz, int blockSizeFrames, unsigned flags);
  void _addVoice(std::unique_ptr<ZRDSPVoice> voice);
  void _finishInit(unsigned flags);
  void _initGlobalParameters(unsigned flags);
  void _addEffect(std::unique_ptr<ZRDSPEffect> effect, int routing);

  void _request(std::uint32_t bits) noexcept MORV_NONBLOCKING;
  void _carryOut(std::uint32_t bits) noexcept MORV_NONBLOCKING;
  void _allNotesOff() noexcept MORV_NONBLOCKING;

  bool isMPE() const noexcept MORV_NONBLOCKING { return midiMode.intValue() != 0; }
  bool isOnForeignChannel(int channel) const noexcept MORV_NONBLOCKING;
  int poolSize() const noexcept MORV_NONBLOCKING;
  float drawPan() noexcept MORV_NONBLOCKING;
  bool catchSustainedNoteOff(int channel, int gate, int note) noexcept MORV_NONBLOCKING;
  int findPolyVoice() noexcept MORV_NONBLOCKING;
  void startPolyNote(ZRDSPVoice& voice, int channel, int gate, int note,
                     int velocity) noexcept MORV_NONBLOCKING;
  void endPolyNote(ZRDSPVoice* voice, int channel, int note) noexcept MORV_NONBLOCKING;
  int playUnison(int channel, int gate, int note, int velocity) noexcept MORV_NONBLOCKING;
  void startUnisonVoice(ZRDSPVoice& voice, int channel, int gate, int note,
                        int velocity) noexcept MORV_NONBLOCKING;
  void endUnisonVoice(ZRDSPVoice& voice, int channel, int note) noexcept MORV_NONBLOCKING;
  void fallBackUnisonVoice(ZRDSPVoice& voice, int channel, int note, int velocity) noexcept MORV_NONBLOCKING;
  void finishNoteEvent(int channel, int gate, int note, int printedVoice) noexcept MORV_NONBLOCKING;
  void sendControllerToAll(int controller, int value) noexcept MORV_NONBLOCKING;
  void bendAllInDefaultMode() noexcept MORV_NONBLOCKING;

  void restVoices(const HeldNotes& held) noexcept MORV_NONBLOCKING;
  void countArpStep(int octaves) noexcept MORV_NONBLOCKING;
  void orderArpNotes(const HeldNotes& held) noexcept MORV_NONBLOCKING;
  void playArpNote(const HeldNotes& held) noexcept MORV_NONBLOCKING;
  bool isArpIndexInRange() const noexcept MORV_NONBLOCKING;

  int quantized(int note) const noexcept MORV_NONBLOCKING;
  int draw12() noexcept MORV_NONBLOCKING { return random_.integer31() % 12; }
  void playSequencerStep(float rate, double stepSamples, int dice) noexcept MORV_NONBLOCKING;
  void varySequencerStep(bool* gate, int* note) noexcept MORV_NONBLOCKING;

  int prepareVoicesPoly() noexcept MORV_NONBLOCKING;
  int prepareVoicesUnison() noexcept MORV_NONBLOCKING;
  void runVoices(int frames) noexcept MORV_NONBLOCKING;
  void workOutFollowers() noexcept MORV_NONBLOCKING;
  bool holdsOwnNumbers() const noexcept MORV_NONBLOCKING;
  void mendOwnState() noexcept MORV_NONBLOCKING;
  void watchVoices(int count, int frames) noexcept MORV_NONBLOCKING;
  void mendMix(int count, int frames) noexcept MORV_NONBLOCKING;
  void collectRecoveries(int count) noexcept MORV_NONBLOCKING;
  void saturateAndScale(float* left, float* right, int frames) noexcept MORV_NONBLOCKING;

  NoteStateGuard noteStateGuard_;
  std::vector<ZRDSPVoice*> bank_;  // the voices, for one call
  RecoveryCounter recoveries_;     // of voices and of the instrument itself
  bool isAiling_ = false;          // state of its own was put back in the last block
  bool isNoted_ = false;
  int framesUnwatched_ = 0;
  int watchedVoice_ = 0;  // looked at last
  Random random_;
  SequencerLanes sequencerLanes_;
  std::array<float, kMaxBlockFrames> mixLeft{};
  std::array<float, kMaxBlockFrames> mixRight{};
  std::array<float, kMaxBlockFrames> sendLeft{};
  std::array<float, kMaxBlockFrames> sendRight{};
};

}  // namespace morv
