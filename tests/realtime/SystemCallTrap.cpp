#include "tests/realtime/SystemCallTrap.h"

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

long systemCall(const greg_t* registers) noexcept {
  long result = registers[REG_RAX];
  const long first = registers[REG_RDI];
  const long second = registers[REG_RSI];
  const long third = registers[REG_RDX];
  register long fourth asm("r10") = registers[REG_R10];
  register long fifth asm("r8") = registers[REG_R8];
  register long sixth asm("r9") = registers[REG_R9];
  asm volatile("syscall"
               : "+a"(result)
               : "D"(first), "S"(second), "d"(third), "r"(fourth), "r"(fifth), "r"(sixth)
               : "rcx", "r11", "memory");
  return result;
}

// Even the return from here is a system call.
void hear(int /*signal*/, siginfo_t* /*info*/, void* context) {
  selector = kAllow;
  greg_t* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  toldListener(registers[REG_RAX]);
  registers[REG_RAX] = systemCall(registers);
}

bool registerThread() noexcept {
  if (!isRegistered)
    isRegistered = prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, 0, 0, &selector) == 0;
  return isRegistered;
}

bool takeHandler() noexcept {
  struct sigaction action = {};
  action.sa_sigaction = hear;
  action.sa_flags = SA_SIGINFO;
  return sigaction(SIGSYS, &action, nullptr) == 0 && registerThread();
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
