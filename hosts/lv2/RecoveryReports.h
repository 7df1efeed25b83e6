#pragma once

#include <string>
#include <vector>

namespace morv::lv2 {

// What the engines of this process have reported since the last call about state of theirs that was no number
// and was put back, a line each; whatever else waits to be printed is dropped. Any thread but a render
// thread.
std::vector<std::string> takeRecoveryReports();

}  // namespace morv::lv2
