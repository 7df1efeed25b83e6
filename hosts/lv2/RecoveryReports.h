#pragma once

#include <string>
#include <vector>

#include "platform/NonBlocking.h"

namespace morv::lv2 {

// What the engines of this process have reported since the last call about state of theirs that was no number
// and was put back, a line each; whatever else waits to be printed is dropped. Any thread but a render
// thread.
std::vector<std::string> takeRecoveryReports();

// Whether so much waits that a report may soon find no room, and it is time to take them. Any thread.
bool recoveryReportsNeedRoom() noexcept MORV_NONBLOCKING;

}  // namespace morv::lv2
