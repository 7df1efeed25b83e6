#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/BackgroundQueue.h"
#include "platform/Directories.h"
#include "platform/FileCoordinator.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/SettingsSuite.h"
#include "unit/AudioUnitServices.h"

namespace morv {

// What units ask of their surroundings (see AudioUnitServices), as a program of a user gives it: settings in
// this user's files, presets in his documents, one set for all units of the process. It outlives them all.
//
// Construction and destruction: one thread, with no unit about. `services`: any thread.
class HostSurroundings {
 public:
  // Gets what the surroundings and their units have to say, without a line's end. Any thread but the render
  // thread.
  using Log = std::function<void(const std::string& line)>;

  HostSurroundings(Directories directories, Log log);

  // For one unit, whose main queue the caller turns. No mapper is among them.
  AudioUnitServices services(MainQueue& queue) { return services(queue, log_); }
  // The same with a log of the unit's own.
  AudioUnitServices services(MainQueue& queue, Log log);

  SettingsSuite& standardSettings() noexcept { return standardSettings_; }
  SettingsSuite& sharedSettings() noexcept { return sharedSettings_; }
  NotificationCenter& notifications() noexcept { return notifications_; }
  const Directories& directories() const noexcept { return directories_; }

 private:
  const Directories directories_;
  const Log log_;
  SettingsSuite standardSettings_;
  SettingsSuite sharedSettings_;
  NotificationCenter notifications_;
  FileCoordinator fileCoordinator_;
  BackgroundQueue backgroundQueue_;  // ends first: what it still runs uses all above
};

}  // namespace morv
