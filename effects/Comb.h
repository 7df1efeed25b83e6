#pragma once

#include "platform/NonBlocking.h"
#include "platform/ZeroedFloats.h"

namespace morv {

// Feedback comb filters over one delay line each: plain records that own their memory, and operations on
// them. A record serves either runComb or runLPFBComb; the two turn round at different places. Delays that
// are negative, longer than the line or not a number read some element of the line, never another's memory.
struct comb {
  ZeroedFloats buffer;  // size + 2: the write index passes the size before it turns round
  int size = 0;         // samples
  int writeIndex = 0;
  float lastOutput = 0;   // what runLPFBComb read last
  float filterState = 0;  // its low-pass in the feedback path
};

// How runLPFBComb reads between two samples; any other value reads like kCombWholeSamples.
enum CombInterpolation : int {
  kCombWholeSamples = 0,  // the earlier sample alone
  kCombLinear = 1,
  kCombCosine = 2,  // a cosine's half-turn from one sample to the next
};

// Gives the record a silent line of `size` samples (below 0 counts as 0) and zeroes the rest; a record that
// ran before starts afresh. Allocates: not for the render thread. Throws std::bad_alloc.
void initComb(comb* out, int size);

// One sample; returns what went into the line delaySeconds ago, in whole samples. The line turns round two
// samples late while a read turns round at the size, so reads across the turn are two samples older than
// asked for. The second argument takes no part. Render thread.
float runComb(comb* filter, int unused, float in, float delaySeconds, float feedback,
              float sampleRateHz) noexcept MORV_NONBLOCKING;

// One sample of the comb with a one-pole low-pass in its feedback (damp 1: none, 0: no feedback at all). The
// output is 0.7 of the delayed sample and all of what goes into the line. The line turns round one sample
// late: reads across the turn are one sample older than asked for. Render thread.
float runLPFBComb(comb* filter, int interpolation, float in, float delaySeconds, float feedback, float damp,
                  float sampleRateHz) noexcept MORV_NONBLOCKING;

}  // namespace morv
