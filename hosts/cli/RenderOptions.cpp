#include "hosts/cli/RenderOptions.h"

#include <array>
#include <cmath>

#include "hosts/cli/CommandLine.h"
#include "hosts/cli/Numbers.h"

namespace morv::cli {
namespace {

constexpr std::array kOptions = {
    OptionSpec{"midi"},          OptionSpec{"out"},       OptionSpec{"rate"},
    OptionSpec{"block"},         OptionSpec{"tempo"},     OptionSpec{"seconds"},
    OptionSpec{"tail"},          OptionSpec{"set"},       OptionSpec{"automation"},
    OptionSpec{"setting"},       OptionSpec{"seed"},      OptionSpec{"format"},
    OptionSpec{"preset"},        OptionSpec{"resources"}, OptionSpec{"help", false},
    OptionSpec{"verbose", false}};

constexpr std::int64_t kLeastRate = 8000;
constexpr std::int64_t kGreatestRate = 192000;
constexpr std::int64_t kGreatestBlock = 4096;

std::string notA(const std::string& option, const std::string& text, const std::string& kind) {
  return "option '--" + option + "': '" + text + "' is no " + kind;
}

Result<std::int64_t> integerIn(const CommandLine& line, const std::string& option, std::int64_t standard,
                               std::int64_t least, std::int64_t greatest) {
  const auto text = line.value(option);
  if (!text) return standard;
  const auto number = parseInteger(*text);
  if (!number) return Failure{notA(option, *text, "whole number")};
  if (*number < least || *number > greatest) {
    return Failure{"option '--" + option + "': " + *text + " is out of range (" + std::to_string(least) +
                   " to " + std::to_string(greatest) + ")"};
  }
  return *number;
}

// A number of 0 or more, above 0 if told so.
Result<std::optional<double>> realOf(const CommandLine& line, const std::string& option, bool mayBeZero) {
  const auto text = line.value(option);
  if (!text) return std::optional<double>{};
  const auto number = parseReal(*text);
  if (!number) return Failure{notA(option, *text, "number")};
  if (*number < 0 || (*number == 0 && !mayBeZero)) {
    return Failure{"option '--" + option + "': " + *text + " is out of range (it must be " +
                   (mayBeZero ? "0 or more)" : "above 0)")};
  }
  return number;
}

Result<SampleFormat> formatOf(const std::string& text) {
  if (text == "f32") return SampleFormat::f32;
  if (text == "s16") return SampleFormat::s16;
  if (text == "s24") return SampleFormat::s24;
  return Failure{"option '--format': '" + text + "' is none of f32, s16 and s24"};
}

Result<RenderOptions> withLists(RenderOptions options, const CommandLine& line) {
  for (const auto& text : line.values("set")) {
    const auto set = RenderOptions::parseSet(text);
    if (!set) return set.failure();
    options.sets.push_back(*set);
  }
  for (const auto& text : line.values("setting")) {
    const auto setting = parseSettingOverride(text);
    if (!setting) return Failure{"option '--setting': " + setting.reason()};
    options.settings.push_back(*setting);
  }
  return options;
}

Result<RenderOptions> withNumbers(RenderOptions options, const CommandLine& line) {
  const auto rate = integerIn(line, "rate", options.sampleRateHz, kLeastRate, kGreatestRate);
  if (!rate) return rate.failure();
  options.sampleRateHz = static_cast<int>(*rate);
  const auto block = integerIn(line, "block", options.blockFrames, 1, kGreatestBlock);
  if (!block) return block.failure();
  options.blockFrames = static_cast<std::uint32_t>(*block);
  const auto tempo = realOf(line, "tempo", false);
  if (!tempo) return tempo.failure();
  options.tempo = *tempo;
  const auto seconds = realOf(line, "seconds", false);
  if (!seconds) return seconds.failure();
  options.seconds = *seconds;
  const auto tail = realOf(line, "tail", true);
  if (!tail) return tail.failure();
  options.tailSeconds = tail->value_or(options.tailSeconds);
  if (const auto text = line.value("seed")) {
    options.seed = parseUnsigned(*text);
    if (!options.seed) return Failure{notA("seed", *text, "whole number of 0 or more")};
  }
  if (const auto text = line.value("format")) {
    const auto format = formatOf(*text);
    if (!format) return format.failure();
    options.format = *format;
  }
  return options;
}

}  // namespace

Result<RenderOptions::Set> RenderOptions::parseSet(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == 0 || equals == std::string::npos) {
    return Failure{"option '--set': '" + text + "' is not of the form ID=VALUE"};
  }
  const std::string valueText = text.substr(equals + 1);
  const auto value = parseReal(valueText);
  if (!value || !std::isfinite(static_cast<float>(*value))) {
    return Failure{"option '--set': " + text.substr(0, equals) + ": '" + valueText + "' is no number"};
  }
  return RenderOptions::Set{text.substr(0, equals), static_cast<float>(*value)};
}

Result<RenderOptions> RenderOptions::parse(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kOptions);
  if (!line) return line.failure();
  RenderOptions options;
  options.help = line->has("help");
  if (options.help) return options;
  if (!line->operands().empty()) return Failure{"unexpected argument '" + line->operands().front() + "'"};
  options.midiPath = line->value("midi").value_or("");
  if (options.midiPath.empty()) return Failure{"option '--midi' is missing: which file shall be played?"};
  options.outPath = line->value("out").value_or("");
  if (options.outPath.empty()) return Failure{"option '--out' is missing: where shall the sound go?"};
  options.automationPath = line->value("automation");
  options.verbose = line->has("verbose");
  options.preset = line->value("preset");
  options.resources = line->value("resources");
  auto numbered = withNumbers(std::move(options), *line);
  if (!numbered) return numbered;
  return withLists(std::move(*numbered), *line);
}

const char* RenderOptions::helpText() {
  return "Usage: morv render --midi FILE.mid --out FILE.wav [OPTION]...\n"
         "Plays a Standard MIDI File (format 0 or 1) and writes its sound to a stereo WAV file.\n"
         "\n"
         "  --midi FILE         the file to play\n"
         "  --out FILE          the file to write; it appears when it is complete\n"
         "  --rate HZ           sample rate, 8000 to 192000 (44100)\n"
         "  --block FRAMES      frames per block, 1 to 4096 (64); events take effect at their block's start\n"
         "  --tempo BPM         tempo that the instrument sees, instead of the file's; the file's timing "
         "stays\n"
         "  --seconds S         length; otherwise the last event and the tail. Whole blocks are rendered\n"
         "  --tail S            seconds behind the last event (2)\n"
         "  --preset NAME       load a preset first: its full or short name, or a file (.aupreset)\n"
         "  --set ID=VALUE      set a parameter before the start; may be given often\n"
         "  --automation FILE   parameter moves: rows of seconds,identifier,value\n"
         "  --setting KEY=VALUE override a setting for this run; may be given often: midiNotePriority (0 "
         "lowest,\n"
         "                      1 highest, 2 last), midiMPEBendRange (semitones), and midiMode and "
         "midiChannel,\n"
         "                      which count when a preset is loaded\n"
         "  --resources DIR     folder of the presets, instead of MORV_RESOURCES or the library's own\n"
         "  --seed N            seed of everything drawn at random\n"
         "  --format FORMAT     f32, s16 or s24 (f32)\n"
         "  --verbose           print the engine's diagnostics\n"
         "  --help              print this text\n"
         "\n"
         "Parameters are named as 'morv parameters' lists them: the identifier alone for the group morv,\n"
         "else group.identifier. Values are not cut to their range.\n";
}

}  // namespace morv::cli
