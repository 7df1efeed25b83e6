#pragma once

#include <jack/jack.h>
#include <jack/metadata.h>

#include <atomic>
#include <cstdint>
#include <set>
#include <string>

#include "hosts/player/AudioDriver.h"
#include "hosts/player/PlayerEngine.h"
#include "platform/NonBlocking.h"

namespace morv::player {

// A client of the JACK server of this session, which it does not start: two audio outputs, MIDI in and out.
// The tempo comes from the server's transport, if somebody keeps it. Changes of buffer size and rate, and
// freewheeling, are followed. When the server goes, the notes end and the client comes back with it.
class JackClient final : public AudioDriver {
 public:
  // The engine outlives the client.
  JackClient(PlayerEngine& engine, DriverOptions options);
  ~JackClient() override;

  Outcome open() override;
  void close() override;
  void turn(double seconds) override;
  bool isRunning() const override { return client_ != nullptr && !isLost_; }

 private:
  Outcome registerPorts();
  void describePorts();
  void describe(jack_port_t* port, const char* name, const char* signal, int order);
  void setProperty(jack_uuid_t subject, const char* key, const char* value, const char* type);
  void connectOutputs();
  void connectMidiSources();
  void leaveServer();
  void tellNews();

  int process(jack_nframes_t frames) noexcept MORV_NONBLOCKING;
  void takeTempo() noexcept MORV_NONBLOCKING;

  PlayerEngine& engine_;
  const DriverOptions options_;
  jack_client_t* client_ = nullptr;
  jack_port_t* outLeft_ = nullptr;
  jack_port_t* outRight_ = nullptr;
  jack_port_t* midiIn_ = nullptr;
  jack_port_t* midiOut_ = nullptr;
  std::set<jack_uuid_t> described_;         // subjects with metadata
  std::set<std::string> knownMidiSources_;  // connected once; what the user does with them is his
  double nextTry_ = 0;                      // on the clock of `turn`
  bool isWaiting_ = false;                  // for a server that went away
  std::uint32_t toldXruns_ = 0;
  std::uint32_t toldFrames_ = 0;

  // Set by the server's threads.
  std::atomic<bool> isLost_{false};
  std::atomic<bool> hasNewPorts_{false};
  std::atomic<std::uint32_t> xruns_{0};
  std::atomic<std::uint32_t> bufferFrames_{0};
  std::atomic<std::uint32_t> sampleRateHz_{0};
};

}  // namespace morv::player
