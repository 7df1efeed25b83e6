#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv {

// How every host of ours renders: in short blocks of one size, and with a level that stays in bounds.

inline constexpr std::uint32_t kHostBlockFrames = 64;
// 24 dB above full scale. No sound that is meant goes there; but a turn of an envelope's knob in the middle
// of a stage makes a spike of any height, from which ears and loudspeakers are spared.
inline constexpr float kGreatestHostSample = 15.848932F;

// Calls `block` with the first frame and the number of frames of each block of `frames` frames. Only the last
// one may be shorter than `blockFrames`, which is above 0.
template <typename Block>
void cutIntoBlocks(std::uint32_t frames, std::uint32_t blockFrames, Block&& block) noexcept MORV_NONBLOCKING {
  for (std::uint32_t done = 0; done < frames;) {
    const std::uint32_t count = std::min(blockFrames, frames - done);
    block(done, count);
    done += count;
  }
}

// Holds what is far beyond any useful level, and turns what is no number into silence; gives the number of
// samples that were none. Plain loops without calls, so that they become vector code; nearly always the first
// one finds nothing to hold.
inline std::uint32_t holdLevel(float* samples, std::uint32_t count) noexcept MORV_NONBLOCKING {
  constexpr float kLimit = kGreatestHostSample;
  int beyond = 0;
  for (std::uint32_t i = 0; i < count; ++i) beyond |= static_cast<int>(!(std::fabs(samples[i]) <= kLimit));
  if (beyond == 0) return 0;
  std::uint32_t numberless = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    const float sample = samples[i];
    const float below = sample < kLimit ? sample : (sample >= kLimit ? kLimit : 0.0F);
    samples[i] = below > -kLimit ? below : -kLimit;
    numberless += sample == sample ? 0U : 1U;
  }
  return numberless;
}

}  // namespace morv
