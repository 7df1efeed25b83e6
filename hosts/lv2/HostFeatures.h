#pragma once

#include <lv2/core/lv2.h>
#include <lv2/log/log.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <cstdint>
#include <string>

#include "platform/NonBlocking.h"

namespace morv::lv2 {

// What a host offers the plug-in; all but the map may be none.
struct HostFeatures {
  explicit HostFeatures(const LV2_Feature* const* features);

  // A line for the host's log, or, without one, for the standard error stream. Any thread but the render
  // thread.
  void log(const std::string& line) const;
  // That state was put back which was no number, so many times by now: a trace, which a host takes from the
  // render thread too. Nothing without a log.
  void traceRecoveries(std::uint32_t count) const noexcept MORV_NONBLOCKING;

  LV2_URID_Map* map = nullptr;
  const LV2_Worker_Schedule* schedule = nullptr;
  const LV2_Log_Log* hostLog = nullptr;

 private:
  LV2_URID logError_ = 0;
  LV2_URID logTrace_ = 0;
};

}  // namespace morv::lv2
