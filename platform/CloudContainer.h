#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/FileCoordinator.h"
#include "platform/FolderWatch.h"
#include "platform/PropertyListValue.h"
#include "platform/Result.h"
#include "platform/SettingsStore.h"

namespace morv {

// The user's cloud: a folder that some other program keeps the same on several machines. The setting
// `kFolderKey` names it by its absolute path; it is present as long as that folder is there, and absent
// otherwise. The setting is read at each call, so a change holds at once, except for a watch that runs.
//
// Files are named by their paths. Reading, writing and removing keeps out of the way of everything else of
// ours that uses the same lock folder, and files are replaced whole; the program that synchronises knows
// nothing of the locks, so a file that it is just bringing may be read half and has to be checked, as a
// property list is. A change is told when the file is complete.
//
// Any thread but the render thread, but the operations that watch from one thread alone, which is not the
// watch's.
class MORV_EXPORT CloudContainer {
 public:
  static constexpr const char* kFolderKey = "cloudFolder";

  // Both outlive the container.
  CloudContainer(const SettingsStore& settings, const FileCoordinator& coordinator)
      : settings_(settings), coordinator_(coordinator) {}

  // The folder, with symbolic links resolved; none if it is absent.
  std::optional<std::string> path() const;
  // Tells one cloud from another: the same bytes as long as the same folder is present, others for another,
  // none if it is absent.
  std::optional<PropertyListValue::Data> identityToken() const;
  // Whether something lies at the path, inside the folder.
  bool holds(const std::string& path) const;

  // The names in a folder, in ascending order, without what AtomicFile.h has under way.
  Result<std::vector<std::string>> list(const std::string& folder) const;
  // All bytes of a file of at most `limit` bytes; one that is not there is a failure with ENOENT.
  Result<std::string> read(const std::string& path, std::size_t limit) const;
  // Makes or replaces a file. Its folder has to be there.
  Outcome write(const std::string& path, std::string_view bytes) const;
  Outcome remove(const std::string& path) const;
  // Makes a folder with all folders above it, if it is not there.
  Outcome makeFolder(const std::string& path) const;

  // Calls the listener, on a thread of the watch, after each change below the folder, our own included;
  // FolderWatch.h says what counts. Ends a watch that runs. Fails if the folder is absent.
  Outcome startWatching(FolderWatch::Listener listener);
  // Whether a watch runs on the folder that is present now, and not on one that was chosen before or is gone.
  bool isWatching() const;
  // Waits for a call that is under way; none comes afterwards.
  void stopWatching() { watch_.reset(); }

 private:
  const SettingsStore& settings_;
  const FileCoordinator& coordinator_;
  std::unique_ptr<FolderWatch> watch_;
  std::string watchedFolder_;
};

}  // namespace morv
