#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "platform/Export.h"
#include "platform/FileLock.h"
#include "platform/Result.h"

namespace morv {

// Keeps those who read, write or delete a file out of each other's way, in all threads and processes whose
// coordinators have the same lock folder: any number read at once, or one writes or deletes. Programs that
// know nothing of it, such as one that synchronises a folder, are not held back; against half-written files
// helps AtomicFile.h.
//
// The locks lie in a folder of their own, so that nothing strange appears beside the files; two paths may
// share one. Work that coordinates a second file therefore fails after `patience` if it is the same lock,
// instead of waiting for ever.
//
// Any thread but the render thread. Work runs on the calling thread and does not throw.
class MORV_EXPORT FileCoordinator {
 public:
  using Work = std::function<Outcome()>;
  static constexpr std::chrono::milliseconds kPatience{10000};

  // The lock folder is made when it is first needed.
  explicit FileCoordinator(std::string lockFolder, std::chrono::milliseconds patience = kPatience);

  // Runs the work while nobody writes or deletes the file, and gives what it gives; fails without running it,
  // and with the mark `isOfCoordination`, if the lock is not to be had.
  Outcome coordinateReading(const std::string& path, const Work& work) const;
  // The same for work that writes, replaces or deletes the file, while nobody else touches it.
  Outcome coordinateWriting(const std::string& path, const Work& work) const;

 private:
  Outcome coordinate(const std::string& path, FileLock::Mode mode, const Work& work) const;
  std::string lockOf(const std::string& path) const;

  std::string lockFolder_;
  std::chrono::milliseconds patience_;
};

}  // namespace morv
