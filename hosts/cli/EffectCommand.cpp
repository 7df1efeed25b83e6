#include "hosts/cli/EffectCommand.h"

#include <array>
#include <optional>

#include "effects/EffectCatalogue.h"
#include "hosts/cli/CommandLine.h"
#include "hosts/cli/EffectOptions.h"
#include "hosts/cli/EffectRun.h"
#include "hosts/cli/Json.h"
#include "hosts/cli/NearestNames.h"
#include "hosts/cli/Numbers.h"
#include "hosts/cli/Terminal.h"

namespace morv::cli {
namespace {

constexpr double kListingRateHz = 48000;
constexpr std::array kListOptions = {OptionSpec{"json", false}, OptionSpec{"help", false}};

std::string helpText() {
  return "Usage: morv effect list [--json]\n"
         "       morv effect parameters NAME [--json]\n"
         "       morv effect run NAME --in FILE --out FILE.wav [OPTION]...\n"
         "The effects one by one, over sound files.\n"
         "\n"
         "  list         name, title and description of each\n"
         "  parameters   the controls of one: identifier, name, minimum, maximum, default, unit and value\n"
         "               strings (parted by '|'); a control without bounds has '-' for both\n"
         "  run          sends a file through one and writes what comes out, as a stereo WAV of the same\n"
         "               length in 32-bit floats; a mono file feeds both sides\n"
         "\n" +
         EffectOptions::helpText() +
         "\n"
         "  --json               'list' and 'parameters': as a JSON array of objects\n"
         "  --help               print this text\n";
}

ExitCode unknownEffect(const std::string& name) {
  std::vector<std::string> names;
  for (const EffectKind& kind : effectKinds()) names.emplace_back(kind.name);
  return failUsage(
      "effect", "there is no effect '" + name + "'; the nearest are: " + joined(nearestNames(name, names)));
}

bool isKnown(const std::string& name) {
  for (const EffectKind& kind : effectKinds()) {
    if (kind.name == name) return true;
  }
  return false;
}

std::string listing(bool isJson) {
  std::string text = isJson ? "[" : "name\ttitle\tdescription\n";
  const char* separator = "\n";
  for (const EffectKind& kind : effectKinds()) {
    const std::string name(kind.name);
    const std::string title(kind.title);
    const std::string description(kind.description);
    if (isJson) {
      text += separator;
      text.append("{\"name\": ").append(jsonQuoted(name));
      text.append(", \"title\": ").append(jsonQuoted(title));
      text.append(", \"description\": ").append(jsonQuoted(description)).append("}");
      separator = ",\n";
    } else {
      text.append(name).append("\t").append(title).append("\t").append(description).append("\n");
    }
  }
  return isJson ? text + "\n]\n" : text;
}

std::string lineOf(const EffectControl& control) {
  const auto& range = control.range();
  std::string line = control.identifier() + '\t' + control.name() + '\t' +
                     (range ? printReal(range->least) : "-") + '\t' +
                     (range ? printReal(range->greatest) : "-") + '\t' + printReal(control.value()) + '\t' +
                     std::to_string(static_cast<int>(control.unit())) + '\t';
  const char* separator = "";
  for (const std::string& each : control.valueStrings()) {
    line += separator + each;
    separator = "|";
  }
  return line + '\n';
}

std::string objectOf(const EffectControl& control) {
  const auto& range = control.range();
  std::string strings;
  for (const std::string& each : control.valueStrings()) {
    if (!strings.empty()) strings += ", ";
    strings += jsonQuoted(each);
  }
  return "{\"identifier\": " + jsonQuoted(control.identifier()) +
         ", \"name\": " + jsonQuoted(control.name()) +
         ", \"minimum\": " + (range ? printReal(range->least) : "null") +
         ", \"maximum\": " + (range ? printReal(range->greatest) : "null") +
         ", \"default\": " + printReal(control.value()) +
         ", \"unit\": " + std::to_string(static_cast<int>(control.unit())) + ", \"valueStrings\": [" +
         strings + "]}";
}

std::string controlsListing(const std::string& name, bool isJson) {
  const auto effect = makeEffect(name, kListingRateHz);
  std::string text = isJson ? "[" : "identifier\tname\tminimum\tmaximum\tdefault\tunit\tvalueStrings\n";
  const char* separator = "\n";
  for (const EffectControl& control : controlsOf(name, *effect)) {
    text += isJson ? separator + objectOf(control) : lineOf(control);
    separator = ",\n";
  }
  return isJson ? text + "\n]\n" : text;
}

ExitCode listCommand(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kListOptions);
  if (!line) return failUsage("effect", line.reason());
  if (line->has("help")) return print(helpText());
  if (!line->operands().empty()) {
    return failUsage("effect", "unexpected argument '" + line->operands().front() + "'");
  }
  return print(listing(line->has("json")));
}

ExitCode parametersOfEffect(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kListOptions);
  if (!line) return failUsage("effect", line.reason());
  if (line->has("help")) return print(helpText());
  if (line->operands().size() != 1) return failUsage("effect", "which effect? 'morv effect list' names them");
  const std::string& name = line->operands().front();
  return isKnown(name) ? print(controlsListing(name, line->has("json"))) : unknownEffect(name);
}

ExitCode runCommand(std::span<const std::string> words) {
  const auto options = EffectOptions::parse(words);
  if (!options) return failUsage("effect run", options.reason());
  if (options->help) return print(helpText());
  return isKnown(options->effect) ? runEffect(*options) : unknownEffect(options->effect);
}

}  // namespace

ExitCode effectCommand(std::span<const std::string> words) {
  if (words.empty()) return failUsage("effect", "list, parameters or run?");
  const std::string& verb = words.front();
  if (verb == "--help") return print(helpText());
  if (verb == "list") return listCommand(words.subspan(1));
  if (verb == "parameters") return parametersOfEffect(words.subspan(1));
  if (verb == "run") return runCommand(words.subspan(1));
  return failUsage("effect", "unknown command '" + verb + "'; there are list, parameters and run");
}

}  // namespace morv::cli
