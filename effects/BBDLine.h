#pragma once

#include <array>
#include <cstdint>

#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "platform/ZeroedFloats.h"
#include "voice/IIR.h"

namespace morv {

// The input and output low-pass of a bucket-brigade line: three poles, unit gain at 0 Hz.
inline constexpr std::array<double, 2 * kIIRCoefficients> BBD_AA_COEFF = {
    // two poles
    0.1802950360421434, 1.0, -0.6693926343017952, 0.390572778470369, 1.0, 2.0, 1.0,
    // one pole
    0.37173571487665386, 1.0, -0.2565285702466924, 0.0, 1.0, 1.0, 0.0};

// The level followers of a compander around the line.
inline constexpr std::array<double, kIIRCoefficients> BBD_COMP_COEFF = {
    1.0, 1.0, -0.997238488321194, 0.0, 1.0, 0.0028, 0.0};

// A bucket-brigade delay: a delay line behind a low-pass, with the soft saturation of the first and last
// bucket, another low-pass between the two, and noise. A plain record that owns its memory, and operations on
// it. Lines that sound together want different seeds.
struct bbd {
  ZeroedFloats delayBuffer;  // size floats
  ZeroedFloats stageBuffer;  // one float a stage; silent
  int size = 0;              // samples
  int stages = 0;
  float maxDelay = 0;  // seconds
  int writeIndex = 0;
  float sampleRate = 0;   // Hz, as given at the start
  float feedbackOut = 0;  // the saturated output times the feedback
  iird inputFilter;
  iird outputFilter;
  iird compressor;        // set up, but takes no part in runBBDLine
  iird expander;          // likewise
  double clockPhase = 0;  // seconds run
  Random random{};        // the noise
};

// Gives the record a silent line of maxDelaySeconds, cut to whole samples, silent stages and fresh filters
// and noise; a record that ran before starts afresh. Times and counts below 0 count as 0. Allocates: not for
// the render thread. Throws std::bad_alloc.
void initBBDLine(bbd* out, int stages, float maxDelaySeconds, float sampleRateHz);

// Silences the line and its filters and sets the indices to their start; the noise goes on from where it is.
// Render thread.
void resetBBDLine(bbd* line) noexcept MORV_NONBLOCKING;

// Starts the noise afresh from a seed. Render thread.
void reseedBBDLine(bbd* line, std::uint64_t seed) noexcept MORV_NONBLOCKING;

// One sample. `forward` scales the delayed signal and `blend` the plain input in the output; `feedback`
// scales the output on its way back into the line. The noise that enters the line is uniform with a peak 70
// dB below 1. A delay outside the line posts "***** NO\n" and reads the line's first element. The write index
// leaves out the last element while a read turns round at the size: reads across the turn are one sample
// younger than asked for, and the element between is silent. Render thread.
float runBBDLine(bbd* line, float in, float delaySeconds, float blend, float feedback, float forward,
                 float sampleRateHz) noexcept MORV_NONBLOCKING;

}  // namespace morv
