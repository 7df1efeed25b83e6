#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include "unit/ZRMidiMapper.h"

namespace morv::lv2 {

// The mapper of one instance of the plug-in. A mapper moves the parameters of one unit; the process's own
// would take each controller to the unit made last, whichever instance it came to. The table is still one for
// all: it lies in one file, and each instance takes it up anew when another one has learned.
//
// Threads as for any mapper.
class InstanceMapper final : public ZRMidiMapper {
 public:
  // `moved` hears that a controller has moved its parameter, on the thread that brought the controller.
  InstanceMapper(MidiMapperServices services, std::function<void()> moved)
      : ZRMidiMapper(std::move(services)), moved_(std::move(moved)) {}

  bool handleMidiCC(int controller, int withData, int onChannel) override {
    const bool wasLearning = isWaitingForMapping();
    const bool isUsed = ZRMidiMapper::handleMidiCC(controller, withData, onChannel);
    if (isUsed && wasLearning) ownNotices_.fetch_add(1);
    if (isUsed && !wasLearning) moved_();
    return isUsed;
  }
  // For each notice of a changed table that comes in. What this mapper has learned itself it knows, even if
  // the file could not be written.
  void tableHasChanged() {
    int own = ownNotices_.load();
    while (own > 0) {
      if (ownNotices_.compare_exchange_weak(own, own - 1)) return;
    }
    reloadMapping();
  }

 private:
  const std::function<void()> moved_;
  std::atomic<int> ownNotices_{0};  // on their way
};

}  // namespace morv::lv2
