#include "hosts/player/PlayOptions.h"

#include <array>
#include <utility>

#include "hosts/cli/CommandLine.h"
#include "hosts/cli/Numbers.h"

namespace morv::player {
namespace {

using cli::CommandLine;
using cli::OptionSpec;

constexpr std::array kOptions = {
    OptionSpec{"audio"},          OptionSpec{"device"},     OptionSpec{"latency"},
    OptionSpec{"rate"},           OptionSpec{"preset"},     OptionSpec{"set"},
    OptionSpec{"setting"},        OptionSpec{"map-file"},   OptionSpec{"no-connect", false},
    OptionSpec{"client-name"},    OptionSpec{"seconds"},    OptionSpec{"resources"},
    OptionSpec{"verbose", false}, OptionSpec{"help", false}};

constexpr unsigned kLeastRate = 8000;
constexpr unsigned kGreatestRate = 192000;
// What JACK and the sequencer can show of a name, and what they part names by.
constexpr std::size_t kGreatestName = 32;

Result<unsigned> wholeNumber(const CommandLine& line, const std::string& option, unsigned least,
                             unsigned greatest) {
  const auto text = line.value(option);
  if (!text) return 0U;
  const auto number = cli::parseInteger(*text);
  if (!number) return Failure{"option '--" + option + "': '" + *text + "' is no whole number"};
  if (*number < least || *number > greatest) {
    return Failure{"option '--" + option + "': " + *text + " is out of range (" + std::to_string(least) +
                   " to " + std::to_string(greatest) + ")"};
  }
  return static_cast<unsigned>(*number);
}

Result<AudioChoice> audioOf(const std::string& text) {
  if (text == "auto") return AudioChoice::automatic;
  if (text == "jack") return AudioChoice::jack;
  if (text == "alsa") return AudioChoice::alsa;
  return Failure{"option '--audio': '" + text + "' is none of auto, jack and alsa"};
}

Result<PlayOptions> withNumbers(PlayOptions options, const CommandLine& line) {
  const auto latency =
      wholeNumber(line, "latency", PlayOptions::kLeastLatencyFrames, PlayOptions::kGreatestLatencyFrames);
  if (!latency) return Failure{latency.reason()};
  options.latencyFrames = latency.value();
  const auto rate = wholeNumber(line, "rate", kLeastRate, kGreatestRate);
  if (!rate) return Failure{rate.reason()};
  options.sampleRateHz = rate.value();
  if (const auto text = line.value("seconds")) {
    options.seconds = cli::parseReal(*text);
    if (!options.seconds || !(*options.seconds > 0)) {
      return Failure{"option '--seconds': '" + *text + "' is no number above 0"};
    }
  }
  return options;
}

}  // namespace

Result<PlayOptions> PlayOptions::parse(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kOptions);
  if (!line) return Failure{line.reason()};
  PlayOptions options;
  options.help = line->has("help");
  if (options.help) return options;
  if (!line->operands().empty()) return Failure{"unexpected argument '" + line->operands().front() + "'"};
  const auto audio = audioOf(line->value("audio").value_or("auto"));
  if (!audio) return Failure{audio.reason()};
  options.audio = audio.value();
  for (const char* option : {"device", "latency", "rate"}) {
    if (options.audio == AudioChoice::jack && line->has(option)) {
      return Failure{"option '--" + std::string(option) + "' is for ALSA; JACK has its own"};
    }
  }
  // Who names a device means it.
  if (options.audio == AudioChoice::automatic && line->has("device")) options.audio = AudioChoice::alsa;
  options.verbose = line->has("verbose");
  options.connects = !line->has("no-connect");
  options.device = line->value("device").value_or("");
  options.clientName = line->value("client-name").value_or(options.clientName);
  if (options.clientName.empty() || options.clientName.size() > kGreatestName ||
      options.clientName.find(':') != std::string::npos) {
    return Failure{"option '--client-name': '" + options.clientName + "' is no name of 1 to " +
                   std::to_string(kGreatestName) + " letters without ':'"};
  }
  options.preset = line->value("preset");
  options.resources = line->value("resources");
  options.mapFile = line->value("map-file");
  for (const auto& text : line->values("set")) {
    const auto set = cli::RenderOptions::parseSet(text);
    if (!set) return Failure{set.reason()};
    options.sets.push_back(*set);
  }
  for (const auto& text : line->values("setting")) {
    const auto setting = cli::parseSettingOverride(text);
    if (!setting) return Failure{"option '--setting': " + setting.reason()};
    options.settings.push_back(*setting);
  }
  return withNumbers(std::move(options), *line);
}

const char* PlayOptions::helpText() {
  return "Usage: morv play [OPTION]...\n"
         "Plays the instrument live: MIDI in, sound out, until it is told to end.\n"
         "\n"
         "  --audio SYSTEM      auto, jack or alsa (auto: JACK, PipeWire's included, if a server answers "
         "and\n"
         "                      no device is named, else ALSA)\n"
         "  --device NAME       ALSA device, as 'morv devices' lists them: its name, a part of it that no\n"
         "                      other has, or its number\n"
         "  --latency FRAMES    ALSA: frames in one cycle, 16 to 8192 (256); the device holds two\n"
         "  --rate HZ           ALSA: sample rate, 8000 to 192000 (the device's own)\n"
         "  --client-name NAME  name in the list of JACK or sequencer clients (morv)\n"
         "  --no-connect        JACK: connect to nothing; otherwise the outputs go to the first two "
         "physical\n"
         "                      ones and physical MIDI sources to the input. Ports of the ALSA sequencer\n"
         "                      are for others to connect\n"
         "  --preset NAME       start with a preset: its full or short name, or a file (.aupreset)\n"
         "  --set ID=VALUE      set a parameter at the start; may be given often\n"
         "  --setting KEY=VALUE write one of the user's settings, which stays; may be given often:\n"
         "                      midiNotePriority (0 lowest, 1 highest, 2 last), midiMPEBendRange\n"
         "                      (semitones), midiMode (0, or 1 for MPE) and midiChannel (-1 for all), the\n"
         "                      last two of which count when a preset is loaded\n"
         "  --map-file FILE     take the parameters that controllers move from this file (.midimap) instead\n"
         "                      of the user's own, which is left alone\n"
         "  --resources DIR     folder of the presets, instead of MORV_RESOURCES or the library's own\n"
         "  --seconds S         end by itself\n"
         "  --verbose           tell about connections, late cycles and the engine's diagnostics\n"
         "  --help              print this text\n"
         "\n"
         "The instrument listens to all MIDI channels unless the setting midiChannel says otherwise.\n"
         "SIGINT and SIGTERM end all notes, save the settings and end with 130 and 143; a second signal "
         "ends\n"
         "at once. If the JACK server goes away, the player waits for it. With NSM_URL set it serves that\n"
         "session manager, and so does 'morv' without a command: it opens JACK when told to, under the "
         "given\n"
         "name, and connects to nothing.\n"
         "Exit codes: 0 done, 1 failure, 2 wrong usage, 3 bad input file, 4 settings cannot be written,\n"
         "5 no audio device, 130 and 143 ended by a signal.\n";
}

}  // namespace morv::player
