#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "hosts/player/AudioDriver.h"
#include "hosts/player/CycleWatch.h"
#include "hosts/player/MidiArrivals.h"
#include "hosts/player/PlayerEngine.h"
#include "platform/NonBlocking.h"

class RtAudio;
class RtMidiIn;
class RtMidiOut;

namespace morv::player {

// Plays on an ALSA device directly, with MIDI over a client of the sequencer, whose ports "midi_in" and
// "midi_out" others connect. A machine without a sequencer gets sound all the same. A device that went
// away is tried once a second until it is back.
class AlsaDriver final : public AudioDriver {
 public:
  // The engine outlives the driver.
  AlsaDriver(PlayerEngine& engine, DriverOptions options);
  ~AlsaDriver() override;

  Outcome open() override;
  void close() override;
  void turn(double seconds) override;
  bool isRunning() const override { return audio_ != nullptr; }

 private:
  // What the sound libraries write to the error stream meanwhile is dropped, and so would be messages of
  // ours: those that do their work while it is silenced leave the telling to their callers.
  Outcome openAudio();
  Outcome startStream(unsigned device, unsigned* frames);
  bool openMidi();
  void closeAudio();
  bool stopStream();
  void sendMidi();
  void watchDevice(double seconds);

  void render(float* left, float* right, std::uint32_t frames) noexcept MORV_NONBLOCKING;
  void takeMidi(const std::vector<unsigned char>& message) noexcept;

  PlayerEngine& engine_;
  const DriverOptions options_;
  std::unique_ptr<RtAudio> audio_;
  std::unique_ptr<RtMidiIn> midiIn_;
  std::unique_ptr<RtMidiOut> midiOut_;
  MidiArrivals arrivals_;
  double sampleRateHz_ = 0;
  bool isWaiting_ = false;  // for a device that went away
  double nextTry_ = 0;      // on the clock of `turn`
  bool isWatched_ = false;  // since a `turn`
  CycleWatch watch_;
  std::uint32_t toldUnderflows_ = 0;
  std::atomic<std::uint32_t> underflows_{0};
  std::atomic<std::uint64_t> frames_{0};  // that the device has asked for
};

}  // namespace morv::player
