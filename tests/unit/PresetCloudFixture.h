#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "tests/unit/PresetSurroundings.h"

namespace morv {

// A unit with a cloud folder in reach.
class PresetCloudFixture : public testing::Test {
 protected:
  void open() { unit_ = std::make_unique<PresetUnit>(around_.services); }
  void makeCloud() {
    std::filesystem::create_directories(around_.folder.path("cloud"));
    around_.suite.setString("cloudFolder", around_.folder.path("cloud"));
  }
  void moveToCloud() {
    ASSERT_TRUE(unit_->setStorageLocation(1));
    around_.background.waitUntilIdle();
  }
  std::string cloudFile(const std::string& name) {
    return std::filesystem::canonical(around_.folder.path("cloud")).string() + "/Documents/Presets/" + name +
           ".aupreset";
  }
  // Waits until the watch has told, at most ten seconds.
  // The unit's clock goes on by some seconds at each look.
  bool waitForLine(const std::string& wanted, double secondsPerLook = 0.0) {
    for (int i = 0; i < 1000; ++i) {
      around_.wait(secondsPerLook);
      for (const std::string& line : around_.loggedLines()) {
        if (line == wanted) return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
  float volume() { return unit_->parameterTree()->parameterForKeyPath("morv.volume")->value(); }

  PresetSurroundings around_;
  std::unique_ptr<PresetUnit> unit_;
};

}  // namespace morv
