#include "hosts/lv2/HostFeatures.h"

#include <cstdio>
#include <string_view>

namespace morv::lv2 {

HostFeatures::HostFeatures(const LV2_Feature* const* features) {
  for (; features != nullptr && *features != nullptr; ++features) {
    const std::string_view uri = (*features)->URI;
    if (uri == LV2_URID__map) map = static_cast<LV2_URID_Map*>((*features)->data);
    if (uri == LV2_WORKER__schedule) schedule = static_cast<const LV2_Worker_Schedule*>((*features)->data);
    if (uri == LV2_LOG__log) hostLog = static_cast<const LV2_Log_Log*>((*features)->data);
  }
  if (map == nullptr) return;
  logError_ = map->map(map->handle, LV2_LOG__Error);
  logTrace_ = map->map(map->handle, LV2_LOG__Trace);
}

void HostFeatures::traceRecoveries(std::uint32_t count) const noexcept {
  if (hostLog == nullptr) return;
  hostLog->printf(hostLog->handle, logTrace_,
                  "morv: state that was no number was put back, %u times so far\n", count);
}

void HostFeatures::log(const std::string& line) const {
  if (hostLog != nullptr) {
    hostLog->printf(hostLog->handle, logError_, "morv: %s\n", line.c_str());
  } else {
    std::fprintf(stderr, "morv: %s\n", line.c_str());
  }
}

}  // namespace morv::lv2
