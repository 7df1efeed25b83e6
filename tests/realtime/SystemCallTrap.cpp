#include "tests/realtime/SystemCallTrap.h"

#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <ucontext.h>

#if defined(__x86_64__) && defined(PR_SET_SYSCALL_USER_DISPATCH)

namespace morv {
namespace {

constexpr char kAllow = SYSCALL_DISPATCH_FILTER_ALLOW;
constexpr char kBlock = SYSCALL_DISPATCH_FILTER_BLOCK;

// The kernel reads it ahead of each of the thread's calls.
thread_local volatile char selector = kAllow;
thread_local bool isRegistered = false;
SystemCallTrap::Listener toldListener = nullptr;

// Goes back to the instruction of the call, which is then made where it stands: what it does to the mask of
// signals, to the stack or to the number of processes would not outlive a handler. Even the return from here
// is a system call.
void hear(int /*signal*/, siginfo_t* /*info*/, void* context) {
  constexpr greg_t kInstructionBytes = 2;
  selector = kAllow;
  greg_t* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  toldListener(registers[REG_RAX]);
  registers[REG_RIP] -= kInstructionBytes;
}

bool registerThread() noexcept {
  if (!isRegistered)
    isRegistered = prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, 0, 0, &selector) == 0;
  return isRegistered;
}

// A forked process begins without its parent's registration.
void forgetThread() {
  isRegistered = false;
  selector = kAllow;
}

bool takeHandler() noexcept {
  struct sigaction action = {};
  action.sa_sigaction = hear;
  action.sa_flags = SA_SIGINFO;
  return sigaction(SIGSYS, &action, nullptr) == 0 && pthread_atfork(nullptr, nullptr, forgetThread) == 0 &&
         registerThread();
}

}  // namespace

bool SystemCallTrap::isOffered(Listener listener) noexcept {
  toldListener = listener;
  static const bool isTaken = takeHandler();
  return isTaken;
}

void SystemCallTrap::arm() noexcept {
  if (registerThread()) selector = kBlock;
}

void SystemCallTrap::disarm() noexcept { selector = kAllow; }

}  // namespace morv

#else

namespace morv {

bool SystemCallTrap::isOffered(Listener /*listener*/) noexcept { return false; }
void SystemCallTrap::arm() noexcept {}
void SystemCallTrap::disarm() noexcept {}

}  // namespace morv

#endif
