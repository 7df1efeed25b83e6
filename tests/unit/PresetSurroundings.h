#pragma once

// A unit among folders of its own: resources, documents, settings on disk, a cloud.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/PropertyListFile.h"
#include "platform/SettingsSuite.h"
#include "tests/hosts/TemporaryFolder.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {

class PresetUnit : public OpenUnit {
 public:
  explicit PresetUnit(const AudioUnitServices& services) : OpenUnit(services) {}
  using OpenUnit::_createFolderIfNecesarry;
  using OpenUnit::_makeFolderWritable;
};

class PresetSurroundings {
 public:
  PresetSurroundings()
      : suite(folder.path("config"), "group.org.morv"),
        coordinator(folder.path("locks")),
        services{.standardSettings = &standard,
                 .sharedSettings = &suite,
                 .mainQueue = &queue,
                 .backgroundQueue = &background,
                 .notifications = &notifications,
                 .fileCoordinator = &coordinator,
                 .directories = Directories::under(folder.path("user")),
                 .midiMapper = std::make_shared<ZRMidiMapper>(),
                 .log = [this](const std::string& line) {
                   const std::scoped_lock lock(logMutex);
                   log.push_back(line);
                 }} {
    services.directories.resources = folder.path("resources");
  }

  // A state that differs from others in one value.
  static PropertyListDictionary stateWithVolume(double volume) {
    return {{"parameters", PropertyListDictionary{{"morv", PropertyListDictionary{{"volume", volume}}}}}};
  }
  void addFactoryPreset(const std::string& name, double volume) const {
    writeState("resources/Factory Presets", name, volume);
  }
  void addPackPreset(const std::string& pack, const std::string& name, double volume) const {
    writeState("resources/Packs/" + pack, name, volume);
  }
  void writeState(const std::string& under, const std::string& name, double volume) const {
    std::filesystem::create_directories(folder.path(under));
    EXPECT_TRUE(
        writePropertyListFile(folder.path(under + "/" + name + ".aupreset"), stateWithVolume(volume)).ok());
  }
  // Turns the clock by some seconds.
  void wait(double seconds) {
    now_ += seconds;
    queue.runDue(now_);
  }
  std::string documentOf(const std::string& name) const {
    return services.directories.documents + "/" + name + ".aupreset";
  }
  void forgetLog() {
    const std::scoped_lock lock(logMutex);
    log.clear();
  }
  // Lets no lock of a file be had any more.
  void breakCoordination() const {
    std::filesystem::remove_all(folder.path("locks"));
    folder.write("locks", std::string("a file where the folder should be"));
  }
  // All but the line with which every unit begins.
  std::vector<std::string> loggedLines() {
    const std::scoped_lock lock(logMutex);
    std::vector<std::string> lines = log;
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("Initializing "); });
    return lines;
  }

  TemporaryFolder folder;
  SettingsStore standard;
  SettingsSuite suite;
  MainQueue queue;
  NotificationCenter notifications;
  FileCoordinator coordinator;
  std::mutex logMutex;
  std::vector<std::string> log;
  BackgroundQueue background;
  AudioUnitServices services;

 private:
  double now_ = 0;
};

inline std::vector<std::string> namesOf(const std::vector<AUAudioUnitPreset>& presets) {
  std::vector<std::string> names;
  for (const AUAudioUnitPreset& each : presets) names.push_back(each.name);
  return names;
}

}  // namespace morv
