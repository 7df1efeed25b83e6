#pragma once

#include <stdlib.h>

#include "tests/hosts/TemporaryFolder.h"

namespace morv {

// Folders of a program's own in the place of the user's, gone with it, so that a measurement neither reads
// nor changes the user's presets and settings. Made before anything asks where the user's folders lie.
class OwnHome {
 public:
  OwnHome() {
    for (const char* name :
         {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_DOCUMENTS_DIR", "XDG_CACHE_HOME", "HOME"}) {
      setenv(name, folder_.path(name).c_str(), 1);
    }
  }

 private:
  const TemporaryFolder folder_;
};

}  // namespace morv
