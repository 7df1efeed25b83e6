#pragma once

#include <array>

#include "platform/NonBlocking.h"

namespace morv {

// A gate pattern of eight steps, one step a bar, closed and open in turn. Each voice keeps one; nothing in
// the voice's own path runs it.
class ZRSequencer {
 public:
  static constexpr int kSteps = 8;

  ZRSequencer(float sampleRateHz, int blockSizeFrames) noexcept;

  // Fills `out` with the present step's level, 0 or 1, then counts a block of `blockSize` samples, whatever
  // `frames` is. A bar that has come to its end moves the step on for the call behind. Render thread.
  void tick(float* out, int frames) noexcept MORV_NONBLOCKING;

  float sampleRate;     // Hz
  int blockSize;        // frames
  float tempo = 120;    // beats per minute; at 0 no bar ends
  int currentStep = 0;  // 0 to 7
  std::array<float, kSteps> steps{};
  float phase = 0;  // samples since the step began
};

}  // namespace morv
