// The list of presets, and how one becomes current.

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "platform/PropertyListFile.h"
#include "unit/NaturalOrder.h"
#include "unit/PresetNames.h"
#include "unit/ZRAudioUnit.h"

namespace morv {
namespace {

namespace fs = std::filesystem;

constexpr const char* kUserMark = "[USER]";
constexpr double kMutedSeconds = 0.5;
constexpr double kRandomTestSeconds = 1.0;

// Entries of a folder, by name; none if it cannot be listed.
std::vector<fs::path> entriesOf(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    entries.push_back(it->path());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

std::string presetNameOf(const fs::path& file) {
  std::string name = file.filename().string();
  if (name.ends_with(kPresetExtension)) name.resize(name.size() - std::string_view(kPresetExtension).size());
  return name;
}

bool isPresetFile(const fs::path& file) {
  std::error_code error;
  return file.extension() == kPresetExtension && !fs::is_directory(file, error);
}

// Numbers are cut to the width of places, and wrap.
std::int32_t placeBeside(const std::optional<AUAudioUnitPreset>& preset, std::int32_t step) {
  const auto number = static_cast<std::uint32_t>(preset ? preset->number : 0);
  return static_cast<std::int32_t>(number + static_cast<std::uint32_t>(step));
}

}  // namespace

bool ZRAudioUnit::presetIsFactoryPresett(const AUAudioUnitPreset& asked) {
  return asked.name.find(kUserMark) == std::string::npos;
}

std::optional<PropertyListDictionary> ZRAudioUnit::dataForPreset(const AUAudioUnitPreset& wanted) const {
  const PropertyListDictionary presets = storedPresets();
  const PropertyListValue* state = presets.find(wanted.name);
  if (state == nullptr || state->dictionary() == nullptr) return std::nullopt;
  return *state->dictionary();
}

std::vector<std::string> ZRAudioUnit::presetFilesPaths() const {
  std::vector<std::string> paths;
  if (presetSource == kCloudLocation) {
    const std::string folder = iCloudBaseFolder();
    if (folder.empty()) return paths;
    if (auto names = cloud_->list(folder)) paths = std::move(names).value();
    return paths;
  }
  if (services_.directories.resources.empty()) return paths;
  for (const fs::path& file : entriesOf(fs::path(services_.directories.resources) / kFactoryFolder)) {
    if (isPresetFile(file)) paths.push_back(file.string());
  }
  return paths;
}

std::optional<PropertyListDictionary> ZRAudioUnit::readPresetFile(const std::string& path) const {
  const auto value = readPropertyListFile(path);
  if (!value) {
    log("[ZRAU] error: " + value.reason());
    return std::nullopt;
  }
  if (value.value().dictionary() != nullptr) return *value.value().dictionary();
  log("[ZRAU] error: " + path + ": no dictionary");
  return std::nullopt;
}

void ZRAudioUnit::readPresetFiles(PropertyListDictionary* presets) {
  for (const std::string& entry : presetFilesPaths()) {
    const fs::path path =
        fs::path(entry).is_absolute() ? fs::path(entry) : fs::path(iCloudBaseFolder()) / entry;
    std::error_code error;
    if (!fs::exists(path, error) || fs::is_directory(path, error)) continue;
    if (auto state = readPresetFile(path.string())) presets->set(presetNameOf(path), std::move(*state));
  }
}

void ZRAudioUnit::readPacks() {
  packPresetsInternal = {};
  if (services_.directories.resources.empty()) return;
  std::int64_t number = 0;
  for (const fs::path& pack : entriesOf(fs::path(services_.directories.resources) / kPackFolder)) {
    for (const fs::path& file : entriesOf(pack)) {
      if (!isPresetFile(file)) continue;
      auto state = readPresetFile(file.string());
      if (!state) continue;
      const std::string name = presetNameOf(file);
      packPresetsInternal.set(name, std::move(*state));
      factoryPresetsInternal->push_back({name, number++});
    }
  }
}

std::vector<AUAudioUnitPreset> ZRAudioUnit::factoryPresets() {
  if (factoryPresetsInternal) return *factoryPresetsInternal;
  factoryPresetsInternal.emplace();
  PropertyListDictionary presets;
  if (!didLoadPresetsFromDisk) readPresetFiles(&presets);
  if (presetSource != kCloudLocation) {
    for (const auto& [name, state] : presets.entries()) waitingPresets_.set(name, *state.dictionary());
    storeWaitingPresets();
    presets = storedPresets();
  }
  std::int64_t number = 0;
  for (const auto& [name, state] : presets.entries()) factoryPresetsInternal->push_back({name, number++});
  readPacks();
  std::stable_sort(factoryPresetsInternal->begin(), factoryPresetsInternal->end(),
                   [](const AUAudioUnitPreset& a, const AUAudioUnitPreset& b) {
                     return isNaturallyBefore(a.name, b.name);
                   });
  return *factoryPresetsInternal;
}

void ZRAudioUnit::tellOfPreset(void (ZRAudioUnitDelegate::*tell)(ZRAudioUnit*, const AUAudioUnitPreset*)) {
  mainQueue().post([weak = std::weak_ptr<ZRAudioUnit*>(self_), told = preset, tell] {
    const auto self = weak.lock();
    ZRAudioUnitDelegate* listener = self ? (*self)->delegate() : nullptr;
    if (listener != nullptr) (listener->*tell)(*self, told ? &*told : nullptr);
  });
}

void ZRAudioUnit::applyLocalPreset(const std::string& name) {
  if (const auto state = dataForPreset({name, 0})) {
    setFullState(&*state);
    return;
  }
  const PropertyListValue* packed = packPresetsInternal.find(name);
  setFullState(packed != nullptr ? packed->dictionary() : nullptr);
}

void ZRAudioUnit::applyCloudPreset(const std::string& name) {
  const std::string path = cloudPathOf(name);
  if (path.empty()) return;
  if (const PropertyListValue* packed = packPresetsInternal.find(name)) {
    setFullState(packed->dictionary());
    return;
  }
  const Outcome done = services_.fileCoordinator->coordinateReading(path, [&]() -> Outcome {
    const auto state = readPresetFile(path);
    setFullState(state ? &*state : nullptr);
    return Done{};
  });
  if (!done.ok()) log("[ZRAU] error: " + done.reason());
}

void ZRAudioUnit::setCurrentPreset(const std::optional<AUAudioUnitPreset>& newPreset) {
  preset = newPreset;
  tellOfPreset(&ZRAudioUnitDelegate::audioUnitWillChangePreset);
  setIsMuted(true);
  if (!preset) {
    if (presetSource != kCloudLocation || !iCloudBaseFolder().empty()) setFullState(nullptr);
  } else if (presetSource != kCloudLocation) {
    applyLocalPreset(preset->name);
  } else {
    applyCloudPreset(preset->name);
  }
  tellOfPreset(&ZRAudioUnitDelegate::audioUnitDidChangePreset);
  performAfter(0.0, [this] { performAfter(kMutedSeconds, [this] { unmute(); }); });
  if (preset) {
    defaults().setString(kLastPreset, preset->name);
  } else {
    defaults().remove(kLastPreset);
  }
  synchronize(defaults());
}

// A negative index counts as a very great one.
void ZRAudioUnit::setCurrentPresetWithIndex(std::int32_t index) {
  const auto place = static_cast<std::uint64_t>(static_cast<std::int64_t>(index));
  std::optional<AUAudioUnitPreset> found;
  std::vector<AUAudioUnitPreset> list = factoryPresets();
  if (const Outcome fresh = defaults().refresh(); !fresh.ok()) log("[ZRAU] error: " + fresh.reason());
  if (defaults().integerForKey(kProgramChangeTarget) != 0) {
    const std::vector<std::string> favourites = defaults().stringsForKey(kFavourites);
    std::erase_if(list, [&](const AUAudioUnitPreset& each) {
      return std::find(favourites.begin(), favourites.end(), each.name) == favourites.end();
    });
    if (place < list.size()) found = list[place];
  } else if (place <= list.size()) {
    found = list.at(place);
  }
  setCurrentPreset(found);
}

void ZRAudioUnit::programChanged(std::int32_t program) {
  try {
    setCurrentPresetWithIndex(program);
  } catch (const std::out_of_range&) {
    log("[ZRAU] error: no preset at " + std::to_string(program));
  }
}

void ZRAudioUnit::setCurrentPresetWithName(const std::string& name) {
  if (!factoryPresetsInternal) return;
  for (const AUAudioUnitPreset& each : *factoryPresetsInternal) {
    if (each.name != name) continue;
    setCurrentPreset(AUAudioUnitPreset(each));
    return;
  }
}

void ZRAudioUnit::presetUp() { setCurrentPresetWithIndex(placeBeside(preset, 1)); }

void ZRAudioUnit::presetDown() { setCurrentPresetWithIndex(placeBeside(preset, -1)); }

void ZRAudioUnit::setRandomPreset() {
  const std::vector<AUAudioUnitPreset> list = factoryPresets();
  if (list.empty()) return;
  setCurrentPreset(list[static_cast<std::size_t>(random_.integer31()) % list.size()]);
}

void ZRAudioUnit::randomPresetTestTick() {
  setRandomPreset();
  startRandomPresetTest();
}

void ZRAudioUnit::startRandomPresetTest() {
  performAfter(kRandomTestSeconds, [this] { randomPresetTestTick(); });
}

}  // namespace morv
