#pragma once

namespace morv {

// Tells each system call of a thread to a listener, by the kernel's own dispatch of them to user space
// (Linux 5.11 and later, x86-64; see the kernel's admin-guide/syscall-user-dispatch). Elsewhere it tells
// nothing.
//
// One per process: `listener` hears the number of the call, in a signal handler of the calling thread. The
// call is then made as asked for; until the trap is armed again, the thread's further calls are not heard.
class SystemCallTrap {
 public:
  using Listener = void (*)(long number);

  // Whether this kernel hands system calls over; takes the SIGSYS handler when first called.
  static bool isOffered(Listener listener) noexcept;
  // For the calling thread alone. Needs isOffered before.
  static void arm() noexcept;
  static void disarm() noexcept;
};

}  // namespace morv
