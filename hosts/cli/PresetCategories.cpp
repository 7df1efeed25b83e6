#include "hosts/cli/PresetCategories.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "hosts/cli/Terminal.h"
#include "platform/PropertyListFile.h"

namespace morv::cli {
namespace {

constexpr std::string_view kSeparator = "_";

std::string mark(const std::string& prefix) { return "_" + prefix + "_"; }

}  // namespace

PresetCategories PresetCategories::of(const std::string& resources) {
  PresetCategories categories;
  if (!resources.empty()) {
    const std::string path = resources + "/Categories.plist";
    const auto file = readPropertyListFile(path);
    if (file && file->dictionary() != nullptr) {
      for (const auto& [prefix, title] : file->dictionary()->entries()) {
        if (title.string() != nullptr) {
          categories.entries_.emplace_back(prefix, *title.string());
        } else {
          std::string remark = path;
          remark.append(": the title of '").append(prefix).append("' is no text");
          warn(remark);
        }
      }
      return categories;
    }
    if (file) {
      warn(path + ": no dictionary; the built-in categories serve");
    } else if (file.failure().systemError != ENOENT) {
      warn(file.reason() + "; the built-in categories serve");
    }
  }
  categories.entries_ = {{"ALL", "All"},        {"PL", "Poly"},        {"LD", "Lead"},
                         {"BS", "Bass"},        {"PD", "Pad"},         {"RT", "Rhythmic"},
                         {"AT", "Atmospheric"}, {"INIT", "Templates"}, {"USER", "User"}};
  return categories;
}

std::string PresetCategories::prefixFor(const std::string& presetName) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
    return presetName.find(mark(entry.first)) != std::string::npos;
  });
  return found == entries_.end() ? std::string() : found->first;
}

std::string PresetCategories::titleFor(const std::string& presetName) const {
  const std::string prefix = prefixFor(presetName);
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const auto& entry) { return entry.first == prefix; });
  return found == entries_.end() ? std::string() : found->second;
}

std::string PresetCategories::shortNameOf(const std::string& presetName) const {
  std::string rest = presetName;
  for (const std::string_view owner : {"[FACTORY]", "[USER]"}) {
    if (rest.starts_with(owner)) rest = rest.substr(owner.size());
  }
  const std::string prefix = prefixFor(presetName);
  if (!prefix.empty() && rest.starts_with(mark(prefix))) return rest.substr(mark(prefix).size());
  return rest.starts_with(kSeparator) ? rest.substr(kSeparator.size()) : rest;
}

}  // namespace morv::cli
