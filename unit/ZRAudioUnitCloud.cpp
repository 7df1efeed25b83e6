// The cloud folder as the presets' storage.

#include <filesystem>
#include <utility>

#include "platform/PropertyList.h"
#include "unit/PresetNames.h"
#include "unit/ZRAudioUnit.h"

namespace morv {
namespace {

constexpr const char* kTokenKey = "org.morv.MORV.UbiquityIdentityToken";
constexpr double kReloadSeconds = 5.0;

std::string presetFolderOf(const std::string& container) { return container + "/Documents/Presets"; }

}  // namespace

bool ZRAudioUnit::iCloudIsAvailable() const {
  return cloud_ != nullptr && cloud_->identityToken().has_value();
}

std::string ZRAudioUnit::iCloudBaseFolder() const {
  const auto container = cloud_ != nullptr ? cloud_->path() : std::nullopt;
  return container ? presetFolderOf(*container) : std::string();
}

bool ZRAudioUnit::setStorageLocation(int location) {
  presetSource = location;
  if (!iCloudIsAvailable()) return false;
  if (location == kCloudLocation) {
    _initCloudStorage();
    _migrateToiCloud();
  }
  packPresetsInternal = {};
  factoryPresetsInternal.reset();
  didLoadPresetsFromDisk = false;
  factoryPresets();
  defaults().setInteger(kPresetStorageLocation, location);
  synchronize(defaults());
  return true;
}

void ZRAudioUnit::_initCloudStorage() {
  currentiCloudToken = cloud_ != nullptr ? cloud_->identityToken() : std::nullopt;
  log(std::string("[ZRAU] init iCloud with token: ") + kTokenKey);
  if (currentiCloudToken) {
    standardDefaults().setValue(kTokenKey, *currentiCloudToken);
  } else {
    standardDefaults().remove(kTokenKey);
  }
  if (cloud_ == nullptr) return;
  services_.backgroundQueue->post([cloud = cloud_, log = services_.log] {
    const auto container = cloud->path();
    if (!container) return;
    _createFolderIfNecesarry(*cloud, *container + "/Documents", log);
    _createFolderIfNecesarry(*cloud, presetFolderOf(*container), log);
  });
  iCloudQuery();
}

bool ZRAudioUnit::_createFolderIfNecesarry(const CloudContainer& cloud, const std::string& folder,
                                           const Log& log) {
  std::error_code error;
  if (std::filesystem::exists(folder, error)) return false;
  const Outcome made = cloud.makeFolder(folder);
  if (!made.ok() && log) {
    log(made.failure().isOfCoordination ? "[ZRAU] error while creating folder: " + made.reason()
                                        : "[ZRAU] error");
  }
  return made.ok();
}

bool ZRAudioUnit::_makeFolderWritable(const std::string& folder) const {
  constexpr auto kPermissions = static_cast<std::filesystem::perms>(777);
  std::error_code error;
  if (services_.fileCoordinator == nullptr || !std::filesystem::exists(folder, error)) return false;
  const Outcome done = services_.fileCoordinator->coordinateWriting(folder, [&]() -> Outcome {
    std::filesystem::permissions(folder, kPermissions, error);
    if (error) return Failure{error.message(), error.value()};
    return Done{};
  });
  if (!done.ok()) {
    log((done.failure().isOfCoordination ? "[ZRAU] error while creating folder: " : "[ZRAU] error ") +
        done.reason());
  }
  return done.ok();
}

std::string ZRAudioUnit::lineOfCloudFailure(const Failure& failure) {
  return (failure.isOfCoordination ? "[ZRAU] error: " : "[ZRAU] ERRO: ") + failure.reason;
}

// Watches the folder that is present now.
void ZRAudioUnit::iCloudQuery() {
  if (cloud_->isWatching()) return;
  const Outcome started =
      cloud_->startWatching([queue = services_.mainQueue, weak = std::weak_ptr<ZRAudioUnit*>(self_)] {
        queue->post([weak] {
          if (const auto self = weak.lock()) (*self)->iCloudDataChanged();
        });
      });
  if (!started.ok()) log("Query didn't start... for whatever reason");
}

void ZRAudioUnit::iCloudDataChanged() {
  log("iCloudData changed");
  mainQueue().cancel(cloudReload_);
  cloudReload_ = performAfter(kReloadSeconds, [this] { _reloadiCloudData(); });
}

// The old watch tells nothing of a folder that was chosen after it began, or that took the old one's name.
bool ZRAudioUnit::followCloudFolder() {
  if (presetSource != kCloudLocation || cloud_ == nullptr) return false;
  const bool isSame = cloud_->identityToken() == currentiCloudToken;
  if (isSame && (!currentiCloudToken || cloud_->isWatching())) return false;
  _initCloudStorage();
  return true;
}

void ZRAudioUnit::_reloadiCloudData() {
  followCloudFolder();
  factoryPresetsInternal.reset();
  didLoadPresetsFromDisk = false;
  factoryPresets();
}

// Copies what the local store holds to where the cloud has nothing of that name.
void ZRAudioUnit::_migrateToiCloud() {
  if (cloud_ == nullptr) return;
  services_.backgroundQueue->post(
      [cloud = cloud_, log = services_.log, presets = storedPresets(), settings = services_.sharedSettings] {
        const auto container = cloud->path();
        if (!container) return;
        const auto say = [&](const std::string& line) {
          if (log) log(line);
        };
        for (const auto& [name, state] : presets.entries()) {
          const std::string path = presetFolderOf(*container) + "/" + name + kPresetExtension;
          if (cloud->holds(path)) {
            say("[ZRAU] iCloud Preset exists, no need to migrate. " + path);
            continue;
          }
          const auto text = writePropertyList(state);
          const Outcome done = text.ok() ? cloud->write(path, text.value()) : Outcome(text.failure());
          if (!done.ok()) say(lineOfCloudFailure(done.failure()));
        }
        settings->setBool(kDidMigrateToCloud, true);
        if (const Outcome done = settings->synchronize(); !done.ok()) say("[ZRAU] error: " + done.reason());
      });
}

}  // namespace morv
