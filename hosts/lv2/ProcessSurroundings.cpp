#include "hosts/lv2/ProcessSurroundings.h"

#include <cstdio>
#include <mutex>

#include "platform/Directories.h"

namespace morv::lv2 {

std::shared_ptr<HostSurroundings> processSurroundings() {
  static std::mutex mutex;
  static std::weak_ptr<HostSurroundings> shared;
  const std::scoped_lock lock(mutex);
  std::shared_ptr<HostSurroundings> surroundings = shared.lock();
  if (surroundings == nullptr) {
    Directories directories = Directories::ofUser();
    directories.resources = Directories::resourcesOfLibrary();
    surroundings = std::make_shared<HostSurroundings>(
        directories, [](const std::string& line) { std::fprintf(stderr, "morv: %s\n", line.c_str()); });
    shared = surroundings;
  }
  return surroundings;
}

}  // namespace morv::lv2
