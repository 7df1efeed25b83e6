#include "hosts/cli/PresetsCommand.h"

#include "hosts/cli/NearestNames.h"
#include "hosts/cli/PresetsFileCommands.h"
#include "hosts/cli/PresetsListCommands.h"
#include "hosts/cli/PresetsRenderCommand.h"
#include "hosts/cli/Terminal.h"

namespace morv::cli {

const char* presetsHelp() {
  return "Usage: morv presets list [--json]\n"
         "  or:  morv presets show NAME [--json]\n"
         "  or:  morv presets render-all --out DIR [--midi FILE.mid] [OPTION]...\n"
         "  or:  morv presets import [--force] FILE.aupreset...\n"
         "  or:  morv presets export-state [--preset NAME] [--set ID=VALUE]... --out FILE.aupreset\n"
         "Lists presets, shows and renders them, takes them in and writes them.\n"
         "\n"
         "list: name, number, owner, category and file of each, those that the user keeps included, as\n"
         "tab-separated lines under a header; a tab or the end of a line in a name is shown as \\t or \\n.\n"
         "show: the value of each parameter: group, identifier, value.\n"
         "render-all: plays each preset that comes with the program and writes one WAV file for each into a\n"
         "folder, which is made if need be; tells peak (dBFS), loudness (LUFS, ITU-R BS.1770-4) and length.\n"
         "What fails for one preset is told and does not hinder the others.\n"
         "import: checks files and keeps them among the user's presets, each under its file's name; prints\n"
         "where.\n"
         "export-state: writes the whole state of the instrument as a preset file. Its name ends in\n"
         ".aupreset and is text in UTF-8, so that import takes it; a file of that name is replaced.\n"
         "\n"
         "  --json             as JSON; from render-all also the share of each octave from 31.25 Hz on (dB)\n"
         "  --out PATH         render-all: the folder; export-state: the file\n"
         "  --midi FILE        what to play instead of the standard phrase of each preset's category\n"
         "  --rate HZ          sample rate of render-all, 8000 to 192000 (44100)\n"
         "  --tail S           seconds behind the last event in render-all (4)\n"
         "  --user             render-all: also what the user keeps\n"
         "  --force            import: replace a preset of the same name\n"
         "  --preset NAME      start from a preset: its full or short name, or a file\n"
         "  --set ID=VALUE     set a parameter; may be given often\n"
         "  --resources DIR    folder of the presets, instead of MORV_RESOURCES or the library's own\n"
         "  --help             print this text\n"
         "\n"
         "A name may be given in full (\"[FACTORY]_BS_Name\") or, if only one preset has it, as its last "
         "part.\n"
         "If packs have several presets of one full name, it means the last pack's; the files lead to the "
         "others.\n"
         "One with a slash in it or \".aupreset\" at its end means a file, and a preset if there is no such "
         "file.\n";
}

ExitCode presetsCommand(std::span<const std::string> words) {
  if (words.empty()) return failUsage("presets", "which of list, show, render-all, import, export-state?");
  const std::string& command = words.front();
  const auto rest = words.subspan(1);
  if (command == "--help") return print(presetsHelp());
  if (command == "list") return presetsListCommand(rest);
  if (command == "show") return presetsShowCommand(rest);
  if (command == "render-all") return presetsRenderAllCommand(rest);
  if (command == "import") return presetsImportCommand(rest);
  if (command == "export-state") return presetsExportStateCommand(rest);
  if (command.starts_with("-")) return failUsage("presets", "unknown option '" + command + "'");
  const auto nearest = nearestNames(command, {"list", "show", "render-all", "import", "export-state"}, 1);
  return failUsage("presets", "unknown command 'presets " + command + "'; the nearest is " + nearest.front());
}

}  // namespace morv::cli
