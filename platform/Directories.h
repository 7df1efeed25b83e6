#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/Export.h"

namespace morv {

// Where things lie for one user. Whoever needs a folder is given these, so that tests put all of them into a
// folder of their own; none of them need exist. A plain value: any one thread at a time.
struct MORV_EXPORT Directories {
  std::string configuration;  // settings
  std::string data;           // mappings, samples and packs
  std::string documents;      // what the user saves and exports
  std::string locks;          // of FileCoordinator; may vanish with the user's session
  std::string resources;      // what comes with the library; empty if it is nowhere

  // Reads a variable of the environment; none if it is not set.
  using Lookup = std::function<std::optional<std::string>(const std::string& name)>;

  // The user's own, by the XDG Base Directory rules, each with "/morv" behind it: $XDG_CONFIG_HOME or
  // ~/.config, $XDG_DATA_HOME or ~/.local/share, and for the locks $XDG_RUNTIME_DIR or, where no session has
  // one, $XDG_CACHE_HOME or ~/.cache. The documents are "MORV" in $XDG_DOCUMENTS_DIR, in what user-dirs.dirs
  // in the configuration folder says, or in ~/Documents. Paths that are not absolute count as not set. Home
  // is $HOME, else what the system's user table says.
  static Directories ofUser();
  static Directories ofUser(const Lookup& environment);
  // All folders under one.
  static Directories under(const std::string& folder);

  // The folder of the library's own resources, found from where the library itself lies: "resources" beside
  // it (a bundle), "share/morv" one to three levels up (an installation), or "resources" three levels up (a
  // build in the source tree). Empty if none is there.
  static std::string resourcesOfLibrary();
  // The same for a library in the given folder.
  static std::string resourcesNear(const std::string& libraryFolder);
};

}  // namespace morv
