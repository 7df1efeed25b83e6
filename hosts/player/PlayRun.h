#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "hosts/HostSurroundings.h"
#include "hosts/cli/ExitCode.h"
#include "hosts/player/AudioDriver.h"
#include "hosts/player/NsmSession.h"
#include "hosts/player/PlayOptions.h"
#include "hosts/player/PlayerEngine.h"
#include "platform/PropertyListDictionary.h"

namespace morv::player {

// One run of the player, from the first preset to the last note. Main thread.
class PlayRun {
 public:
  // Opens the driver that the run plays on.
  using DriverMaker =
      std::function<Result<std::unique_ptr<AudioDriver>>(PlayerEngine& engine, const DriverOptions& options)>;

  // `resources` is the folder of the presets; what goes wrong is told on the standard error stream.
  PlayRun(PlayOptions options, std::string resources, DriverMaker makeDriver);
  ~PlayRun();
  PlayRun(const PlayRun&) = delete;
  PlayRun& operator=(const PlayRun&) = delete;

  // Readies, plays until its time is over, a signal comes or the session manager refuses, and cleans up.
  cli::ExitCode run();

 private:
  cli::ExitCode prepare();
  void listenToAllChannelsByDefault();
  cli::ExitCode takeMapping();
  cli::ExitCode takePreset();
  cli::ExitCode takeSets();
  cli::ExitCode connectSession(const std::string& url);
  Outcome openSession(const std::string& path, const std::string& clientId);
  Outcome saveSession();
  Outcome openDriver(const std::string& clientName, bool connects);
  void reopenDriver();
  cli::ExitCode play();
  void turn();
  void lookForChanges();
  cli::ExitCode finish(cli::ExitCode code);
  void endNotes();
  double seconds() const;

  const PlayOptions options_;
  const std::string resources_;
  const DriverMaker makeDriver_;
  const double start_;
  HostSurroundings surroundings_;
  std::shared_ptr<ZRMidiMapper> mapper_;
  PlayerEngine engine_;
  std::unique_ptr<AudioDriver> driver_;
  std::optional<NsmSession> session_;
  std::string sessionPath_;              // of the session that is open
  std::string sessionClient_;            // and the player's name in it
  PropertyListDictionary initialState_;  // before any session's
  PropertyListDictionary keptState_;     // as the session has it
  std::atomic<bool> hasMoved_{false};    // some parameter, perhaps to where it was
  bool isDirty_ = false;
  std::uint64_t observerToken_ = 0;
  double nextRefresh_ = 0;
};

}  // namespace morv::player
