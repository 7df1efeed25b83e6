#include "tests/player/JackListener.h"

#include <jack/midiport.h>

#include <algorithm>
#include <cmath>

#include "tests/player/Polling.h"

namespace morv {
namespace {

constexpr double kPatienceSeconds = 20;  // for a machine that is busy with other tests
constexpr float kAudible = 1.0e-3F;      // -60 dB
constexpr float kInaudible = 1.0e-5F;    // -100 dB
constexpr std::uint64_t kQuietCycles = 20;

}  // namespace

JackListener::JackListener() {
  jack_set_error_function([](const char*) {});
  jack_set_info_function([](const char*) {});
  holdsWithin(kPatienceSeconds, [this] {
    client_ = jack_client_open("listener", JackNoStartServer, nullptr);
    return client_ != nullptr;
  });
  if (client_ == nullptr) return;
  in_ = {jack_port_register(client_, "left", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0),
         jack_port_register(client_, "right", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0)};
  midiIn_ = jack_port_register(client_, "answers", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
  midiOut_ = jack_port_register(client_, "midi", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
  jack_set_process_callback(
      client_,
      [](jack_nframes_t frames, void* self) { return static_cast<JackListener*>(self)->process(frames); },
      this);
  jack_activate(client_);
}

JackListener::~JackListener() {
  if (client_ != nullptr) jack_client_close(client_);
}

bool JackListener::connectTo(const std::string& player) {
  return holdsWithin(kPatienceSeconds, [&] {
    const auto connected = [this](const std::string& from, const std::string& to) {
      const int error = jack_connect(client_, from.c_str(), to.c_str());
      return error == 0 || error == EEXIST;
    };
    return connected(player + ":out_left", "listener:left") &&
           connected(player + ":out_right", "listener:right") &&
           connected("listener:midi", player + ":midi_in") &&
           connected(player + ":midi_out", "listener:answers");
  });
}

bool JackListener::disconnectFrom(const std::string& player) {
  return jack_disconnect(client_, (player + ":out_left").c_str(), "listener:left") == 0 &&
         jack_disconnect(client_, (player + ":out_right").c_str(), "listener:right") == 0 &&
         jack_disconnect(client_, "listener:midi", (player + ":midi_in").c_str()) == 0;
}

bool JackListener::seesConnections(const std::string& port, std::size_t count) {
  return holdsWithin(kPatienceSeconds, [&] {
    const jack_port_t* found = jack_port_by_name(client_, port.c_str());
    if (found == nullptr) return false;
    std::size_t connections = 0;
    const char** names = jack_port_get_all_connections(client_, found);
    for (const char** each = names; each != nullptr && *each != nullptr; ++each) ++connections;
    if (names != nullptr) jack_free(static_cast<void*>(names));
    return connections == count;
  });
}

std::vector<std::uint8_t> JackListener::receive() {
  player::MidiMessage message;
  holdsWithin(kPatienceSeconds, [&] { return received_.take(&message); });
  return {message.view().begin(), message.view().end()};
}

bool JackListener::hears(const std::function<void()>& send) {
  constexpr double kCycles = 0.1;
  player::MidiMessage message;
  const auto takes = [&] { return received_.take(&message); };
  const bool isHeard = holdsWithin(kPatienceSeconds, [&] {
    send();
    return holdsWithin(kCycles, takes);
  });
  while (holdsWithin(kCycles, takes)) {
  }
  return isHeard;
}

bool JackListener::keepTempo(double beatsPerMinute) {
  tempo_ = beatsPerMinute;
  const auto tellTime = [](jack_transport_state_t, jack_nframes_t, jack_position_t* position, int,
                           void* self) {
    position->valid = JackPositionBBT;
    position->bar = position->beat = 1;
    position->beats_per_bar = position->beat_type = 4;
    position->beats_per_minute = static_cast<JackListener*>(self)->tempo_;
  };
  return jack_set_timebase_callback(client_, 0, tellTime, this) == 0;
}

bool JackListener::hearsSound() {
  for (auto& peak : peaks_) peak = 0;
  return holdsWithin(kPatienceSeconds, [this] { return std::min(peaks_[0], peaks_[1]) > kAudible; });
}

bool JackListener::hearsSilence() {
  return holdsWithin(kPatienceSeconds, [this] {
    for (auto& peak : peaks_) peak = 0;
    const std::uint64_t begin = cycles_;
    holdsWithin(1, [&] { return cycles_ > begin + kQuietCycles; });
    return cycles_ > begin + kQuietCycles && std::max(peaks_[0], peaks_[1]) < kInaudible;
  });
}

int JackListener::process(jack_nframes_t frames) noexcept {
  for (std::size_t i = 0; i < in_.size(); ++i) {
    const auto* samples = static_cast<const float*>(jack_port_get_buffer(in_[i], frames));
    float peak = peaks_[i];
    for (jack_nframes_t frame = 0; frame < frames; ++frame) peak = std::max(peak, std::fabs(samples[frame]));
    peaks_[i] = peak;
  }
  player::MidiMessage message;
  void* answers = jack_port_get_buffer(midiIn_, frames);
  jack_midi_event_t event{};
  for (jack_nframes_t i = 0; jack_midi_event_get(&event, answers, i) == 0; ++i) {
    message.length = static_cast<std::uint8_t>(std::min(event.size, message.bytes.size()));
    std::copy_n(event.buffer, message.length, message.bytes.begin());
    received_.push(message);
  }
  void* midi = jack_port_get_buffer(midiOut_, frames);
  jack_midi_clear_buffer(midi);
  while (waiting_.take(&message)) jack_midi_event_write(midi, 0, message.bytes.data(), message.length);
  ++cycles_;
  return 0;
}

}  // namespace morv
