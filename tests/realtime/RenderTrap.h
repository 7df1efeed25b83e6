#pragma once

namespace morv {

// While one lives on a thread, that thread's calls that allocate, free, lock or wait are counted, and on
// kernels that tell (SystemCallTrap) the first system call of any kind, so that one without a count has made
// none.
class RenderTrap {
 public:
  RenderTrap() noexcept;
  ~RenderTrap();
  RenderTrap(const RenderTrap&) = delete;
  RenderTrap& operator=(const RenderTrap&) = delete;

  // Calls caught on all threads so far, and the name of the last one.
  static long caught() noexcept;
  static const char* lastCaught() noexcept;
  // Whether this build can catch anything, and whether it catches every system call.
  static bool isArmed() noexcept;
  static bool catchesSystemCalls() noexcept;
};

}  // namespace morv
