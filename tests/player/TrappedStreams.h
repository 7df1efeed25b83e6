#pragma once

namespace morv {

// While one lives, the callbacks that this program gives to RtAudio run inside a RenderTrap from then on, up
// to the end of their streams. One at a time.
class TrappedStreams {
 public:
  TrappedStreams();
  ~TrappedStreams();
  TrappedStreams(const TrappedStreams&) = delete;
  TrappedStreams& operator=(const TrappedStreams&) = delete;

  // Cycles that ran inside the trap so far.
  static long cycles();
};

}  // namespace morv
