#pragma once

namespace morv::player {

// Takes SIGINT and SIGTERM as a wish to end: the first one is remembered, a second one ends the process at
// once with 128 and its number. Main thread.
class EndSignals {
 public:
  // From here on, for the whole process.
  static void take();
  // The signal that came, 0 for none.
  static int taken() noexcept;
};

}  // namespace morv::player
