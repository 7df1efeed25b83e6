#pragma once

#include <string>

#include "platform/CloudContainer.h"
#include "platform/Directories.h"
#include "platform/FileCoordinator.h"
#include "platform/PropertyListDictionary.h"
#include "platform/Result.h"
#include "platform/SettingsSuite.h"

namespace morv::cli {

// The presets that the user keeps, where every unit of this user finds them: in the settings suite, with
// files in the documents beside it, or, if the settings say so, in the cloud folder. One thread.
class UserPresets {
 public:
  explicit UserPresets(const std::string& suiteName, Directories directories = Directories::ofUser());

  // States by name; in local mode also the copies of factory presets that a unit has left in the suite.
  // Changes nothing on disk. A file that cannot be read is left out with a message.
  PropertyListDictionary all();
  // Whether a name is taken.
  bool holds(const std::string& name) const;
  // Keeps a preset, in the place of one of the same name. The reason names the file.
  Outcome add(const std::string& name, const PropertyListDictionary& state);
  // Where the file of a preset lies or would lie; empty without a cloud folder in cloud mode.
  std::string fileOf(const std::string& name) const;

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
