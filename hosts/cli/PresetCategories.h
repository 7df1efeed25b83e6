#pragma once

#include <string>
#include <utility>
#include <vector>

namespace morv::cli {

// The categories of presets: each a prefix, which stands between "_" in the names of its presets, and a
// title.
class PresetCategories {
 public:
  // Those of "Categories.plist" in the resources, or, without such a file, the built-in ones. These serve
  // with a warning for a file that cannot be read, too; an entry that is no text is left out with a warning.
  static PresetCategories of(const std::string& resources);

  // Title of the category that a preset belongs to by its name; empty without one.
  std::string titleFor(const std::string& presetName) const;
  // Its prefix; empty without one.
  std::string prefixFor(const std::string& presetName) const;
  // What is left of a name without its owner's mark and its prefix.
  std::string shortNameOf(const std::string& presetName) const;

  // Prefix and title of each.
  const std::vector<std::pair<std::string, std::string>>& entries() const noexcept { return entries_; }

 private:
  std::vector<std::pair<std::string, std::string>> entries_;
};

}  // namespace morv::cli
