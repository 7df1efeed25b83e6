#include "hosts/lv2/RecoveryReports.h"

#include <mutex>
#include <string_view>

#include "platform/DiagnosticRing.h"

namespace morv::lv2 {
namespace {

constexpr std::string_view kMark = "[RECOVERY]";

std::mutex readers;  // the ring has one at a time

}  // namespace

std::vector<std::string> takeRecoveryReports() {
  const std::scoped_lock lock(readers);
  std::vector<std::string> reports;
  DiagnosticRing::Line line;
  while (DiagnosticRing::shared().take(&line)) {
    if (!std::string_view(line.format).starts_with(kMark)) continue;
    reports.push_back(DiagnosticRing::text(line));
    while (!reports.back().empty() && reports.back().back() == '\n') reports.back().pop_back();
  }
  return reports;
}

bool recoveryReportsNeedRoom() noexcept { return DiagnosticRing::shared().isHalfFull(); }

}  // namespace morv::lv2
