#pragma once

#include <cstddef>
#include <cstdint>

#include "hosts/player/MidiMessage.h"
#include "platform/LockFreeRing.h"
#include "platform/NonBlocking.h"

namespace morv::player {

// Brings MIDI that comes at any moment, on a thread of its own, into the cycles of an audio thread, with the
// timing among the messages kept: what comes while one cycle runs plays one cycle later, at the frame that
// lies as far behind that cycle's start.
class MidiArrivals {
 public:
  static constexpr std::size_t kMessages = 1024;

  // Any thread: a message that came at `seconds` on the clock of `beginCycle`. Lost if too many wait.
  void push(double seconds, const MidiMessage& message) noexcept MORV_NONBLOCKING {
    ring_.push({seconds, message});
  }

  // The audio thread.
  // A cycle of so many frames begins now.
  void beginCycle(double seconds, std::uint32_t frames, double sampleRateHz) noexcept MORV_NONBLOCKING;
  // The next message of the cycle with its frame; false when there is none. What came behind the cycle's
  // beginning waits for the next one.
  bool take(std::uint32_t* frame, MidiMessage* message) noexcept MORV_NONBLOCKING;

 private:
  struct Arrival {
    double seconds = 0;
    MidiMessage message;
  };
  LockFreeRing<Arrival, kMessages> ring_;
  Arrival waiting_;
  bool hasWaiting_ = false;
  double lastBegin_ = 0;
  double begin_ = 0;
  double sampleRateHz_ = 0;
  std::uint32_t frames_ = 0;
};

}  // namespace morv::player
