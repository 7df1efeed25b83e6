#pragma once

#include <cstdint>

namespace morv::player {

// Tells from the pace of its cycles whether a device has gone. A library that does not report it either stops
// asking for sound, or, with nothing left to wait for, asks as fast as it can. A plain value: one thread.
class CycleWatch {
 public:
  static constexpr double kSecondsBetweenLooks = 2;
  // A device that comes back from a pause may be in a hurry for a moment, but not for that long.
  static constexpr double kGreatestPace = 4;

  // From here on, on a clock that never goes back.
  void begin(double seconds, double sampleRateHz, std::uint64_t frames) noexcept {
    lastLook_ = seconds;
    sampleRateHz_ = sampleRateHz;
    lastFrames_ = frames;
  }
  // Whether the device that has asked for so many frames in all was gone between the last looks.
  bool isGone(double seconds, std::uint64_t frames) noexcept;

 private:
  double lastLook_ = 0;
  double sampleRateHz_ = 0;
  std::uint64_t lastFrames_ = 0;
};

}  // namespace morv::player
