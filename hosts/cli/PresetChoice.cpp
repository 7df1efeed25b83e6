#include "hosts/cli/PresetChoice.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "hosts/cli/NearestNames.h"
#include "hosts/cli/PresetFile.h"
#include "hosts/cli/Terminal.h"
#include "hosts/cli/UserPresets.h"

namespace morv::cli {
namespace {

bool isSameWord(const std::string& a, const std::string& b) { return editDistance(a, b) == 0; }

std::vector<std::string> namesIn(OfflineUnit& offline) {
  std::vector<std::string> names;
  for (const auto& each : offline.unit().factoryPresets()) names.push_back(each.name);
  return names;
}

Result<std::string> loadFile(OfflineUnit& offline, const std::string& path) {
  const auto state = readPreset(path, offline.unit());
  if (!state) return state.failure();
  std::string name = std::filesystem::path(path).stem().string();
  offline.loadState(name, *state);
  return name;
}

}  // namespace

Result<std::string> choosePreset(const std::string& wanted, const std::vector<std::string>& names,
                                 const PresetCategories& categories) {
  if (std::find(names.begin(), names.end(), wanted) != names.end()) return wanted;
  std::vector<std::string> found;
  std::vector<std::string> shortNames;
  for (const std::string& name : names) {
    shortNames.push_back(categories.shortNameOf(name));
    if (isSameWord(name, wanted)) return name;
    if (isSameWord(shortNames.back(), wanted)) found.push_back(name);
  }
  if (found.size() == 1) return found.front();
  if (found.size() > 1) return Failure{"'" + wanted + "' is the name of several presets: " + joined(found)};
  if (names.empty()) return Failure{"unknown preset '" + wanted + "'; there are none"};
  const bool isFullName = wanted.starts_with("[");
  return Failure{"unknown preset '" + wanted + "'; the nearest are " +
                 joined(nearestNames(wanted, isFullName ? names : shortNames))};
}

bool meansPresetFile(const std::string& wanted) {
  return wanted.find('/') != std::string::npos || wanted.ends_with(kPresetFileExtension);
}

Result<std::string> loadPresetFor(OfflineUnit& offline, const std::string& wanted,
                                  const std::string& resources, ExitCode* code) {
  const bool meansFile = meansPresetFile(wanted);
  *code = meansFile ? ExitCode::badInput : ExitCode::usage;
  std::error_code error;
  if (meansFile && std::filesystem::exists(wanted, error)) return loadFile(offline, wanted);

  const PresetCategories categories = PresetCategories::of(resources);
  const auto choose = [&](const std::vector<std::string>& names) -> Result<std::string> {
    if (!meansFile) return choosePreset(wanted, names, categories);
    if (std::find(names.begin(), names.end(), wanted) != names.end()) return wanted;
    return Failure{"unknown preset '" + wanted + "'"};
  };
  std::vector<std::string> names = namesIn(offline);
  if (const auto name = choose(names)) {
    offline.loadPreset(*name);
    return *name;
  }
  const PropertyListDictionary kept = UserPresets(offline.unit().groupIdentifier()).all();
  for (const auto& [name, state] : kept.entries()) {
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  auto name = choose(names);
  if (!name) return meansFile ? loadFile(offline, wanted) : name;
  const PropertyListValue* state = kept.find(*name);
  if (state == nullptr || state->dictionary() == nullptr) {
    *code = ExitCode::badInput;
    return Failure{"preset '" + *name + "' holds no state"};
  }
  offline.loadState(*name, *state->dictionary());
  return name;
}

ExitCode failPreset(const std::string& command, const std::string& where, ExitCode code,
                    const std::string& reason) {
  return code == ExitCode::usage ? failUsage(command, where + reason) : fail(code, reason);
}

}  // namespace morv::cli
