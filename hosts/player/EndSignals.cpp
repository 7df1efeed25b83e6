#include "hosts/player/EndSignals.h"

#include <signal.h>
#include <unistd.h>

namespace morv::player {
namespace {

constexpr int kSignalCode = 128;
volatile sig_atomic_t takenSignal = 0;

void remember(int signal) {
  if (takenSignal != 0) _exit(kSignalCode + signal);
  takenSignal = signal;
}

}  // namespace

void EndSignals::take() {
  struct sigaction action {};
  action.sa_handler = remember;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

int EndSignals::taken() noexcept { return takenSignal; }

}  // namespace morv::player
