#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/realtime/RenderTrap.h"

namespace morv {
namespace {

struct Call {
  const char* name;
  std::function<void()> make;
  bool isSystemCall;  // and not one of the C library's that the trap stands in front of
};

const std::vector<Call>& calls() {
  static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  static pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
  static pthread_spinlock_t spin;
  static const int made = pthread_spin_init(&spin, PTHREAD_PROCESS_PRIVATE);
  EXPECT_EQ(made, 0);
  static const std::vector<Call> all = {
      {"malloc and free",
       [] {
         void* volatile memory = std::malloc(16);
         std::free(memory);
       },
       false},
      {"mutex", [] { pthread_mutex_lock(&mutex), pthread_mutex_unlock(&mutex); }, false},
      {"mutex tried", [] { pthread_mutex_trylock(&mutex), pthread_mutex_unlock(&mutex); }, false},
      {"lock to read", [] { pthread_rwlock_rdlock(&lock), pthread_rwlock_unlock(&lock); }, false},
      {"lock to write", [] { pthread_rwlock_wrlock(&lock), pthread_rwlock_unlock(&lock); }, false},
      {"spin lock", [] { pthread_spin_lock(&spin), pthread_spin_unlock(&spin); }, false},
      {"write", [] { EXPECT_EQ(write(-1, "", 1), -1); }, false},
      {"nanosleep",
       [] {
         const timespec none = {};
         nanosleep(&none, nullptr);
       },
       false},
      {"parent's number", [] { EXPECT_EQ(syscall(SYS_getppid), getppid()); }, true},
      {"yield", [] { EXPECT_EQ(sched_yield(), 0); }, true},
      {"file that is not there", [] { EXPECT_EQ(open("/nowhere/at/all", O_RDONLY | O_CLOEXEC), -1); }, true},
      {"pages",
       [] {
         void* pages = mmap(nullptr, 8192, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
         EXPECT_NE(pages, MAP_FAILED);
         EXPECT_EQ(munmap(pages, 8192), 0);
       },
       true},
  };
  return all;
}

TEST(RenderTrap, CatchesWhatAllocatesLocksWaitsOrCallsTheSystem) {
  for (const Call& call : calls()) {
    const bool isSeen = call.isSystemCall ? RenderTrap::catchesSystemCalls() : RenderTrap::isArmed();
    const long before = RenderTrap::caught();
    {
      const RenderTrap trap;
      call.make();
    }
    EXPECT_EQ(RenderTrap::caught() > before, isSeen) << call.name;
  }
}

TEST(RenderTrap, LetsCallsGoOnAndCatchesThemAgainInTheNextOne) {
  const long before = RenderTrap::caught();
  for (int i = 0; i < 3; ++i) {
    const RenderTrap trap;
    const RenderTrap inner;
    const long parent = syscall(SYS_getppid);
    EXPECT_EQ(parent, getppid());
  }
  EXPECT_EQ(RenderTrap::caught() - before, RenderTrap::catchesSystemCalls() ? 3 : 0);
  if (RenderTrap::catchesSystemCalls()) {
    EXPECT_EQ(std::string(RenderTrap::lastCaught()), "system call " + std::to_string(SYS_getppid));
  }
}

// A handler that made the call itself would have its mask and its frames in the call's way.
TEST(RenderTrap, LeavesTheMaskOfSignalsAsTheCallMadeIt) {
  sigset_t before;
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &before), 0);
  sigset_t wanted;
  sigemptyset(&wanted);
  sigaddset(&wanted, SIGUSR2);
  sigset_t seen;
  {
    const RenderTrap trap;
    pthread_sigmask(SIG_BLOCK, &wanted, &seen);
  }
  EXPECT_EQ(sigismember(&seen, SIGSYS), 0);
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &before, &seen), 0);
  EXPECT_EQ(sigismember(&seen, SIGUSR2), 1);
}

TEST(RenderTrap, LetsASignalsHandlerReturn) {
  static volatile sig_atomic_t heard = 0;
  struct sigaction action = {};
  struct sigaction before = {};
  action.sa_handler = [](int /*signal*/) { heard = 1; };
  ASSERT_EQ(sigaction(SIGUSR2, &action, &before), 0);
  std::atomic<int> stage{0};
  const pthread_t thread = pthread_self();
  std::thread sender([&] {
    while (stage.load() != 1) {
    }
    pthread_kill(thread, SIGUSR2);
  });
  {
    const RenderTrap trap;
    stage.store(1);
    while (heard == 0) {
    }
  }
  sender.join();
  EXPECT_EQ(heard, 1);
  EXPECT_EQ(sigaction(SIGUSR2, &before, nullptr), 0);
}

TEST(RenderTrap, LetsAProcessStartAnotherThatSharesItsMemory) {
  siginfo_t ended = {};
  {
    const RenderTrap trap;
    const pid_t child = vfork();
    if (child == 0) _exit(7);
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED), 0);
  }
  EXPECT_EQ(ended.si_status, 7);
}

TEST(RenderTrap, CatchesSystemCallsInAForkedProcessToo) {
  const bool isSeen = RenderTrap::catchesSystemCalls();
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const long before = RenderTrap::caught();
    {
      const RenderTrap trap;
      syscall(SYS_getppid);
    }
    _exit(RenderTrap::caught() > before ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), isSeen ? 1 : 0);
}

TEST(RenderTrap, CatchesNothingBehindItsEnd) {
  { const RenderTrap trap; }
  const long before = RenderTrap::caught();
  for (const Call& call : calls()) call.make();
  EXPECT_EQ(RenderTrap::caught(), before) << RenderTrap::lastCaught();
}

TEST(RenderTrap, ATrapOnOneThreadLeavesTheOthersAlone) {
  std::atomic<int> stage{0};
  std::thread other([&] {
    while (stage.load() != 1) {
    }
    for (const Call& call : calls()) call.make();
    stage.store(2);
  });
  const long before = RenderTrap::caught();
  {
    const RenderTrap trap;
    stage.store(1);
    while (stage.load() != 2) {
    }
  }
  EXPECT_EQ(RenderTrap::caught(), before) << RenderTrap::lastCaught();
  other.join();
}

}  // namespace
}  // namespace morv
