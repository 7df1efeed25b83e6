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

using Source = PresetEntry::Source;

bool isSameWord(const std::string& a, const std::string& b) { return editDistance(a, b) == 0; }

const PresetEntry* entryNamed(const std::string& name, const std::vector<PresetEntry>& entries) {
  const auto found = std::find_if(entries.begin(), entries.end(), [&](const PresetEntry& each) {
    return !each.isHidden && each.name == name;
  });
  return found == entries.end() ? nullptr : &*found;
}

std::string originOf(const PresetEntry& entry) {
  if (entry.source == Source::factory) return "the factory's";
  if (entry.source == Source::user) return "the user's";
  return "pack '" + std::filesystem::path(entry.file).parent_path().filename().string() + "'";
}

std::string labelOf(const PresetEntry& entry, const std::vector<PresetEntry>& among) {
  const auto bearers = std::count_if(among.begin(), among.end(),
                                     [&](const PresetEntry& each) { return each.name == entry.name; });
  if (bearers == 1) return entry.name;
  const std::string file = entry.isHidden ? ", only by its file '" + entry.file + "'" : std::string();
  return entry.name + " (" + originOf(entry) + file + ")";
}

Failure ambiguity(const std::string& wanted, const std::vector<PresetEntry>& found) {
  std::vector<std::string> labels;
  labels.reserve(found.size());
  for (const PresetEntry& each : found) labels.push_back(labelOf(each, found));
  return {"'" + wanted + "' is the name of several presets: " + joined(labels)};
}

Result<LoadedPreset> loadFile(OfflineUnit& offline, const std::string& path) {
  const auto state = readPreset(path, offline.unit());
  if (!state) return state.failure();
  std::string name = std::filesystem::path(path).stem().string();
  offline.loadState(name, *state);
  return LoadedPreset{name, path};
}

}  // namespace

Result<PresetEntry> choosePreset(const std::string& wanted, const std::vector<PresetEntry>& entries,
                                 const PresetCategories& categories) {
  if (const PresetEntry* exact = entryNamed(wanted, entries)) return *exact;
  std::vector<PresetEntry> found;
  std::vector<std::string> nameable;
  const bool isFullName = wanted.starts_with("[");
  for (const PresetEntry& each : entries) {
    const std::string shortName = categories.shortNameOf(each.name);
    nameable.push_back(isFullName ? each.name : shortName);
    if (isSameWord(each.name, wanted) || isSameWord(shortName, wanted)) found.push_back(each);
  }
  if (found.size() == 1) return found.front();
  if (found.size() > 1) return ambiguity(wanted, found);
  if (entries.empty()) return Failure{"unknown preset '" + wanted + "'; there are none"};
  return Failure{"unknown preset '" + wanted + "'; the nearest are " +
                 joined(nearestNames(wanted, nameable))};
}

bool meansPresetFile(const std::string& wanted) {
  return wanted.find('/') != std::string::npos || wanted.ends_with(kPresetFileExtension);
}

Result<LoadedPreset> loadPresetFor(OfflineUnit& offline, const std::string& wanted,
                                   const std::string& resources, ExitCode* code) {
  const bool meansFile = meansPresetFile(wanted);
  *code = meansFile ? ExitCode::badInput : ExitCode::usage;
  std::error_code error;
  if (meansFile && std::filesystem::exists(wanted, error)) return loadFile(offline, wanted);

  const UserPresets kept(offline.unit().groupIdentifier());
  const std::vector<PresetEntry> entries = presetEntries(offline, kept, resources);
  if (meansFile && entryNamed(wanted, entries) == nullptr) return loadFile(offline, wanted);
  const auto chosen = choosePreset(wanted, entries, PresetCategories::of(resources));
  if (!chosen) return chosen.failure();
  if (chosen->source != Source::user) {
    offline.loadPreset(chosen->name);
    return LoadedPreset{chosen->name, chosen->file};
  }
  const auto state = kept.stateOf(chosen->name, offline.unit());
  if (!state) {
    *code = ExitCode::badInput;
    return state.failure();
  }
  offline.loadState(chosen->name, *state);
  return LoadedPreset{chosen->name, chosen->file};
}

ExitCode failPreset(const std::string& command, const std::string& where, ExitCode code,
                    const std::string& reason) {
  return code == ExitCode::usage ? failUsage(command, where + reason) : fail(code, reason);
}

}  // namespace morv::cli
