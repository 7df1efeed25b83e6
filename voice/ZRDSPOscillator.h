#pragma once

#include "platform/NonBlocking.h"
#include "render/ZRDSPEntity.h"
#include "render/ZRDSPParameter.h"

namespace morv {

class ZRDSPModMatrix;

// Base of all oscillators: the parameters that they share and their two outputs in the voice's modulation
// matrix. The base itself makes no sound.
//
// Construction and `setModMatrix`: the constructing thread, before rendering. `runGenerator`: render thread.
// Parameter values: any thread.
class ZRDSPOscillator : public ZRDSPEntity {
 public:
  // Draws one address per parameter from the counter, which moves on by nine.
  ZRDSPOscillator(float sampleRateHz, int* addressCounter);

  // Stores the matrix, which the oscillator does not own, and registers two sources in it under the entity's
  // name; the first is the entity's source of modulation. Allocates.
  virtual void setModMatrix(ZRDSPModMatrix* matrix, bool isGlobal);  // not offered to the user
  virtual void setModMatrix(ZRDSPModMatrix* matrix, bool isGlobal, bool isPublic);

  // Writes `frames` samples (at most kMaxBlockFrames) to each buffer; which of the two a wave leaves alone is
  // the subclass's matter. `tempo` is in beats per minute. The base leaves both as they are.
  virtual void runGenerator(float* left, float* right, int frames, float tempo) noexcept MORV_NONBLOCKING;
  // The same into the oscillator's two source buffers. Without a matrix there are none, and nothing happens.
  virtual void runGenerator(int frames, float tempo) noexcept MORV_NONBLOCKING;

  ZRDSPModMatrix* modMatrix = nullptr;
  ZRDSPParameter oscFreq;             // Hz
  ZRDSPParameter oscOctave;           // octaves
  ZRDSPParameter oscSemitones;        // semitones
  ZRDSPParameter oscCents;            // cents
  ZRDSPParameter oscWave;             // which wave; its meaning is the subclass's
  ZRDSPParameter oscPulsewidth;       // part of the cycle
  ZRDSPParameter level;               // linear gain
  ZRDSPParameter sync;                // 0 to 1
  ZRDSPParameter oscPhaseModulation;  // 0 to 1
  int outputSourceLeft = 0;           // source indices of the two outputs
  int outputSourceRight = 0;

 protected:
  // The parameter's modulation for this block; null without a matrix.
  const float* destinationOf(const ZRDSPParameter& parameter) const noexcept MORV_NONBLOCKING;
  // Whether it holds still over the block; so does an absent one. `frames` above 0.
  bool holdsStill(const ZRDSPParameter& parameter, int frames) const noexcept MORV_NONBLOCKING;
  // Its first sample; 0 without a matrix.
  float firstDestinationSampleOf(const ZRDSPParameter& parameter) const noexcept MORV_NONBLOCKING;
};

}  // namespace morv
