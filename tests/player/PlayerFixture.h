#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tests/hosts/TemporaryFolder.h"
#include "tests/player/Polling.h"
#include "tests/player/StartedProgram.h"

namespace morv {

// "morv play" with a home of its own, away from the user's, and with no ALSA device in reach.
class PlayerFixture : public testing::Test {
 protected:
  static constexpr double kPatienceSeconds = 20;  // for a machine that is busy with other tests

  PlayerFixture() { setenv("JACK_DEFAULT_SERVER", serverName_.c_str(), 1); }

  std::unique_ptr<StartedProgram> start(const std::vector<std::string>& words,
                                        StartedProgram::Environment more = {}) const {
    std::vector<std::string> all = {MORV_PROGRAM};
    all.insert(all.end(), words.begin(), words.end());
    StartedProgram::Environment environment = {
        {"HOME", folder_.path("home")},
        {"XDG_CONFIG_HOME", folder_.path("config")},
        {"XDG_DATA_HOME", folder_.path("data")},
        {"XDG_CACHE_HOME", folder_.path("cache")},
        {"XDG_RUNTIME_DIR", folder_.path("run")},
        {"XDG_DOCUMENTS_DIR", folder_.path("documents")},
        {"MORV_RESOURCES", MORV_RESOURCES_FOLDER},
        {"ALSA_CONFIG_PATH", emptyFile_},  // without a configuration the library knows no device
        {"NSM_URL", ""}};
    for (auto& [name, value] : more) environment[name] = value;
    return std::make_unique<StartedProgram>(all, environment, folder_.path("messages"));
  }
  static bool tells(const StartedProgram& player, const std::string& text) {
    return holdsWithin(kPatienceSeconds, [&] { return player.messages().find(text) != std::string::npos; });
  }
  // One that waits for its clients in each cycle loses none on a busy machine, with all that was sent in it;
  // but it also waits for those that were killed.
  std::unique_ptr<StartedProgram> startServer(bool waits = false, const std::string& rate = "48000") const {
    std::vector<std::string> words = {"jackd", "-r", "-t", "10000", "-n", serverName_};
    if (waits) words.emplace_back("-S");
    words.insert(words.end(), {"-d", "dummy", "-r", rate, "-p", "256", "-C", "2", "-P", "2"});
    return std::make_unique<StartedProgram>(words, StartedProgram::Environment{}, folder_.path("server"));
  }

  const TemporaryFolder folder_;
  const std::string emptyFile_ = folder_.write("alsa.conf", std::string());
  const std::string serverName_ = "morv-test-" + std::to_string(getpid());
};

}  // namespace morv
