#include "hosts/cli/ParametersCommand.h"

#include <array>

#include "hosts/cli/CommandLine.h"
#include "hosts/cli/Json.h"
#include "hosts/cli/Numbers.h"
#include "hosts/cli/Terminal.h"
#include "platform/AUParameterGroup.h"
#include "platform/MainQueue.h"
#include "platform/SettingsStore.h"
#include "unit/ZQ3Unit.h"

namespace morv::cli {
namespace {

constexpr std::array kOptions = {OptionSpec{"json", false}, OptionSpec{"help", false}};

constexpr const char* kHelp =
    "Usage: morv parameters [--json]\n"
    "Lists the parameters of a fresh instrument: group, identifier, address, name, minimum, maximum, "
    "default,\n"
    "unit, flags and value strings (parted by '|'), as tab-separated lines under a header.\n"
    "\n"
    "  --json   as a JSON array of objects\n"
    "  --help   print this text\n"
    "\n"
    "Units: 0 generic, 1 indexed, 2 boolean, 3 percent, 5 sample frames, 8 hertz, 9 cents, 10 semitones,\n"
    "13 decibels, 21 octaves, 24 milliseconds. Identifiers last; addresses are handles of one run.\n";

std::string objectOf(const AUParameter& parameter) {
  std::string strings;
  for (const auto& each : parameter.valueStrings()) {
    if (!strings.empty()) strings += ", ";
    strings += jsonQuoted(each);
  }
  return "{\"group\": " + jsonQuoted(parameter.group()->identifier()) +
         ", \"identifier\": " + jsonQuoted(parameter.identifier()) +
         ", \"address\": " + std::to_string(parameter.address()) +
         ", \"name\": " + jsonQuoted(parameter.displayName()) +
         ", \"minimum\": " + printReal(parameter.minValue()) +
         ", \"maximum\": " + printReal(parameter.maxValue()) +
         ", \"default\": " + printReal(parameter.value()) +
         ", \"unit\": " + std::to_string(parameter.unit()) +
         ", \"flags\": " + std::to_string(parameter.flags()) + ", \"valueStrings\": [" + strings + "]}";
}

}  // namespace

std::string parametersAsTable(const AUParameterTree& tree) {
  std::string table =
      "group\tidentifier\taddress\tname\tminimum\tmaximum\tdefault\tunit\tflags\tvalueStrings\n";
  for (const AUParameter* each : tree.allParameters()) {
    table += each->group()->identifier() + '\t' + each->identifier() + '\t' +
             std::to_string(each->address()) + '\t' + each->displayName() + '\t' +
             printReal(each->minValue()) + '\t' + printReal(each->maxValue()) + '\t' +
             printReal(each->value()) + '\t' + std::to_string(each->unit()) + '\t' +
             std::to_string(each->flags()) + '\t';
    for (const auto& text : each->valueStrings()) {
      if (&text != &each->valueStrings().front()) table += '|';
      table += text;
    }
    table += '\n';
  }
  return table;
}

std::string parametersAsJson(const AUParameterTree& tree) {
  std::string json = "[";
  const char* separator = "\n";
  for (const AUParameter* each : tree.allParameters()) {
    json += separator + objectOf(*each);
    separator = ",\n";
  }
  return json + "\n]\n";
}

ExitCode parametersCommand(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kOptions);
  if (!line) return failUsage("parameters", line.reason());
  if (line->has("help")) return print(kHelp);
  if (!line->operands().empty()) {
    return failUsage("parameters", "unexpected argument '" + line->operands().front() + "'");
  }
  SettingsStore standardSettings;
  SettingsStore sharedSettings;
  MainQueue queue;
  const ZQ3Unit unit({&standardSettings, &sharedSettings, &queue});
  const AUParameterTree& tree = *unit.parameterTree();
  return print(line->has("json") ? parametersAsJson(tree) : parametersAsTable(tree));
}

}  // namespace morv::cli
