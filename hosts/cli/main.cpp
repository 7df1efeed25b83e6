#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>
#include <vector>

#include "hosts/cli/EffectCommand.h"
#include "hosts/cli/ExitCode.h"
#include "hosts/cli/NearestNames.h"
#include "hosts/cli/ParametersCommand.h"
#include "hosts/cli/PresetsCommand.h"
#include "hosts/cli/RenderCommand.h"
#include "hosts/cli/Terminal.h"
#include "hosts/player/DevicesCommand.h"
#include "hosts/player/PlayCommand.h"

namespace morv::cli {
namespace {

constexpr const char* kHelp =
    "Usage: morv COMMAND [OPTION]...\n"
    "MORV, a polyphonic software synthesiser.\n"
    "\n"
    "  play         play live, over JACK or ALSA\n"
    "  devices      list what 'play' can play on\n"
    "  render       play a MIDI file and write its sound to a WAV file\n"
    "  parameters   list the instrument's parameters\n"
    "  presets      list, show, render, take in and write presets\n"
    "  effect       list the effects, and send sound files through them\n"
    "\n"
    "  --help       print this text; 'morv COMMAND --help' tells about a command\n"
    "  --version    print the version\n"
    "\n"
    "Exit codes: 0 done, 1 failure, 2 wrong usage, 3 bad input file, 4 output cannot be written, 5 device,\n"
    "130 and 143 'play' was ended by SIGINT or SIGTERM.\n";

ExitCode run(std::span<const std::string> words) {
  // A session manager starts its clients by their name alone.
  const char* session = std::getenv("NSM_URL");
  if (words.empty() && session != nullptr && *session != '\0') return player::playCommand(words);
  if (words.empty()) return failUsage("", "which command?");
  const std::string& command = words.front();
  if (command == "--help") return print(kHelp);
  if (command == "--version") return print("morv " MORV_VERSION "\n");
  if (command == "play") return player::playCommand(words.subspan(1));
  if (command == "devices") return player::devicesCommand(words.subspan(1));
  if (command == "render") return renderCommand(words.subspan(1));
  if (command == "parameters") return parametersCommand(words.subspan(1));
  if (command == "presets") return presetsCommand(words.subspan(1));
  if (command == "effect") return effectCommand(words.subspan(1));
  if (command.starts_with("-")) return failUsage("", "unknown option '" + command + "'");
  const auto nearest =
      nearestNames(command, {"play", "devices", "render", "parameters", "presets", "effect"}, 1);
  return failUsage("", "unknown command '" + command + "'; the nearest is " + nearest.front());
}

}  // namespace
}  // namespace morv::cli

int main(int argc, char** argv) {
  using morv::cli::ExitCode;
  morv::cli::holdStandardStreams();
  ExitCode code = ExitCode::failure;
  try {
    const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    code = morv::cli::run(words);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "morv: %s\n", error.what());
  }
  return static_cast<int>(code);
}
