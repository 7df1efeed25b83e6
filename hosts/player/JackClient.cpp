#include "hosts/player/JackClient.h"

#include <jack/midiport.h>
#include <jack/uuid.h>

#include <memory>
#include <utility>

#include "hosts/player/JackServer.h"

namespace morv::player {
namespace {

constexpr double kSecondsBetweenTries = 1.0;
constexpr const char* kTextType = "text/plain";
constexpr const char* kIntegerType = "http://www.w3.org/2001/XMLSchema#int";
constexpr const char* kPortGroup = "main";
constexpr const char* kIconName = "org.morv.morv";

}  // namespace

JackClient::JackClient(PlayerEngine& engine, DriverOptions options)
    : engine_(engine), options_(std::move(options)) {
  silenceJack();
}

JackClient::~JackClient() { JackClient::close(); }

Outcome JackClient::open() {
  jack_status_t status{};
  client_ = jack_client_open(options_.clientName.c_str(), JackNoStartServer, &status);
  if (client_ == nullptr) return Failure{reasonOfJack(status)};
  isLost_ = false;
  xruns_ = toldXruns_ = 0;
  sampleRateHz_ = jack_get_sample_rate(client_);
  bufferFrames_ = toldFrames_ = jack_get_buffer_size(client_);
  knownMidiSources_.clear();

  jack_set_process_callback(
      client_,
      [](jack_nframes_t frames, void* client) { return static_cast<JackClient*>(client)->process(frames); },
      this);
  jack_set_buffer_size_callback(
      client_,
      [](jack_nframes_t frames, void* client) {
        static_cast<JackClient*>(client)->bufferFrames_ = frames;
        return 0;
      },
      this);
  jack_set_sample_rate_callback(
      client_,
      [](jack_nframes_t rate, void* client) {
        static_cast<JackClient*>(client)->sampleRateHz_ = rate;
        return 0;
      },
      this);
  jack_set_xrun_callback(
      client_,
      [](void* client) {
        ++static_cast<JackClient*>(client)->xruns_;
        return 0;
      },
      this);
  jack_set_port_registration_callback(
      client_,
      [](jack_port_id_t, int isNew, void* client) {
        if (isNew != 0) static_cast<JackClient*>(client)->hasNewPorts_ = true;
      },
      this);
  jack_on_info_shutdown(
      client_,
      [](jack_status_t, const char*, void* client) { static_cast<JackClient*>(client)->isLost_ = true; },
      this);

  Outcome ready = registerPorts();
  if (ready.ok()) ready = engine_.prepare(sampleRateHz_);
  if (ready.ok() && jack_activate(client_) != 0) ready = Failure{"the JACK server does not start the client"};
  if (!ready.ok()) {
    leaveServer();
    return ready;
  }
  describePorts();
  if (options_.connects) {
    connectOutputs();
    connectMidiSources();
  }
  options_.details("JACK client '" + std::string(jack_get_client_name(client_)) + "', " +
                   std::to_string(sampleRateHz_) + " Hz, " + std::to_string(toldFrames_) +
                   " frames in a cycle");
  return Done{};
}

Outcome JackClient::registerPorts() {
  const auto port = [this](const char* name, const char* type, unsigned long flags) {
    return jack_port_register(client_, name, type, flags, 0);
  };
  constexpr unsigned long kOutput = JackPortIsOutput | JackPortIsTerminal;
  outLeft_ = port("out_left", JACK_DEFAULT_AUDIO_TYPE, kOutput);
  outRight_ = port("out_right", JACK_DEFAULT_AUDIO_TYPE, kOutput);
  midiIn_ = port("midi_in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput | JackPortIsTerminal);
  midiOut_ = port("midi_out", JACK_DEFAULT_MIDI_TYPE, kOutput);
  for (const jack_port_t* each : {outLeft_, outRight_, midiIn_, midiOut_}) {
    if (each == nullptr) return Failure{"the JACK server has no port left"};
  }
  return Done{};
}

// Other programs show these in the place of the bare names. Not every server keeps them, which is no harm.
void JackClient::describePorts() {
  describe(outLeft_, "Left", "AUDIO", 0);
  describe(outRight_, "Right", "AUDIO", 1);
  describe(midiIn_, "MIDI In", nullptr, 2);
  describe(midiOut_, "MIDI Out", nullptr, 3);
  for (const jack_port_t* each : {outLeft_, outRight_}) {
    setProperty(jack_port_uuid(each), JACK_METADATA_PORT_GROUP, kPortGroup, kTextType);
  }
  const std::unique_ptr<char, void (*)(void*)> text(
      jack_get_uuid_for_client_name(client_, jack_get_client_name(client_)), jack_free);
  jack_uuid_t uuid = 0;
  if (text != nullptr && jack_uuid_parse(text.get(), &uuid) == 0) {
    setProperty(uuid, JACK_METADATA_ICON_NAME, kIconName, kTextType);
  }
}

void JackClient::describe(jack_port_t* port, const char* name, const char* signal, int order) {
  const jack_uuid_t uuid = jack_port_uuid(port);
  setProperty(uuid, JACK_METADATA_PRETTY_NAME, name, kTextType);
  setProperty(uuid, JACK_METADATA_ORDER, std::to_string(order).c_str(), kIntegerType);
  if (signal != nullptr) setProperty(uuid, JACK_METADATA_SIGNAL_TYPE, signal, kTextType);
}

void JackClient::setProperty(jack_uuid_t subject, const char* key, const char* value, const char* type) {
  if (jack_set_property(client_, subject, key, value, type) == 0) described_.insert(subject);
}

// The first pair; a single speaker gets both channels.
void JackClient::connectOutputs() {
  const auto playback = jackPorts(client_, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsInput);
  if (playback.empty()) {
    options_.log("no physical output to connect to");
    return;
  }
  jack_connect(client_, jack_port_name(outLeft_), playback.front().c_str());
  jack_connect(client_, jack_port_name(outRight_), playback.at(playback.size() > 1 ? 1 : 0).c_str());
}

void JackClient::connectMidiSources() {
  hasNewPorts_ = false;
  for (const auto& each : jackPorts(client_, JACK_DEFAULT_MIDI_TYPE, JackPortIsPhysical | JackPortIsOutput)) {
    if (!knownMidiSources_.insert(each).second) continue;
    if (jack_connect(client_, each.c_str(), jack_port_name(midiIn_)) == 0) {
      options_.details("plays what comes from '" + each + "'");
    }
  }
}

void JackClient::turn(double seconds) {
  if (isLost_ && client_ != nullptr) {
    leaveServer();
    engine_.allNotesOff();
    options_.log("the JACK server is gone; waiting for it");
    isWaiting_ = true;
    nextTry_ = seconds + kSecondsBetweenTries;
  }
  if (isWaiting_ && seconds >= nextTry_) {
    nextTry_ = seconds + kSecondsBetweenTries;
    if (open().ok()) {
      isWaiting_ = false;
      options_.log("the JACK server is back");
    }
  }
  if (client_ == nullptr) return;
  if (options_.connects && hasNewPorts_) connectMidiSources();
  tellNews();
}

void JackClient::tellNews() {
  if (const std::uint32_t frames = bufferFrames_; frames != toldFrames_) {
    toldFrames_ = frames;
    options_.details(std::to_string(frames) + " frames in a cycle");
  }
  if (const std::uint32_t xruns = xruns_; xruns != toldXruns_) {
    options_.details(std::to_string(xruns - toldXruns_) + " cycles came too late");
    toldXruns_ = xruns;
  }
}

void JackClient::close() {
  isWaiting_ = false;
  leaveServer();
}

void JackClient::leaveServer() {
  if (client_ == nullptr) return;
  if (!isLost_) {
    jack_deactivate(client_);
    for (const jack_uuid_t subject : described_) jack_remove_properties(client_, subject);
  }
  described_.clear();
  jack_client_close(client_);
  client_ = nullptr;
}

int JackClient::process(jack_nframes_t frames) noexcept {
  auto* left = static_cast<float*>(jack_port_get_buffer(outLeft_, frames));
  auto* right = static_cast<float*>(jack_port_get_buffer(outRight_, frames));
  void* midiIn = jack_port_get_buffer(midiIn_, frames);
  void* midiOut = jack_port_get_buffer(midiOut_, frames);
  if (engine_.begin(sampleRateHz_, frames, left, right)) {
    takeTempo();
    const jack_nframes_t count = jack_midi_get_event_count(midiIn);
    for (jack_nframes_t i = 0; i < count; ++i) {
      jack_midi_event_t event{};
      if (jack_midi_event_get(&event, midiIn, i) == 0)
        engine_.addMidi(event.time, {event.buffer, event.size});
    }
    engine_.end();
  }
  jack_midi_clear_buffer(midiOut);
  MidiMessage message;
  while (engine_.takeMidiOut(&message)) {
    if (jack_midi_event_write(midiOut, 0, message.bytes.data(), message.length) != 0) break;
  }
  return 0;
}

void JackClient::takeTempo() noexcept {
  jack_position_t position{};
  jack_transport_query(client_, &position);
  if ((position.valid & JackPositionBBT) != 0) engine_.addTempo(0, position.beats_per_minute);
}

}  // namespace morv::player
