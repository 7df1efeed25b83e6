#pragma once

// A settings suite's file in a folder of the test's own.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/PropertyListFile.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv {

inline constexpr const char* kSuiteName = "group.morv";

class SettingsFileTest : public testing::Test {
 protected:
  std::string folder() const { return folder_.path("settings"); }
  std::string file() const { return folder() + "/group.morv.plist"; }
  PropertyListValue onDisk() const { return readPropertyListFile(file()).value(); }
  void put(const std::string& text) {
    std::filesystem::create_directories(folder());
    folder_.write("settings/group.morv.plist", text);
  }

  TemporaryFolder folder_;
};

}  // namespace morv
