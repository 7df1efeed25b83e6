#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/hosts/TemporaryFolder.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {

// One of several units in a process, as a host makes them: with all services of its own but for the folders.
struct UnitInstance {
  explicit UnitInstance(const std::string& folder) {
    services.directories = Directories::under(folder);
    services.log = [this](const std::string& line) { log.push_back(line); };
    services.notifications = &notifications;
  }
  SettingsStore standard;
  SettingsStore shared;
  MainQueue queue;
  NotificationCenter notifications;
  std::vector<std::string> log;
  AudioUnitServices services{.standardSettings = &standard, .sharedSettings = &shared, .mainQueue = &queue};
  std::unique_ptr<OpenUnit> unit;

  void open() { unit = std::make_unique<OpenUnit>(services); }
  void sendController(std::uint8_t controller, std::uint8_t value) {
    const std::array<std::uint8_t, 3> bytes{0xB0, controller, value};
    unit->midiMonitorBlock()(0, 0, 3, bytes.data());
    queue.runDue(0);
  }
  AUParameter& cutoff() const { return *unit->parameterTree()->parameterForKeyPath("morv.filterCutoff"); }
};

}  // namespace morv
