#include "hosts/player/CycleWatch.h"

namespace morv::player {

bool CycleWatch::isGone(double seconds, std::uint64_t frames) noexcept {
  const double elapsed = seconds - lastLook_;
  if (elapsed < kSecondsBetweenLooks) return false;
  const double pace = static_cast<double>(frames - lastFrames_) / (elapsed * sampleRateHz_);
  begin(seconds, sampleRateHz_, frames);
  return pace <= 0 || pace > kGreatestPace;
}

}  // namespace morv::player
