#pragma once

namespace morv {

// While one lives on a thread, every call of that thread that allocates, frees, locks, waits or does I/O is
// counted.
class RenderTrap {
 public:
  RenderTrap() noexcept;
  ~RenderTrap();
  RenderTrap(const RenderTrap&) = delete;
  RenderTrap& operator=(const RenderTrap&) = delete;

  // Calls caught on all threads so far, and the name of the last one.
  static long caught() noexcept;
  static const char* lastCaught() noexcept;
  // Whether this build can catch anything.
  static bool isArmed() noexcept;
};

}  // namespace morv
