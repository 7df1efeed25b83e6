#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/hosts/TemporaryFolder.h"
#include "tests/lv2/Lv2Host.h"

namespace morv::lv2 {

// A user of the test's own, whose folders go with the test, and the plug-in as the build tree has it.
class Lv2Fixture : public testing::Test {
 protected:
  Lv2Fixture() {
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_DOCUMENTS_DIR", "XDG_CACHE_HOME",
                             "XDG_RUNTIME_DIR", "HOME"}) {
      setenv(name, (folder_.path(name)).c_str(), 1);
    }
    EXPECT_NE(world_.plugin(), nullptr);
  }

  TemporaryFolder folder_;
  Lv2World world_;
};

}  // namespace morv::lv2
