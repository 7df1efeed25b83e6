#include "hosts/player/EndSignals.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>

namespace morv::player {
namespace {

constexpr int kSignalCode = 128;
// Two signals may be handled at once on two threads.
std::atomic<int> takenSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

void remember(int signal) {
  int none = 0;
  if (!takenSignal.compare_exchange_strong(none, signal)) _exit(kSignalCode + signal);
}

}  // namespace

void EndSignals::take() {
  struct sigaction action {};
  action.sa_handler = remember;
  // A library that waits for its server shall not take the signal for a failure.
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  struct sigaction former {};
  sigaction(SIGHUP, nullptr, &former);
  if (former.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);
}

int EndSignals::taken() noexcept { return takenSignal; }

}  // namespace morv::player
