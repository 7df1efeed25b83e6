#include "unit/GroupName.h"

#include <string_view>
#include <vector>

namespace morv {

std::string groupNameOfBundle(const std::string& bundleIdentifier) {
  constexpr std::string_view kCompany = "com.";
  constexpr std::string_view kGroup = "group.";
  std::string name = bundleIdentifier;
  for (auto at = name.find(kCompany); at != std::string::npos; at = name.find(kCompany, at)) {
    name.replace(at, kCompany.size(), kGroup);
    at += kGroup.size();
  }
  std::vector<std::string> pieces(1);
  for (const char each : name) {
    if (each == '.') {
      pieces.emplace_back();
    } else {
      pieces.back() += each;
    }
  }
  return pieces.size() > 2 ? std::string(kGroup) + pieces[1] + "." + pieces[2] : std::string();
}

}  // namespace morv
