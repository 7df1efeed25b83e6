#pragma once

#include <algorithm>
#include <limits>

#include "effects/EffectKernels.h"
#include "platform/NonBlocking.h"
#include "voice/TPT.h"

namespace morv {

// Settings are not clamped where they are set, so an effect holds them where a block reads them: far outside
// their ranges, but where what runs from sample to sample stays a finite number and comes back.

// Far outside any fraction, percentage or time.
inline constexpr float kHeldMagnitude = 1000.0F;

// The value inside the bounds; what is no number counts as 0.
inline float heldSetting(float value, float low, float high) noexcept MORV_NONBLOCKING {
  return std::clamp(value == value ? value : 0.0F, low, high);
}

// 120 dB over full scale: above any signal, and what rings on it is still a finite number and dies away.
inline constexpr float kGreatestInput = 1.0e6F;

// An input sample inside that bound; what is no number counts as silence.
inline float heldInput(float sample) noexcept MORV_NONBLOCKING {
  const float number = sample == sample ? sample : 0.0F;
  const float above = number < -kGreatestInput ? -kGreatestInput : number;
  return above > kGreatestInput ? kGreatestInput : above;
}

// The same for a stretch; `out` may be `in`.
inline void heldInputs(const float* in, float* out, int frames) noexcept MORV_NONBLOCKING {
  effectKernels().hold(in, kGreatestInput, out, frames);
}

// A one-pole's prewarped tangent turns round at half the rate, and the filter would run away; a cutoff above
// this part of the rate is held there.
inline constexpr float kHighestCutoff = 0.499F;

inline float heldCutoff(float cutoffHz, float sampleRateHz) noexcept MORV_NONBLOCKING {
  return std::min(cutoffHz, kHighestCutoff * sampleRateHz);
}

// setTPTCutoff with a held cutoff. As there, the coefficient stays while the same cutoff is asked for, also
// at another rate.
inline void setHeldTPTCutoff(tpt* filter, float cutoffHz, float sampleRateHz) noexcept MORV_NONBLOCKING {
  if (cutoffHz == filter->cutoff) return;
  filter->cutoff = std::numeric_limits<float>::quiet_NaN();  // so that the held one counts as new
  setTPTCutoff(filter, heldCutoff(cutoffHz, sampleRateHz), sampleRateHz);
  filter->cutoff = cutoffHz;
}

}  // namespace morv
