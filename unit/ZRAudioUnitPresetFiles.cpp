// Presets that are written, overwritten and deleted, and where their files lie.

#include <algorithm>
#include <filesystem>
#include <utility>

#include "platform/PropertyList.h"
#include "platform/PropertyListFile.h"
#include "unit/PresetNames.h"
#include "unit/ZRAudioUnit.h"

namespace morv {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFactoryMark = "[FACTORY]";

}  // namespace

std::string ZRAudioUnit::documentPathOf(const std::string& name) const {
  return services_.directories.documents + "/" + name + kPresetExtension;
}

std::string ZRAudioUnit::cloudPathOf(const std::string& name) const {
  const std::string folder = iCloudBaseFolder();
  return folder.empty() ? std::string() : folder + "/" + name + kPresetExtension;
}

PropertyListDictionary ZRAudioUnit::storedPresets() const {
  const auto held = defaults().valueForKey(kPresets);
  PropertyListDictionary presets =
      held && held->dictionary() != nullptr ? *held->dictionary() : PropertyListDictionary();
  waitingPresets_.applyTo(&presets);
  return presets;
}

// Others save presets too, so only the names that wait are changed, in what the settings hold at that moment.
// What cannot be brought there now counts for this unit and waits for the next time.
void ZRAudioUnit::storeWaitingPresets() {
  const auto apply = [this](std::optional<PropertyListValue>& presets) {
    if (!presets || presets->dictionary() == nullptr) presets = PropertyListDictionary();
    waitingPresets_.applyTo(presets->dictionary());
  };
  Outcome done = defaults().update(kPresets, apply);
  if (!done.ok()) {
    const std::vector<std::string> refusals = waitingPresets_.dropWhatCannotBeWritten();
    for (const std::string& refusal : refusals) log("[ZRAU] error: " + refusal);
    if (!refusals.empty()) done = defaults().update(kPresets, apply);
  }
  if (done.ok()) {
    waitingPresets_.clear();
  } else {
    log("[ZRAU] error: " + done.reason());
  }
}

// The local store is one setting, with a file in the documents as its mirror; the cloud's is the file.
void ZRAudioUnit::storePreset(const std::string& name, const PropertyListDictionary& state) {
  if (presetSource != kCloudLocation) {
    waitingPresets_.set(name, state);
    storeWaitingPresets();
    if (services_.directories.documents.empty()) return;
    std::error_code error;
    fs::create_directories(services_.directories.documents, error);
    const Outcome mirrored = writePropertyListFile(documentPathOf(name), state);
    if (!mirrored.ok()) log("[ZRAU] error while writing to disk: " + mirrored.reason());
    return;
  }
  const std::string path = cloudPathOf(name);
  if (path.empty()) return;
  const auto text = writePropertyList(state);
  const Outcome done = text.ok() ? cloud_->write(path, text.value()) : Outcome(text.failure());
  if (!done.ok()) log("[ZRAU] error while writing to disk: " + done.reason());
}

AUAudioUnitPreset ZRAudioUnit::writePresetWithName(const std::string& name, std::int64_t number) {
  AUAudioUnitPreset written{name, number};
  if (factoryPresetsInternal) factoryPresetsInternal->push_back(written);
  storePreset(name, fullStateForDocument());
  setCurrentPreset(written);
  return written;
}

AUAudioUnitPreset ZRAudioUnit::writePresetWithName(const std::string& name, std::int64_t number,
                                                   const PropertyListDictionary& date) {
  AUAudioUnitPreset written{name, number};
  if (factoryPresetsInternal) factoryPresetsInternal->push_back(written);
  setCurrentPreset(written);
  storePreset(name, date);
  return written;
}

void ZRAudioUnit::saveChangesToCurrentPreset() {
  if (preset) storePreset(preset->name, fullStateForDocument());
}

void ZRAudioUnit::deletePresetWithName(const std::string& name) {
  if (name.find(kFactoryMark) != std::string::npos) return;
  if (presetSource != kCloudLocation) {
    waitingPresets_.remove(name);
    storeWaitingPresets();
  } else if (const std::string path = cloudPathOf(name); !path.empty()) {
    if (const Outcome done = cloud_->remove(path); !done.ok()) log(lineOfCloudFailure(done.failure()));
  }
  if (!factoryPresetsInternal) return;
  const auto found = std::find_if(factoryPresetsInternal->begin(), factoryPresetsInternal->end(),
                                  [&](const AUAudioUnitPreset& each) { return each.name == name; });
  if (found != factoryPresetsInternal->end()) factoryPresetsInternal->erase(found);
}

std::optional<std::string> ZRAudioUnit::filePathForPreset(const AUAudioUnitPreset& wanted) const {
  if (presetSource == kCloudLocation) {
    const std::string path = cloudPathOf(wanted.name);
    return path.empty() ? std::nullopt : std::optional(path);
  }
  const std::string& resources = services_.directories.resources;
  const bool isFactory = presetIsFactoryPresett(wanted);
  if ((isFactory ? resources : services_.directories.documents).empty()) return std::nullopt;
  const std::string path = isFactory ? resources + "/" + kFactoryFolder + "/" + wanted.name + kPresetExtension
                                     : documentPathOf(wanted.name);
  std::error_code error;
  return fs::exists(path, error) ? std::optional(path) : std::nullopt;
}

}  // namespace morv
