// Stands in front of the JACK library's call that takes a client's process callback.

#include "tests/player/TrappedCallbacks.h"

#include <dlfcn.h>
#include <jack/jack.h>

#include <atomic>

#include "tests/realtime/RenderTrap.h"

namespace morv {
namespace {

std::atomic<bool> isTrapping{false};
std::atomic<long> trappedCycles{0};
JackProcessCallback wrapped = nullptr;

int runTrapped(jack_nframes_t frames, void* argument) {
  const RenderTrap trap;
  trappedCycles.fetch_add(1, std::memory_order_relaxed);
  return wrapped(frames, argument);
}

}  // namespace

TrappedCallbacks::TrappedCallbacks() { isTrapping = true; }
TrappedCallbacks::~TrappedCallbacks() { isTrapping = false; }
long TrappedCallbacks::cycles() { return trappedCycles.load(); }

}  // namespace morv

extern "C" int jack_set_process_callback(jack_client_t* client, JackProcessCallback callback,
                                         void* argument) {
  const auto next =
      reinterpret_cast<decltype(&jack_set_process_callback)>(dlsym(RTLD_NEXT, "jack_set_process_callback"));
  if (!morv::isTrapping) return next(client, callback, argument);
  morv::wrapped = callback;
  return next(client, morv::runTrapped, argument);
}
