#include "hosts/player/SessionState.h"

#include <cerrno>

#include "platform/AtomicFile.h"
#include "platform/PropertyListFile.h"

namespace morv::player {
namespace {

std::string fileOf(const std::string& path) { return path + "/state.plist"; }

}  // namespace

Result<std::optional<PropertyListDictionary>> readSessionState(const std::string& path) {
  const auto file = readPropertyListFile(fileOf(path));
  if (!file && file.failure().systemError == ENOENT) return std::optional<PropertyListDictionary>();
  if (!file) return file.failure();
  const PropertyListDictionary* state = file.value().dictionary();
  if (state == nullptr) return Failure{fileOf(path) + ": no dictionary"};
  return std::optional(*state);
}

Outcome writeSessionState(const std::string& path, const PropertyListDictionary& state) {
  if (Outcome made = makeFolder(path); !made.ok()) return made;
  return writePropertyListFile(fileOf(path), state);
}

}  // namespace morv::player
