#include "hosts/cli/UserPresets.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "hosts/cli/PresetFile.h"
#include "hosts/cli/Terminal.h"
#include "platform/AtomicFile.h"
#include "platform/PropertyList.h"
#include "platform/PropertyListFile.h"
#include "unit/PresetNames.h"

namespace morv::cli {
namespace {

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

}  // namespace

UserPresets::UserPresets(const std::string& suiteName, Directories directories)
    : directories_(std::move(directories)),
      suite_(directories_.configuration, suiteName, [](const std::string& message) { warn(message); }),
      coordinator_(directories_.locks),
      cloud_(suite_, coordinator_) {}

bool UserPresets::isInCloud() const { return suite_.integerForKey(kPresetStorageLocation) == kCloudLocation; }

std::string UserPresets::cloudFolder() const {
  const auto container = cloud_.path();
  return container ? *container + "/Documents/Presets" : std::string();
}

std::string UserPresets::fileOf(const std::string& name) const {
  const std::string folder = isInCloud() ? cloudFolder() : directories_.documents;
  return folder.empty() ? folder : folder + "/" + name + kPresetFileExtension;
}

PropertyListDictionary UserPresets::stored() const {
  const auto held = suite_.valueForKey(kPresets);
  return held && held->dictionary() != nullptr ? *held->dictionary() : PropertyListDictionary();
}

std::string UserPresets::storeFileOf(const std::string& name) const {
  return isInCloud() ? fileOf(name) : std::string();
}

std::vector<std::string> UserPresets::names() const {
  std::vector<std::string> names;
  if (!isInCloud()) {
    const PropertyListDictionary presets = stored();
    for (const auto& [name, state] : presets.entries()) names.push_back(name);
    return names;
  }
  const std::string folder = cloudFolder();
  if (folder.empty()) return names;
  const auto files = cloud_.list(folder);
  if (!files) return names;
  for (const std::string& file : *files) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::path(folder) / file;
    if (path.extension() != kPresetFileExtension || std::filesystem::is_directory(path, error)) continue;
    names.push_back(path.stem().string());
  }
  return names;
}

PropertyListDictionary UserPresets::all() const {
  if (!isInCloud()) return stored();
  PropertyListDictionary presets;
  for (const std::string& name : names()) {
    const std::string path = fileOf(name);
    auto state = readPropertyListFile(path);
    if (state && state.value().dictionary() != nullptr) {
      presets.set(name, std::move(state).value());
    } else {
      warn(state ? path + ": no preset" : state.reason());
    }
  }
  return presets;
}

Result<PropertyListDictionary> UserPresets::stateOf(const std::string& name, const ZQ3Unit& unit) const {
  if (isInCloud()) return readPreset(fileOf(name), unit);
  const PropertyListDictionary presets = stored();
  const PropertyListValue* state = presets.find(name);
  if (state == nullptr) return Failure{name + ": there is no such preset"};
  return checkPreset(name, *state, unit);
}

Outcome UserPresets::addToCloud(const std::string& path, const PropertyListDictionary& state) {
  if (path.empty()) return Failure{"the settings keep presets in a cloud folder, which is not there"};
  const auto text = writePropertyList(state);
  if (!text) return Failure{path + ": " + text.reason()};
  if (Outcome made = cloud_.makeFolder(cloudFolder()); !made) return made;
  return cloud_.write(path, text.value());
}

bool UserPresets::holds(const std::string& name) const {
  return isInCloud() ? exists(fileOf(name)) : stored().find(name) != nullptr;
}

// The suite is what units read, so it comes last: a preset that is in it is wholly there.
Outcome UserPresets::add(const std::string& name, const PropertyListDictionary& state) {
  if (Outcome fresh = suite_.refresh(); !fresh) return fresh;
  const std::string path = fileOf(name);
  if (isInCloud()) return addToCloud(path, state);
  if (Outcome made = makeFolder(directories_.documents); !made) return made;
  if (Outcome done = writePropertyListFile(path, state); !done) return done;
  return suite_.update(kPresets, [&](std::optional<PropertyListValue>& presets) {
    if (!presets || presets->dictionary() == nullptr) presets = PropertyListDictionary();
    presets->dictionary()->set(name, state);
  });
}

}  // namespace morv::cli
