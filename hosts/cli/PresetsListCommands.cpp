#include "hosts/cli/PresetsListCommands.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <vector>

#include "hosts/cli/CommandLine.h"
#include "hosts/cli/Json.h"
#include "hosts/cli/Numbers.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/PresetCategories.h"
#include "hosts/cli/PresetChoice.h"
#include "hosts/cli/PresetsCommand.h"
#include "hosts/cli/TableCell.h"
#include "hosts/cli/Terminal.h"
#include "hosts/cli/UserPresets.h"
#include "platform/AUParameterGroup.h"

namespace morv::cli {
namespace {

constexpr std::array kOptions = {OptionSpec{"json", false}, OptionSpec{"resources"},
                                 OptionSpec{"help", false}};

struct Row {
  std::string name;
  std::int64_t number = 0;
  std::string owner;
  std::string category;
  std::string file;  // empty without one
};

bool isThere(const std::string& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::exists(path, error);
}

std::vector<Row> rowsOf(const std::string& resources) {
  UserPresets kept(OfflineUnit(std::string()).unit().groupIdentifier());
  OfflineUnit offline(resources, kept.all());
  const PresetCategories categories = PresetCategories::of(resources);
  std::vector<Row> rows;
  for (const AUAudioUnitPreset& each : offline.unit().factoryPresets()) {
    std::string file = offline.unit().filePathForPreset(each).value_or("");
    if (!isThere(file)) file = kept.fileOf(each.name);
    rows.push_back({each.name, each.number, ZRAudioUnit::presetIsFactoryPresett(each) ? "factory" : "user",
                    categories.titleFor(each.name), isThere(file) ? file : std::string()});
  }
  return rows;
}

std::string asTable(const std::vector<Row>& rows) {
  std::string table = "name\tnumber\towner\tcategory\tfile\n";
  for (const Row& row : rows) {
    table += tableCell(row.name) + '\t' + std::to_string(row.number) + '\t' + row.owner + '\t' +
             tableCell(row.category) + '\t' + tableCell(row.file) + '\n';
  }
  return table;
}

std::string asJson(const std::vector<Row>& rows) {
  std::string json = "[";
  const char* separator = "\n";
  for (const Row& row : rows) {
    json += separator + ("{\"name\": " + jsonQuoted(row.name)) +
            ", \"number\": " + std::to_string(row.number) + ", \"owner\": " + jsonQuoted(row.owner) +
            ", \"category\": " + jsonQuoted(row.category) + ", \"file\": " + jsonQuoted(row.file) + "}";
    separator = ",\n";
  }
  return json + "\n]\n";
}

std::string valuesAsTable(const AUParameterTree& tree) {
  std::string table = "group\tidentifier\tvalue\n";
  for (const AUParameter* each : tree.allParameters()) {
    table += each->group()->identifier() + '\t' + each->identifier() + '\t' + printReal(each->value()) + '\n';
  }
  return table;
}

std::string valuesAsJson(const std::string& name, const AUParameterTree& tree) {
  std::string json = "{\"name\": " + jsonQuoted(name) + ", \"parameters\": {";
  const char* groupSeparator = "\n";
  for (const auto& group : tree.children()) {
    json += groupSeparator + jsonQuoted(group->identifier()) + ": {";
    const char* separator = "";
    for (const auto& each : group->children()) {
      json += separator + jsonQuoted(each->identifier()) + ": " + printReal(each->value());
      separator = ", ";
    }
    json += "}";
    groupSeparator = ",\n";
  }
  return json + "\n}}\n";
}

}  // namespace

ExitCode presetsListCommand(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kOptions);
  if (!line) return failUsage("presets", line.reason());
  if (line->has("help")) return print(presetsHelp());
  if (!line->operands().empty()) {
    return failUsage("presets", "unexpected argument '" + line->operands().front() + "'");
  }
  const auto resources = resourcesFolder(line->value("resources"));
  if (!resources) return failUsage("presets", resources.reason());
  const std::vector<Row> rows = rowsOf(*resources);
  return print(line->has("json") ? asJson(rows) : asTable(rows));
}

ExitCode presetsShowCommand(std::span<const std::string> words) {
  const auto line = CommandLine::parse(words, kOptions);
  if (!line) return failUsage("presets", line.reason());
  if (line->has("help")) return print(presetsHelp());
  if (line->operands().size() != 1) return failUsage("presets", "show takes the name of one preset");
  const std::string& wanted = line->operands().front();
  const auto resources = resourcesFolder(line->value("resources"));
  if (!resources) return failUsage("presets", resources.reason());
  OfflineUnit offline(*resources);
  offline.keepMidiModeOfStates();
  ExitCode code{};
  const auto loaded = loadPresetFor(offline, wanted, *resources, &code);
  if (!loaded) return failPreset("presets", "", code, loaded.reason());
  const AUParameterTree& tree = *offline.unit().parameterTree();
  return print(line->has("json") ? valuesAsJson(loaded->name, tree) : valuesAsTable(tree));
}

}  // namespace morv::cli
