#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "platform/NonBlocking.h"
#include "render/ZRDSPEntity.h"

namespace morv {

// What all voices have in common: note, gate, bend and performance controls, turned sample by sample into the
// built-in sources of the voice's own modulation matrix. A concrete voice then reads modulation buffers
// alone.
//
// Construction: one thread. Everything else: the render thread, driven by the instrument.
class ZRDSPVoice : public ZRDSPEntity {
 public:
  // Parameters take addresses from `firstParameterAddress` on.
  ZRDSPVoice(float sampleRateHz, int blockSizeFrames, int firstParameterAddress);
  ~ZRDSPVoice() override;

  virtual void reset() = 0;
  virtual void resetTimeline(int mode) noexcept MORV_NONBLOCKING;
  // Stores both; smoothing and portamento keep the constructor's rate.
  virtual void prepare(float sampleRateHz, int blockSizeFrames);

  // Adds a row with a depth of its own, -1 to 1, default 0, at `address`; its identifier is "source >
  // destination" by number. Construction only.
  virtual void makeModRouting(const std::string& sourceName, int source, const std::string& sourceLabel,
                              const std::string& destinationName, int destination,
                              const std::string& destinationLabel, int address, int amount, int transform);
  // The same with the depth's flags, as a named row that may belong to the global pass.
  virtual void makeModRouting(const std::string& sourceName, int source, const std::string& sourceLabel,
                              const std::string& destinationName, int destination,
                              const std::string& destinationLabel, ZRDSPParameterFlags flags, int address,
                              int amount, int transform, bool isGlobal);
  // Routes every output of each entity, and the entity itself, to every parameter of `modDestinations`.
  virtual void addModRoutingsForGlobalSources(const std::vector<ZRDSPEntity*>& entities);

  virtual void setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity,
                                            double time) noexcept MORV_NONBLOCKING;
  virtual void setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity, int time,
                                            int ignored) noexcept MORV_NONBLOCKING;
  // The time is dropped.
  virtual void setGateWithNoteAndSampleTime(int newGate, int newNote, int newVelocity,
                                            int time) noexcept MORV_NONBLOCKING;
  // Stores the last argument in `sampleTime` (the instrument passes the channel) and goes on with the next
  // form.
  virtual void setGateWithNoteAndPitchbend(int newGate, int newNote, int newVelocity, float bend,
                                           int newSampleTime) noexcept MORV_NONBLOCKING;
  // Gate with a bend, -1 to 1; the running bend is not restarted.
  virtual void setGateWithNoteAndPitchbend(int newGate, int newNote, int newVelocity,
                                           float bend) noexcept MORV_NONBLOCKING;
  // Gate that starts from no bend.
  virtual void setGateWithNote(int newGate, int newNote, int newVelocity) noexcept MORV_NONBLOCKING;
  // Changes the pitch without a new attack.
  virtual void setNote(int newNote) noexcept MORV_NONBLOCKING;
  // Bend of -1 to 1 times `pitchbendRange`, worked out at the present note.
  virtual void setPitchbend(float bend) noexcept MORV_NONBLOCKING;
  // Second bend on top of the first, with its own range in semitones.
  virtual void addPitchbend(float amount, int scale) noexcept MORV_NONBLOCKING;
  virtual void setPressure(float newPressure) noexcept MORV_NONBLOCKING;
  // Controllers 1 (modulation wheel) and 74 (slide), 0 to 127; others do nothing.
  virtual void setMIDICC(int controller, int value) noexcept MORV_NONBLOCKING;
  virtual void setGate(int newGate) noexcept MORV_NONBLOCKING = 0;
  // Fills the built-in sources for `frames` samples. This class writes no audio; a concrete voice adds into
  // `left` and `right`. `frames` is 0 to kMaxBlockFrames, `tempo` in beats per minute.
  virtual void runGenerator(float* left, float* right, int frames, float tempo) noexcept MORV_NONBLOCKING;
  // Runs `count` voices of one class, in order, with the same result as one `runGenerator` behind the other.
  // Called on the first of them; a class may work on several side by side.
  virtual void runGenerators(ZRDSPVoice* const* bank, int count, float* left, float* right, int frames,
                             float tempo) noexcept MORV_NONBLOCKING;

  // How a voice gets rid of state that is no number, which would last for ever. Notes, gates and stages go
  // on. Whether all that lasts from block to block is finite, as far as it is looked at in healthy operation.
  // Cheap; `frames` are those of the last block.
  virtual bool holdsNumbers(int frames) const noexcept MORV_NONBLOCKING;
  // Whether what it played last is finite. A class that does not tell says so.
  virtual bool playedNumbers(int frames) const noexcept MORV_NONBLOCKING;
  // Puts everything that is not finite back to what a fresh voice holds or to where it was on its way, and
  // counts it in `recoveries`. What it played last becomes silence if it was not finite.
  virtual void mendState(int frames) noexcept MORV_NONBLOCKING;
  // Adds once more what it played last.
  virtual void addLastBlock(float* left, float* right, int frames) const noexcept MORV_NONBLOCKING;

  // Reseeds whatever the voice draws at random. Off the render thread.
  virtual void setRandomSeed(std::uint64_t seed);

  // Frequency in Hz of a MIDI note, equal temperament, note 69 at 440 Hz.
  static float frequencyForNote(int midiNote) noexcept MORV_NONBLOCKING;

  bool active = false;  // audio is computed only while set; the first note sets it for good
  int gate = 0;
  float detuneOffset = 0;         // Hz; the instrument's, for one block
  float baseFrequency = 440;      // Hz; written by the instrument, read by nobody
  float noteFrequency = 220;      // Hz
  float pressure = 0;             // 0 to 127
  float slide = 0;                // 0 to 127
  float velocity = 0;             // 0 to 127
  float pitchbendDelta = 0;       // Hz
  float pitchbendRange = 48;      // semitones
  float modWheelValue = 0;        // 0 to 127
  float panTarget = 0;            // -1 to 1
  float minVelocity = 0;          // stored only
  int note = 0;                   // MIDI note number
  int sampleTime = 0;             // holds the note's channel
  int transportState = 0;         // the instrument's, each block
  double timelinePosition = 0;    // the instrument's, each block
  ZRDSPParameter portamentoTime;  // seconds
  int (*voiceCallback)(int, int, void*) = nullptr;
  void* voiceCallbackContext = nullptr;
  std::vector<ZRDSPParameter*> modDestinations;
  std::unique_ptr<ZRDSPModMatrix> modMatrix;  // never none

  float smoothedPitchbend = 0;  // Hz
  float smoothedPressure = 0;
  float smoothedSlide = 0;
  float smoothedGate = 0;
  float smoothedVelocity = 0;
  float glidePhase = 0;             // progress of the portamento, 0 to 1; beyond in its last step
  float glideStartFrequency = 220;  // Hz
  float addedPitchbend = 0;         // Hz
  int recoveries = 0;               // mended since the instrument last looked
  bool isAiling = false;            // mended, and not found healthy since; the instrument's
  const char* recovered = nullptr;  // what of it was no number; with static lifetime

 protected:
  int addressCounter;  // next free address for the derived class

 private:
  void fillNoteSource(int frames) noexcept MORV_NONBLOCKING;
  float bendInHz(float semitones) const noexcept MORV_NONBLOCKING;

  const float inverseSampleRate;
  const float fastSmoothing;
  const float mediumSmoothing;
  const float slowSmoothing;
  bool noteStarted = false;
  std::vector<std::unique_ptr<ZRDSPParameter>> routingDepths_;
};

}  // namespace morv
