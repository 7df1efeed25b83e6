#include "hosts/player/MappingFile.h"

#include <charconv>
#include <cstdint>
#include <optional>

#include "platform/PropertyListFile.h"

namespace morv::player {
namespace {

constexpr std::int64_t kMappedToNothing = -1;

std::optional<int> controllerOf(const std::string& key) {
  constexpr int kGreatestController = 127;
  int controller = 0;
  const char* end = key.data() + key.size();
  const auto parsed = std::from_chars(key.data(), end, controller);
  if (parsed.ec != std::errc() || parsed.ptr != end || controller < 0) return std::nullopt;
  // The mapper's own table of a fresh start has keys beyond all controllers, mapped to nothing.
  return controller <= kGreatestController ? std::optional(controller) : std::nullopt;
}

}  // namespace

Result<std::map<int, std::uint64_t>> readMappingFile(const std::string& path) {
  const auto file = readPropertyListFile(path);
  if (!file) return file.failure();
  const PropertyListDictionary* entries = file.value().dictionary();
  if (entries == nullptr) return Failure{path + ": no dictionary of controllers"};
  std::map<int, std::uint64_t> table;
  std::map<std::uint64_t, std::string> controllers;
  const auto fault = [&path](const std::string& what) { return Failure{path + ": " + what}; };
  for (const auto& [key, value] : entries->entries()) {
    const auto address = value.integer();
    if (address && *address == kMappedToNothing) continue;
    const auto controller = controllerOf(key);
    if (!controller) return fault("'" + key + "' is no controller (0 to 127)");
    if (!address || *address < 0) return fault("controller " + key + " has no parameter address");
    const auto wanted = static_cast<std::uint64_t>(*address);
    const auto [other, isFirst] = controllers.emplace(wanted, key);
    if (!isFirst) {
      return fault("controllers " + other->second + " and " + key + " both move parameter " +
                   std::to_string(wanted));
    }
    table[*controller] = wanted;
  }
  return table;
}

}  // namespace morv::player
