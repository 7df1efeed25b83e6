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

AudioUnitServices HostSurroundings::services(MainQueue& queue) {
  AudioUnitServices services;
  services.standardSettings = &standardSettings_;
  services.sharedSettings = &sharedSettings_;
  services.mainQueue = &queue;
  services.backgroundQueue = &backgroundQueue_;
  services.notifications = &notifications_;
  services.fileCoordinator = &fileCoordinator_;
  services.directories = directories_;
  services.log = log_;
  return services;
}

}  // namespace morv
