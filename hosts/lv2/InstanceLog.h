#pragma once

#include <mutex>
#include <string>

#include "hosts/lv2/HostFeatures.h"

namespace morv::lv2 {

// The host's log as one instance of the plug-in may use it: what still runs in the background when the
// instance ends is no longer heard, since the host's log ends with it. Any thread but the render thread.
class InstanceLog {
 public:
  explicit InstanceLog(const HostFeatures& host) : host_(host) {}

  void log(const std::string& line) {
    const std::scoped_lock lock(mutex_);
    if (!hasEnded_) host_.log(line);
  }
  // Waits for a line that is under way.
  void end() {
    const std::scoped_lock lock(mutex_);
    hasEnded_ = true;
  }

 private:
  std::mutex mutex_;
  const HostFeatures host_;
  bool hasEnded_ = false;
};

}  // namespace morv::lv2
