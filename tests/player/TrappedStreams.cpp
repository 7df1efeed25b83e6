// Stands in front of the library's call that opens a stream.

#include "tests/player/TrappedStreams.h"

#include <RtAudio.h>
#include <dlfcn.h>

#include <atomic>

#include "tests/realtime/RenderTrap.h"

namespace morv {
namespace {

// RtAudio::openStream, a method, as its ABI has it.
constexpr const char* kOpenStream =
    "_ZN7RtAudio10openStreamEPNS_16StreamParametersES1_mjPjPFiPvS3_jdjS3_ES3_PNS_"
    "13StreamOptionsEPFvN12RtAudioError"
    "4TypeERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEE";
using OpenStream = void (*)(RtAudio*, RtAudio::StreamParameters*, RtAudio::StreamParameters*, RtAudioFormat,
                            unsigned, unsigned*, RtAudioCallback, void*, RtAudio::StreamOptions*,
                            RtAudioErrorCallback);

std::atomic<bool> isTrapping{false};
std::atomic<long> trappedCycles{0};
RtAudioCallback wrapped = nullptr;

int runTrapped(void* out, void* in, unsigned frames, double seconds, RtAudioStreamStatus status,
               void* argument) {
  const RenderTrap trap;
  trappedCycles.fetch_add(1, std::memory_order_relaxed);
  return wrapped(out, in, frames, seconds, status, argument);
}

}  // namespace

TrappedStreams::TrappedStreams() { isTrapping = true; }
TrappedStreams::~TrappedStreams() { isTrapping = false; }
long TrappedStreams::cycles() { return trappedCycles.load(); }

}  // namespace morv

void RtAudio::openStream(StreamParameters* output, StreamParameters* input, RtAudioFormat format,
                         unsigned rate, unsigned* frames, RtAudioCallback callback, void* argument,
                         StreamOptions* options, RtAudioErrorCallback errors) {
  const auto next = reinterpret_cast<morv::OpenStream>(dlsym(RTLD_NEXT, morv::kOpenStream));
  if (morv::isTrapping) {
    morv::wrapped = callback;
    callback = morv::runTrapped;
  }
  next(this, output, input, format, rate, frames, callback, argument, options, errors);
}
