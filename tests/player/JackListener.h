#pragma once

#include <jack/jack.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "hosts/player/MidiMessage.h"
#include "platform/LockFreeRing.h"

namespace morv {

// A client of the test's own on the server that JACK_DEFAULT_SERVER names: sends MIDI, listens to two
// channels, and can keep the transport's tempo.
class JackListener {
 public:
  // Tries for some seconds; `isOpen` tells whether a server took it.
  JackListener();
  ~JackListener();
  JackListener(const JackListener&) = delete;
  JackListener& operator=(const JackListener&) = delete;

  bool isOpen() const { return client_ != nullptr; }
  jack_client_t* client() const { return client_; }

  // Connects to the player's ports as soon as they are there. False if they do not come.
  bool connectTo(const std::string& player);
  bool disconnectFrom(const std::string& player);
  // False if nothing is connected to the port of this full name within some seconds.
  bool seesConnections(const std::string& port, std::size_t count);

  void send(std::uint8_t status, std::uint8_t first, std::uint8_t second) {
    waiting_.push({{status, first, second}, 3});
  }
  // The next message that came in, within some seconds; empty for none.
  std::vector<std::uint8_t> receive();
  // Has `send` send again and again until something comes in, and then waits until nothing more does: a
  // connection is there a cycle or two behind its making.
  bool hears(const std::function<void()>& send);
  // Keeps the transport's time from now on, at so many beats per minute.
  bool keepTempo(double beatsPerMinute);
  // Whether something can be heard on both sides, from now on, within some seconds; and whether it gets
  // silent.
  bool hearsSound();
  bool hearsSilence();

 private:
  int process(jack_nframes_t frames) noexcept;

  jack_client_t* client_ = nullptr;
  std::array<jack_port_t*, 2> in_{};
  jack_port_t* midiIn_ = nullptr;
  jack_port_t* midiOut_ = nullptr;
  std::atomic<double> tempo_{0};
  LockFreeRing<player::MidiMessage, 256> received_;
  LockFreeRing<player::MidiMessage, 256> waiting_;
  std::array<std::atomic<float>, 2> peaks_{};  // since they were taken last
  std::atomic<std::uint64_t> cycles_{0};
};

}  // namespace morv
