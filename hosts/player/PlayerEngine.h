#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "hosts/HostCycle.h"
#include "hosts/HostSurroundings.h"
#include "hosts/player/MidiMessage.h"
#include "hosts/player/RenderGate.h"
#include "platform/LockFreeRing.h"
#include "platform/MainQueue.h"
#include "platform/NonBlocking.h"
#include "platform/PropertyListDictionary.h"
#include "platform/Result.h"
#include "unit/ZQ3Unit.h"

namespace morv::player {

// The instrument between a driver's audio thread and the main thread of a player. It knows no driver and
// works without one.
//
// The unit is made ready for a sample rate by the main thread: a cycle with another rate than the one it is
// ready for gives silence and has `turn` make it ready for that one, notes off.
//
// Construction, destruction and what stands under "main thread": one thread, with no driver running at
// construction and destruction. The rest as it says.
class PlayerEngine {
 public:
  using Log = HostSurroundings::Log;
  static constexpr std::size_t kMidiOutMessages = 1024;

  // The surroundings outlive the engine. The mapper may be none.
  PlayerEngine(HostSurroundings& surroundings, std::shared_ptr<ZRMidiMapper> mapper, Log log);
  ~PlayerEngine();
  PlayerEngine(const PlayerEngine&) = delete;
  PlayerEngine& operator=(const PlayerEngine&) = delete;

  // Main thread.
  // Makes the unit ready for a rate in hertz, all notes off. A driver that runs meanwhile plays silence.
  Outcome prepare(double sampleRateHz);
  // Runs what is due on the main queue `seconds` after construction, on a clock that never goes back, and
  // follows a change of the rate.
  void turn(double seconds);
  // Turns the queue's clock on until nothing of a preset's change is left, the mute behind it included.
  void settle();
  // Takes a state over as a preset's change does.
  void loadState(const PropertyListDictionary& state);
  // All that sounds goes into its release, held pedals up, at the next cycle's start.
  void allNotesOff() noexcept { wantsNotesOff_.store(true); }
  // Whether a cycle has carried out the last `allNotesOff`.
  bool areNotesOff() const noexcept { return !wantsNotesOff_.load(); }

  ZQ3Unit& unit() noexcept { return unit_; }
  MainQueue& queue() noexcept { return queue_; }

  // The driver's audio thread, cycle by cycle.
  // Begins a cycle into two channels that stay valid until `end`. False: the engine is not ready for this
  // rate, both channels hold silence, and what happens in this cycle is not to be told.
  bool begin(double sampleRateHz, std::uint32_t frames, float* left, float* right) noexcept MORV_NONBLOCKING;
  // In the order of frames, as HostCycle says.
  void addMidi(std::uint32_t frame, std::span<const std::uint8_t> message) noexcept MORV_NONBLOCKING {
    cycle_.addMidi(frame, message);
  }
  void addTempo(std::uint32_t frame, double beatsPerMinute) noexcept MORV_NONBLOCKING {
    cycle_.addTempo(frame, beatsPerMinute);
  }
  // Renders what is left of the cycle.
  void end() noexcept MORV_NONBLOCKING;

  // One thread of the driver's: takes the next message that the unit sends. False when there is none.
  bool takeMidiOut(MidiMessage* message) noexcept MORV_NONBLOCKING { return midiOut_.take(message); }

  // Any thread.
  std::uint64_t cycles() const noexcept { return cycles_.load(std::memory_order_relaxed); }

 private:
  // Told as frames per second; 0 for none.
  void followRate();

  const Log log_;
  MainQueue queue_;
  ZQ3Unit unit_;
  HostCycle cycle_;
  RenderGate gate_;
  LockFreeRing<MidiMessage, kMidiOutMessages> midiOut_;
  double readyRateHz_ = 0;               // written with the gate closed
  std::atomic<double> wantedRateHz_{0};  // of the last cycle that was turned away
  std::atomic<bool> wantsNotesOff_{false};
  std::atomic<std::uint64_t> cycles_{0};
  double refusedRateHz_ = 0;  // told once
  double clockAhead_ = 0;     // of the queue's clock, by what `settle` has turned it on
};

}  // namespace morv::player
