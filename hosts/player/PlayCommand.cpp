#include "hosts/player/PlayCommand.h"

#include <signal.h>

#include <utility>

#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/Terminal.h"
#include "hosts/player/Drivers.h"
#include "hosts/player/EndSignals.h"
#include "hosts/player/PlayOptions.h"
#include "hosts/player/PlayRun.h"

namespace morv::player {

cli::ExitCode playCommand(std::span<const std::string> words) {
  auto options = PlayOptions::parse(words);
  if (!options) return cli::failUsage("play", options.reason());
  if (options.value().help) return cli::print(PlayOptions::helpText());
  auto resources = cli::resourcesFolder(options.value().resources);
  if (!resources) return cli::failUsage("play", resources.reason());
  signal(SIGPIPE, SIG_IGN);  // a server that goes must not take the player along
  EndSignals::take();
  const AudioChoice audio = options.value().audio;
  PlayRun run(std::move(options).value(), std::move(*resources),
              [audio](PlayerEngine& engine, const DriverOptions& driver) {
                return openDriver(audio, engine, driver);
              });
  return run.run();
}

}  // namespace morv::player
