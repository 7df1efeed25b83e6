#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/BackgroundQueue.h"
#include "platform/Directories.h"
#include "platform/FileCoordinator.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/SettingsStore.h"

namespace morv {

class ZRMidiMapper;

// What a unit asks of its surroundings. They belong to whoever makes the unit and outlive it; several units
// may share them.
struct AudioUnitServices {
  SettingsStore* standardSettings = nullptr;  // of the program
  SettingsStore* sharedSettings = nullptr;    // of the suite that unit and view share
  MainQueue* mainQueue = nullptr;
  BackgroundQueue* backgroundQueue = nullptr;
  NotificationCenter* notifications = nullptr;
  FileCoordinator* fileCoordinator = nullptr;
  Directories directories{};
  std::shared_ptr<ZRMidiMapper> midiMapper{};  // of the process; without one no controller moves a parameter
  // Takes lines for the log, without a line's end; may be none. Main thread and background queue.
  std::function<void(const std::string& line)> log{};
};

}  // namespace morv
