#pragma once

#include <memory>

#include "hosts/HostSurroundings.h"

namespace morv::lv2 {

// The user's settings, presets and folders, one set for all instances of the process; they end with the last
// one. Any thread.
std::shared_ptr<HostSurroundings> processSurroundings();

}  // namespace morv::lv2
