#include "hosts/cli/PresetChoice.h"

#include <algorithm>
#include <filesystem>

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
                                  const std::string& resources) {
  if (meansPresetFile(wanted)) {
    const auto state = readPreset(wanted, offline.unit());
    if (!state) return state.failure();
    std::string name = std::filesystem::path(wanted).stem().string();
    offline.loadState(name, *state);
    return name;
  }
  const PresetCategories categories = PresetCategories::of(resources);
  std::vector<std::string> names = namesIn(offline);
  if (const auto name = choosePreset(wanted, names, categories)) {
    offline.loadPreset(*name);
    return *name;
  }
  const PropertyListDictionary kept = UserPresets(offline.unit().groupIdentifier()).all();
  for (const auto& [name, state] : kept.entries()) {
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  auto name = choosePreset(wanted, names, categories);
  if (!name) return name;
  const PropertyListValue* state = kept.find(*name);
  if (state == nullptr || state->dictionary() == nullptr)
    return Failure{"preset '" + *name + "' holds no state"};
  offline.loadState(*name, *state->dictionary());
  return name;
}

ExitCode failPreset(const std::string& command, const std::string& where, const std::string& wanted,
                    const std::string& reason) {
  return meansPresetFile(wanted) ? fail(ExitCode::badInput, reason) : failUsage(command, where + reason);
}

}  // namespace morv::cli
