#include "hosts/player/JackServer.h"

#include <memory>

namespace morv::player {

void silenceJack() {
  const auto ignore = [](const char*) {};
  jack_set_error_function(ignore);
  jack_set_info_function(ignore);
}

std::vector<std::string> jackPorts(jack_client_t* client, const char* type, unsigned long flags) {
  std::vector<std::string> names;
  const char** ports = jack_get_ports(client, nullptr, type, flags);
  for (const char** each = ports; each != nullptr && *each != nullptr; ++each) names.emplace_back(*each);
  if (ports != nullptr) jack_free(static_cast<void*>(ports));
  return names;
}

std::string reasonOfJack(jack_status_t status) {
  const bool isMissing = (static_cast<unsigned>(status) & static_cast<unsigned>(JackServerFailed)) != 0;
  return isMissing ? "no JACK server answers" : "the JACK server does not take the client";
}

Result<JackServerInfo> lookAtJackServer() {
  silenceJack();
  jack_status_t status{};
  const std::unique_ptr<jack_client_t, int (*)(jack_client_t*)> client(
      jack_client_open("morv-devices", JackNoStartServer, &status), jack_client_close);
  if (client == nullptr) return Failure{reasonOfJack(status)};
  JackServerInfo info;
  info.sampleRateHz = jack_get_sample_rate(client.get());
  info.cycleFrames = jack_get_buffer_size(client.get());
  info.playbackPorts = jackPorts(client.get(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsInput);
  info.midiSources = jackPorts(client.get(), JACK_DEFAULT_MIDI_TYPE, JackPortIsPhysical | JackPortIsOutput);
  return info;
}

}  // namespace morv::player
