#pragma once

#include "effects/AllPass.h"
#include "effects/UniComb.h"
#include "platform/NonBlocking.h"

namespace morv {

// Block forms of the delay lines' steps. As long as a delay is longer than the stretch that is worked on, no
// sample of the stretch depends on another one of it, so each step runs over the whole stretch before the
// next: the same reads and writes as sample by sample, in loops that become vector code. `frames` is 0 to
// kDelayBlock and such that every delay exceeds it by two samples and is shorter than the line by as much;
// with one frame any delay is legal. A line steps by one. Render thread.
inline constexpr int kDelayBlock = 64;

// The longest stretch that a least delay in samples allows.
inline int delayBlockFor(float leastDelaySamples) noexcept MORV_NONBLOCKING {
  if (!(leastDelaySamples > 3.0F)) return 1;
  return leastDelaySamples < static_cast<float>(kDelayBlock + 2) ? static_cast<int>(leastDelaySamples) - 2
                                                                 : kDelayBlock;
}

// out[k] = what a run reads that is `delaySamples` behind the write position at frame k.
void readUniComb(const uniComb& uc, float delaySamples, float* out, int frames) noexcept MORV_NONBLOCKING;
// The same with a delay of its own for each frame.
void readUniComb(const uniComb& uc, const float* delaysSamples, float* out,
                 int frames) noexcept MORV_NONBLOCKING;
// out[k] = uniCombGetSampleWithDelay at frame k, where `writeIndex` is the line's at the first frame; the
// delay is a whole number.
void readBehindWriteIndex(const uniComb& uc, int writeIndex, int delaySamples, float* out,
                          int frames) noexcept MORV_NONBLOCKING;
// x[k] += gain x such a read.
void addBehindWriteIndex(const uniComb& uc, int writeIndex, int delaySamples, float gain, float* x,
                         int frames) noexcept MORV_NONBLOCKING;
// Stores `in` at the line's write positions and steps the line.
void writeUniComb(uniComb* uc, const float* in, int frames) noexcept MORV_NONBLOCKING;
// The same with gain x in.
void writeUniComb(uniComb* uc, float gain, const float* in, int frames) noexcept MORV_NONBLOCKING;

// runAP over a stretch; `out` may be `in`.
void runAPBlock(ap* a, const float* in, float delaySeconds, float g, float sampleRateHz, float* out,
                int frames) noexcept MORV_NONBLOCKING;
// The same with a delay of its own for each frame.
void runAPBlock(ap* a, const float* in, const float* delaysSeconds, float g, float sampleRateHz, float* out,
                int frames) noexcept MORV_NONBLOCKING;
// out[k] += gain x allpassGetSampleWithDelay behind frame k, where `frames` frames have just been run. With
// more than one the delay is at least 2 samples and ends `frames` samples short of the line's length.
void addAPTap(const ap& a, float delaySamples, float gain, float* out, int frames) noexcept MORV_NONBLOCKING;
// The same for up to kMostTaps of them. Those that meet the end of their lines are added ahead of the others.
inline constexpr int kMostTaps = 8;
struct APTap {
  const ap* line = nullptr;
  float delaySamples = 0;
  float gain = 0;
};
void addAPTaps(const APTap* taps, int count, float* out, int frames) noexcept MORV_NONBLOCKING;

// What lies below this, 160 dB under full scale, counts as silence where an effect falls asleep.
inline constexpr float kQuietLevel = 1.0e-8F;

// Whether every sample is a number within the quiet level.
bool isQuiet(const float* samples, int frames) noexcept MORV_NONBLOCKING;
// The same for the `frames` samples that a line took last.
bool tookQuiet(const uniComb& uc, int frames) noexcept MORV_NONBLOCKING;
bool tookQuiet(const ap& a, int frames) noexcept MORV_NONBLOCKING;
// Steps the line without writing to it.
void skipLine(uniComb* uc, int frames) noexcept MORV_NONBLOCKING;
void skipLine(ap* a, int frames) noexcept MORV_NONBLOCKING;

}  // namespace morv
