#pragma once

#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv::lv2 {

// Goes over between the sound with an effect and the sound without it in a short straight line, so that
// neither way clicks. Once it is over, what comes out is the one or the other, bit for bit.
//
// Construction: any thread. The rest: render thread.
class BypassFade {
 public:
  static constexpr double kSeconds = 0.008;

  explicit BypassFade(double sampleRateHz);

  // Whether the effect is to be heard from now on. The first call behind `restart` takes hold at once.
  void setEnabled(bool isEnabled) noexcept MORV_NONBLOCKING;
  void restart() noexcept MORV_NONBLOCKING { hasBegun_ = false; }
  // Whether anything of the effect is heard.
  bool isHeard() const noexcept MORV_NONBLOCKING { return isEnabled_ || place_ > 0; }
  // Replaces the effect's output by the mix of it and the plain sound.
  void mix(const float* dryLeft, const float* dryRight, float* left, float* right,
           std::uint32_t frames) noexcept MORV_NONBLOCKING;

 private:
  const std::int32_t length_;  // frames
  std::int32_t place_;         // 0 without, `length_` with the effect
  bool isEnabled_ = true;
  bool hasBegun_ = false;
};

}  // namespace morv::lv2
