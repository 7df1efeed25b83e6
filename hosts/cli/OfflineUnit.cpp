#include "hosts/cli/OfflineUnit.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "hosts/cli/Terminal.h"
#include "platform/Directories.h"
#include "unit/PresetNames.h"

namespace morv::cli {
namespace {

// The unit takes its channel from this setting at each load of a state, and a missing one would be channel 1.
constexpr const char* kMidiChannel = "midiChannel";
constexpr std::int64_t kAllChannels = -1;
constexpr double kSettledSeconds = 1.0;  // twice the mute that follows a preset's change

AudioUnitServices servicesOf(SettingsStore& standard, SettingsStore& shared, MainQueue& queue,
                             const std::string& resources) {
  standard.setInteger(kMidiChannel, kAllChannels);
  AudioUnitServices services{&standard, &shared, &queue};
  services.directories.resources = resources;
  // A run's messages tell what went wrong, not that a unit is made.
  services.log = [](const std::string& line) {
    if (!line.starts_with("Initializing ")) warn(line);
  };
  return services;
}

SettingsStore& withPresets(SettingsStore& store, const PropertyListDictionary& presets) {
  if (!presets.empty()) store.setValue(kPresets, presets);
  return store;
}

}  // namespace

Result<std::string> resourcesFolder(const std::optional<std::string>& option) {
  std::string folder;
  const char* variable = std::getenv("MORV_RESOURCES");
  if (option) {
    folder = *option;
  } else if (variable != nullptr && *variable != '\0') {
    folder = variable;
  } else {
    return Directories::resourcesOfLibrary();
  }
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) return folder;
  return Failure{(option ? "option '--resources': '" : "MORV_RESOURCES: '") + folder + "' is no folder"};
}

OfflineUnit::OfflineUnit(const std::string& resources, const PropertyListDictionary& morePresets)
    : unit_(servicesOf(standardSettings_, withPresets(sharedSettings_, morePresets), queue_, resources)) {}

Outcome OfflineUnit::allocate(int sampleRateHz, std::uint32_t blockFrames) {
  unit_.outputBus()->format.sampleRate = sampleRateHz;
  unit_.setMaximumFramesToRender(blockFrames);
  std::string error;
  if (!unit_.allocateRenderResources(&error)) return Failure{error};
  return Done{};
}

// What was posted may post more: the mute's end is such a task.
void OfflineUnit::settle() {
  const double now = queue_.now();
  queue_.runDue(now);
  queue_.runDue(now + kSettledSeconds);
  queue_.runDue(now + kSettledSeconds);
  start_ = now + kSettledSeconds;
}

std::set<std::string> OfflineUnit::storedNames() const {
  std::set<std::string> names;
  const auto held = sharedSettings_.valueForKey(kPresets);
  if (!held || held->dictionary() == nullptr) return names;
  for (const auto& [name, state] : held->dictionary()->entries()) names.insert(name);
  return names;
}

void OfflineUnit::loadPreset(const std::string& name) {
  unit_.setCurrentPresetWithName(name);
  settle();
}

void OfflineUnit::loadState(const std::string& name, const PropertyListDictionary& state) {
  const auto held = sharedSettings_.valueForKey(kPresets);
  PropertyListDictionary presets =
      held && held->dictionary() != nullptr ? *held->dictionary() : PropertyListDictionary();
  presets.set(name, state);
  sharedSettings_.setValue(kPresets, std::move(presets));
  unit_.setCurrentPreset(AUAudioUnitPreset{name, -1});
  settle();
}

}  // namespace morv::cli
