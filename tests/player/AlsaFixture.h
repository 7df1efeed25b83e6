#pragma once

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "tests/player/PlayerFixture.h"
#include "tests/player/Polling.h"

namespace morv {

// A machine whose only ALSA device is lent by a PulseAudio server of the test's own, which plays into nothing
// in real time. It has no sequencer.
class AlsaFixture : public PlayerFixture {
 protected:
  AlsaFixture() {
    setenv("ALSA_CONFIG_PATH", configuration_.c_str(), 1);
    setenv("PULSE_COOKIE", folder_.path("cookie").c_str(), 1);
    setenv("HOME", folder_.path("pulse").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", folder_.path("pulse").c_str(), 1);
  }

  std::unique_ptr<StartedProgram> startDevice() const {
    auto server = std::make_unique<StartedProgram>(
        std::vector<std::string>{"pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no",
                                 "--exit-idle-time=-1", "--disallow-module-loading",
                                 "--load=module-null-sink rate=48000",
                                 "--load=module-native-protocol-unix auth-anonymous=1 socket=" + socket_},
        StartedProgram::Environment{}, folder_.path("server"));
    holdsWithin(kPatienceSeconds, [&] { return access(socket_.c_str(), R_OK) == 0 || !server->isRunning(); });
    return server;
  }

  const std::string socket_ = folder_.path("socket");
  const std::string configuration_ = folder_.write(
      "device.conf", "</usr/share/alsa/alsa.conf>\npcm.!default { type pulse server \"unix:" + socket_ +
                         "\" }\nctl.!default { type pulse server \"unix:" + socket_ + "\" }\n");
  const StartedProgram::Environment device_ = {{"ALSA_CONFIG_PATH", configuration_}};
};

}  // namespace morv
