#pragma once

#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"
#include "render/ZRDSPEntity.h"

namespace morv {

class ZRDSPModMatrix;

// Envelope from tables: attack and decay in one, the release in another, written when the gate opens, so that
// a block is one multiplication of vectors. What the times ask for beyond five seconds is cut off.
//
// Construction and `setModMatrix`: the constructing thread. Everything else: render thread.
class ZRVAEnvelope : public ZRDSPEntity {
 public:
  // Allocates the tables: twice five seconds of samples.
  ZRVAEnvelope(float sampleRateHz, int framesPerBlock);

  // Opens (not 0) or closes the gate. Opening it while the stages still run makes the attack a ramp from
  // where the envelope stands.
  void setGate(int newGate) noexcept MORV_NONBLOCKING;
  // Takes the times over and writes the tables anew, unless the envelope is in its first two stages or its
  // settings are those of the tables.
  void updateEnvelope() noexcept MORV_NONBLOCKING;
  // Sets both counters behind all stages, so that the envelope is silent, and updates.
  void reset() noexcept MORV_NONBLOCKING;
  // Fills the envelope's source buffer; without a matrix there is none, and nothing happens. `frames` is at
  // most kMaxBlockFrames here and below.
  void runGenerator(int frames, float tempo) noexcept MORV_NONBLOCKING;
  // Multiplies the buffer by the envelope.
  void runAndApplyEnvelope(float* buffer, int frames, float tempo) noexcept MORV_NONBLOCKING;
  // Stores the matrix, which the envelope does not own, and registers one source that the user is not
  // offered.
  void setModMatrix(ZRDSPModMatrix* matrix);

  int curve = 0;         // 0 linear, 1 exponential
  float attack = 0.01F;  // s
  float decay = 0.5F;    // s
  float sustain = 1.0F;  // level
  float release = 0.1F;  // s
  float peak = 1.0F;     // level
  bool loop = false;     // the attack begins again behind the decay
  bool sync = false;     // a loop waits for the quarter note
  ZRDSPModMatrix* modMatrix = nullptr;
  int outputSource = 0;  // source index
  ZeroedFloats attackDecayTable;
  ZeroedFloats releaseTable;
  int attackSamples = 0;
  int decaySamples = 0;
  int releaseSamples = 0;
  int signature = 0;    // of the settings that the tables hold: samples of all stages plus sustain, cut
  float lastValue = 0;  // last sample of the last buffer
  int gate = 0;
  int counter = 0;         // samples since the gate opened
  int releaseCounter = 0;  // samples since it closed

 private:
  void writeAttack() noexcept MORV_NONBLOCKING;
  void writeDecay() noexcept MORV_NONBLOCKING;
  void writeRelease(float from) noexcept MORV_NONBLOCKING;
  void applyOpenGate(float* buffer, int frames, float tempo) noexcept MORV_NONBLOCKING;
  void applyClosedGate(float* buffer, int frames) noexcept MORV_NONBLOCKING;
  int firstStages() const noexcept MORV_NONBLOCKING { return attackSamples + decaySamples; }
  int tableSamples() const noexcept MORV_NONBLOCKING { return static_cast<int>(attackDecayTable.size()); }
  int idleCount() const noexcept MORV_NONBLOCKING;

  // What the release table holds, so that an equal one is not written again.
  float releaseFrom_ = 0;
  int releaseLength_ = -1;
};

}  // namespace morv
