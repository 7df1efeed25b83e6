#pragma once

#include <string>
#include <vector>

#include "platform/CloudContainer.h"
#include "platform/Directories.h"
#include "platform/FileCoordinator.h"
#include "platform/PropertyListDictionary.h"
#include "platform/Result.h"
#include "platform/SettingsSuite.h"
#include "unit/ZQ3Unit.h"

namespace morv::cli {

// The presets that the user keeps, where every unit of this user finds them: in the settings suite, with
// files in the documents beside it, or, if the settings say so, in the cloud folder. One thread.
class UserPresets {
 public:
  explicit UserPresets(const std::string& suiteName, Directories directories = Directories::ofUser());

  // States by name; in local mode also the copies of factory presets that a unit has left in the suite.
  // Changes nothing on disk. A file that cannot be read is left out with a message.
  PropertyListDictionary all() const;
  // The same names, and those of files that cannot be read, in the order of the store.
  std::vector<std::string> names() const;
  // One of these, checked as a preset's file is (PresetFile.h). The reason begins with the name or the file.
  Result<PropertyListDictionary> stateOf(const std::string& name, const ZQ3Unit& unit) const;
  // Whether the store has a preset of that name. A file in the documents alone is none.
  bool holds(const std::string& name) const;
  // Keeps a preset, in the place of one of the same name. The reason names the file.
  Outcome add(const std::string& name, const PropertyListDictionary& state);
  // Where the file of a preset lies or would lie; empty without a cloud folder in cloud mode.
  std::string fileOf(const std::string& name) const;
  // The file that holds the state of a preset; empty if the settings do.
  std::string storeFileOf(const std::string& name) const;

 private:
  bool isInCloud() const;
  std::string cloudFolder() const;
  PropertyListDictionary stored() const;
  Outcome addToCloud(const std::string& path, const PropertyListDictionary& state);

  const Directories directories_;
  SettingsSuite suite_;
  FileCoordinator coordinator_;
  CloudContainer cloud_;
};

}  // namespace morv::cli
