#include "hosts/player/DevicesCommand.h"

#include <array>

#include "hosts/cli/CommandLine.h"
#include "hosts/cli/Terminal.h"
#include "hosts/player/DeviceList.h"
#include "hosts/player/Drivers.h"

namespace morv::player {
namespace {

using cli::OptionSpec;

constexpr std::array kOptions = {OptionSpec{"json", false}, OptionSpec{"help", false}};

constexpr const char* kHelp =
    "Usage: morv devices [--json]\n"
    "Lists what 'morv play' can play on and be played by: the JACK server with its physical outputs and "
    "MIDI\n"
    "sources, and ALSA devices with number, name, outputs and sample rates, usual choices for --latency, "
    "and\n"
    "ports of the ALSA sequencer.\n"
    "\n"
    "  --json   as a JSON object\n"
    "  --help   print this text\n";

}  // namespace

cli::ExitCode devicesCommand(std::span<const std::string> words) {
  const auto line = cli::CommandLine::parse(words, kOptions);
  if (!line) return cli::failUsage("devices", line.reason());
  if (line->has("help")) return cli::print(kHelp);
  if (!line->operands().empty()) {
    return cli::failUsage("devices", "unexpected argument '" + line->operands().front() + "'");
  }
  const DeviceList list{findJackServer(), findAlsaDevices(), findAlsaMidiSources()};
  return cli::print(line->has("json") ? devicesAsJson(list) : devicesAsText(list));
}

}  // namespace morv::player
