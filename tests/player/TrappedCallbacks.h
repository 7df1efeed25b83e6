#pragma once

namespace morv {

// While one lives, the process callbacks that this program gives to JACK run inside a RenderTrap from then
// on, up to the end of their clients. One at a time.
class TrappedCallbacks {
 public:
  TrappedCallbacks();
  ~TrappedCallbacks();
  TrappedCallbacks(const TrappedCallbacks&) = delete;
  TrappedCallbacks& operator=(const TrappedCallbacks&) = delete;

  // Cycles that ran inside the trap so far.
  static long cycles();
};

}  // namespace morv
