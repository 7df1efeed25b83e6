#include "hosts/HostSurroundings.h"

#include <utility>

namespace morv {
namespace {

constexpr const char* kStandardSuite = "org.morv";      // of every program around the instrument
constexpr const char* kSharedSuite = "group.org.morv";  // what ZRAudioUnit::groupIdentifier names

}  // namespace

HostSurroundings::HostSurroundings(Directories directories, Log log)
    : directories_(std::move(directories)),
      log_(std::move(log)),
      standardSettings_(directories_.configuration, kStandardSuite, log_),
      sharedSettings_(directories_.configuration, kSharedSuite, log_),
      fileCoordinator_(directories_.locks) {}

AudioUnitServices HostSurroundings::services(MainQueue& queue, Log log) {
  AudioUnitServices services;
  services.standardSettings = &standardSettings_;
  services.sharedSettings = &sharedSettings_;
  services.mainQueue = &queue;
  services.backgroundQueue = &backgroundQueue_;
  services.notifications = &notifications_;
  services.fileCoordinator = &fileCoordinator_;
  services.directories = directories_;
  // That a unit begins is no news to a host, which has asked for it.
  services.log = [log = std::move(log)](const std::string& line) {
    if (log && !line.starts_with("Initializing ")) log(line);
  };
  return services;
}

}  // namespace morv
