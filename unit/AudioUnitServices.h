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

// What a unit asks of its surroundings: a set of its own for each unit, or objects that several share. The
// objects belong to whoever makes the unit. They end in this order: the units, then the background queue,
// then all others. Nothing of a unit is under way in shared settings or notifications once the unit is gone,
// so a main queue of its own may end right behind it. For what a unit has left with the background queue uses
// its settings, its file coordinator and its log, and the queue runs all of it before its destructor returns.
// A host that holds everything in one object declares the queue behind the others and the unit behind the
// queue.
//
// The MIDI mapper is the process's own, and outlives every set: a unit lends it its standard settings,
// notifications, folders and log, and takes them back when it goes. Units of different sets may come and go
// in any order, on any threads.
struct AudioUnitServices {
  SettingsStore* standardSettings = nullptr;    // of the program; needed
  SettingsStore* sharedSettings = nullptr;      // of the suite that unit and view share; needed
  MainQueue* mainQueue = nullptr;               // needed
  BackgroundQueue* backgroundQueue = nullptr;   // without it and the file coordinator there is no cloud
  NotificationCenter* notifications = nullptr;  // may be none
  FileCoordinator* fileCoordinator = nullptr;   // may be none
  Directories directories{};
  // Another mapper than the process's, with services of its own that outlive it. None: the process's.
  std::shared_ptr<ZRMidiMapper> midiMapper{};
  // Takes lines for the log, without a line's end; may be none. Main thread, background queue, and the main
  // threads of other units, through the mapper.
  std::function<void(const std::string& line)> log{};
};

}  // namespace morv
