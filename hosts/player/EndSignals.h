#pragma once

namespace morv::player {

// Takes SIGINT, SIGTERM and SIGHUP as a wish to end: the first one is remembered, a second one ends the
// process at once with 128 and its number. A SIGHUP that the process was started to ignore stays ignored.
// Main thread.
class EndSignals {
 public:
  // From here on, for the whole process.
  static void take();
  // The signal that came, 0 for none.
  static int taken() noexcept;
};

}  // namespace morv::player
