#pragma once

#include <array>
#include <vector>

#include "render/BlockLimits.h"
#include "render/ZQ3DSPKernel.h"

namespace morv {

// The engine as a host drives it, with a chord held: what the benchmarks time.
class BenchEngine {
 public:
  explicit BenchEngine(int blockFrames);

  void setParameter(const char* identifier, float value);
  // The default patch with both envelopes and the LFO on the filter, and the LFO on the pitch.
  void modulate();
  // Starts so many notes, a minor third apart, and renders the block that they begin.
  void holdChord(int notes);
  // Ends them again, with the same block.
  void releaseChord(int notes);
  void renderBlock();

  ZQ3DSPKernel kernel;

 private:
  void play(int status, int notes);
  void render(const AURenderEvent* events);

  int blockFrames_;
  AudioTimeStamp time_;
  AudioBufferList list_;
  std::array<float, kMaxBlockFrames> left_{};
  std::array<float, kMaxBlockFrames> right_{};
};

}  // namespace morv
