#pragma once

#include "platform/NonBlocking.h"
#include "render/ZRDSPEntity.h"
#include "render/ZRDSPParameter.h"
#include "voice/EnvelopeStages.h"

namespace morv {

class ZRDSPModMatrix;

// The voice's envelope: straight stages, driven by a gate. The sustain level is taken at the gate's opening,
// so a change of `sustain` reaches the next note. A looped envelope, and one of attack and decay only,
// stays in its stage when the gate closes; only the stage's time starts again.
//
// Construction and `setModMatrix`: the constructing thread. Everything else: render thread.
class ZRBasicEnvelope : public ZRDSPEntity {
 public:
  // Draws three addresses. An entity index above 0 is added to the parameters' names.
  ZRBasicEnvelope(float sampleRateHz, int framesPerBlock, int* addressCounter);
  ZRBasicEnvelope(float sampleRateHz, int framesPerBlock, int* addressCounter, int entityIndex);

  // Fills the envelope's source buffer with `frames` samples (at most kMaxBlockFrames); without a matrix
  // there is none, and nothing happens.
  virtual void runGenerator(int frames, float tempo) noexcept MORV_NONBLOCKING;

  // Stores the matrix, which the envelope does not own, and registers one source that the user is offered.
  void setModMatrix(ZRDSPModMatrix* matrix);
  // Opens (not 0) or closes the gate; the value that it has changes nothing. `velocity` is 0 to 1 and counts
  // when the gate opens.
  void setGate(int newGate, float velocity) noexcept MORV_NONBLOCKING;
  // Starts the attack from 0 without the gate.
  void trigger() noexcept MORV_NONBLOCKING;
  // Does nothing.
  void reset() noexcept MORV_NONBLOCKING;
  // 0 idle, 1 attack, 2 decay, 3 sustain, 4 release.
  int state() const noexcept MORV_NONBLOCKING { return state_; }
  // Writes the envelope over the buffer. The delay at the start of a gate is written as 0.
  void runAndApplyEnvelope(float* buffer, int frames, float tempo) noexcept MORV_NONBLOCKING;

  // Whether all that lasts from block to block is finite, and to put back what is not. State, gate and time
  // go on; `velocity` is that of the note, 0 to 1.
  bool holdsNumbers() const noexcept MORV_NONBLOCKING;
  void mendState(float velocity) noexcept MORV_NONBLOCKING;

  int envelopeMode = 0;     // 0: attack, decay, sustain, release; other: attack and decay only
  int envelopeCurve = 0;    // attack and decay only: 1 fourth power, 2 square root
  float attack = 0.01F;     // s
  float decay = 0.5F;       // s
  float sustain = 1.0F;     // level
  float release = 0.1F;     // s
  float velocityScale = 1;  // multiplies the output
  float delay = 0;          // start delay in units of `delayUnit` seconds
  bool loop = false;
  bool sync = false;           // a loop waits for the beat
  ZRDSPParameter envVelocity;  // how much the velocity scales the output
  ZRDSPParameter envGate;
  ZRDSPParameter envMax;
  ZRDSPModMatrix* modMatrix = nullptr;
  // Called when the attack begins, when the envelope ends and when the decay begins; they may gate the
  // envelope.
  int (*onTrigger)(void*) = nullptr;
  int (*onEnd)(void*) = nullptr;
  int (*onDecay)(void*) = nullptr;
  void* callbackOwner = nullptr;
  float level = 0;        // the last output over `velocityScale`; 0 while that is 0
  float stageTarget = 0;  // sustain level; in the release the level at which it began
  float attackStart = 0;  // level at which the attack begins
  int gate = 0;
  int time = 44100;  // samples in the stage sequence
  int lastState = 0;
  int delayUnit = 5;
  int delaySamples = 0;
  int delayCount = 0;

 private:
  EnvelopeStageSettings stageSettings(float tempo) const noexcept MORV_NONBLOCKING;
  int runStage(float* out, int frames, float tempo) noexcept MORV_NONBLOCKING;
  void shapeAttackDecay(float* out, int frames) const noexcept MORV_NONBLOCKING;
  void storeLevel(float output) noexcept MORV_NONBLOCKING;
  float velocityGain(float velocity) const noexcept MORV_NONBLOCKING;

  int state_ = 0;
};

}  // namespace morv
