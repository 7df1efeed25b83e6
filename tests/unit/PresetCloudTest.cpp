// Presets whose storage is a folder that another program synchronises.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Counts how often it was told to take no state.
class CountingUnit : public PresetUnit {
 public:
  using PresetUnit::PresetUnit;
  void setFullState(const PropertyListDictionary* state) override {
    emptyStates += state == nullptr ? 1 : 0;
    PresetUnit::setFullState(state);
  }
  int emptyStates = 0;
};

class PresetCloud : public testing::Test {
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
  bool waitForLine(const std::string& wanted) {
    for (int i = 0; i < 1000; ++i) {
      around_.wait(0.0);
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

TEST_F(PresetCloud, WithoutAContainerTheLocationChangesAndNothingElse) {
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  open();

  EXPECT_FALSE(unit_->iCloudIsAvailable());
  EXPECT_FALSE(unit_->setStorageLocation(1));

  EXPECT_FALSE(around_.suite.has("presetStorageLocation"));
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.9F);
  unit_->writePresetWithName("[USER]_Lost", -1);
  EXPECT_FALSE(unit_->dataForPreset({"[USER]_Lost", 0}).has_value());
  EXPECT_FALSE(std::filesystem::exists(around_.documentOf("[USER]_Lost")));
  EXPECT_THAT(namesOf(unit_->factoryPresets()), Contains("[USER]_Lost"));
  unit_->setCurrentPresetWithName("[FACTORY]_PL_One");
  EXPECT_EQ(volume(), 0.9F);
  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PL_One", 0}), std::nullopt);
}

TEST_F(PresetCloud, MigratesWhatTheLocalStoreHolds) {
  makeCloud();
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  open();
  unit_->writePresetWithName("[USER]_Mine", -1);

  moveToCloud();

  EXPECT_TRUE(std::filesystem::exists(cloudFile("[FACTORY]_PL_One")));
  EXPECT_TRUE(std::filesystem::exists(cloudFile("[USER]_Mine")));
  EXPECT_TRUE(around_.suite.boolForKey("didMigrateToCloud"));
  EXPECT_EQ(around_.suite.integerForKey("presetStorageLocation"), 1);
  EXPECT_TRUE(around_.standard.has("org.morv.MORV.UbiquityIdentityToken"));
}

TEST_F(PresetCloud, LeavesWhatTheCloudHasAlready) {
  makeCloud();
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  around_.writeState("cloud/Documents/Presets", "[FACTORY]_PL_One", 0.8);
  open();

  moveToCloud();
  unit_->setCurrentPresetWithName("[FACTORY]_PL_One");

  EXPECT_EQ(volume(), 0.8F);
  EXPECT_THAT(around_.loggedLines(),
              Contains("[ZRAU] iCloud Preset exists, no need to migrate. " + cloudFile("[FACTORY]_PL_One")));
}

TEST_F(PresetCloud, ListsTheFolderAlone) {
  makeCloud();
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  around_.addPackPreset("Strings", "[FACTORY]_PD_Cello", 0.3);
  open();
  moveToCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_From afar", 0.4);
  std::filesystem::remove(cloudFile("[FACTORY]_PL_One"));

  unit_.reset();
  std::filesystem::remove_all(around_.folder.path("resources/Factory Presets"));
  around_.suite.remove("presets");
  open();

  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[FACTORY]_PD_Cello", "[USER]_From afar"));
  EXPECT_THAT(unit_->presetFilesPaths(), ElementsAre("[USER]_From afar.aupreset"));
}

TEST_F(PresetCloud, WritesAppliesAndDeletesFiles) {
  makeCloud();
  open();
  moveToCloud();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.375F);
  unit_->writePresetWithName("[USER]_Cloudy", -1);
  ASSERT_TRUE(std::filesystem::exists(cloudFile("[USER]_Cloudy")));
  EXPECT_EQ(unit_->filePathForPreset({"[USER]_Cloudy", 0}), cloudFile("[USER]_Cloudy"));

  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.9F);
  unit_->setCurrentPresetWithName("[USER]_Cloudy");
  EXPECT_EQ(volume(), 0.375F);
  unit_->deletePresetWithName("[USER]_Cloudy");

  EXPECT_FALSE(std::filesystem::exists(cloudFile("[USER]_Cloudy")));
  EXPECT_THAT(namesOf(unit_->factoryPresets()), Not(Contains("[USER]_Cloudy")));
  EXPECT_FALSE(std::filesystem::exists(around_.documentOf("[USER]_Cloudy")));
}

TEST_F(PresetCloud, APackWinsOverAFileOfItsName) {
  makeCloud();
  around_.addPackPreset("Strings", "[FACTORY]_PD_Cello", 0.3);
  around_.writeState("cloud/Documents/Presets", "[FACTORY]_PD_Cello", 0.6);
  open();
  moveToCloud();

  unit_->setCurrentPresetWithName("[FACTORY]_PD_Cello");

  EXPECT_EQ(volume(), 0.3F);
}

TEST_F(PresetCloud, PresetNoneReachesTheStateWithAContainerAlone) {
  CountingUnit without(around_.services);
  EXPECT_FALSE(without.setStorageLocation(1));
  without.setCurrentPreset(std::nullopt);
  EXPECT_EQ(without.emptyStates, 0);
  makeCloud();
  CountingUnit unit(around_.services);
  ASSERT_TRUE(unit.setStorageLocation(1));
  around_.background.waitUntilIdle();

  unit.setCurrentPreset(std::nullopt);

  EXPECT_EQ(unit.emptyStates, 1);
}

TEST_F(PresetCloud, ADamagedFileIsLoggedAndLeavesTheSound) {
  makeCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_Half", 0.6);
  open();
  moveToCloud();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.9F);
  around_.folder.write("cloud/Documents/Presets/[USER]_Half.aupreset", std::string("<?xml version"));

  unit_->setCurrentPresetWithName("[USER]_Half");

  EXPECT_EQ(volume(), 0.9F);
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error: ")));
}

TEST_F(PresetCloud, AChangeFromElsewhereRebuildsTheListFiveSecondsAfterTheLast) {
  makeCloud();
  open();
  moveToCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_From afar", 0.4);
  ASSERT_TRUE(waitForLine("iCloudData changed"));
  around_.wait(4.0);
  unit_->iCloudDataChanged();
  around_.wait(4.9);
  EXPECT_THAT(namesOf(unit_->factoryPresets()), Not(Contains("[USER]_From afar")));

  around_.wait(0.2);

  EXPECT_THAT(namesOf(unit_->factoryPresets()), Contains("[USER]_From afar"));
}

TEST_F(PresetCloud, GoingBackLeavesTheFolder) {
  makeCloud();
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  open();
  moveToCloud();

  EXPECT_TRUE(unit_->setStorageLocation(0));

  EXPECT_TRUE(std::filesystem::exists(cloudFile("[FACTORY]_PL_One")));
  EXPECT_EQ(around_.suite.integerForKey("presetStorageLocation"), 0);
}

TEST_F(PresetCloud, TheStoredLocationHoldsAtTheNextStart) {
  makeCloud();
  around_.suite.setInteger("presetStorageLocation", 1);
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_Mine", around_.stateWithVolume(0.7)}});

  open();
  around_.background.waitUntilIdle();

  EXPECT_TRUE(std::filesystem::exists(cloudFile("[USER]_Mine")));
  EXPECT_THAT(around_.loggedLines(),
              Contains("[ZRAU] init iCloud with token: org.morv.MORV.UbiquityIdentityToken"));
}

TEST_F(PresetCloud, AContainerThatHasGoneTakesItsTokenAlong) {
  around_.standard.setValue("org.morv.MORV.UbiquityIdentityToken", PropertyListValue::Data{1, 2});
  around_.suite.setInteger("presetStorageLocation", 1);

  open();

  EXPECT_FALSE(around_.standard.has("org.morv.MORV.UbiquityIdentityToken"));
  EXPECT_THAT(around_.loggedLines(), Contains("Query didn't start... for whatever reason"));
}

TEST_F(PresetCloud, MakesMissingFoldersOnly) {
  makeCloud();
  const CloudContainer cloud(around_.suite, around_.coordinator);
  const std::string folder = *cloud.path() + "/A/B";
  std::vector<std::string> lines;
  const auto log = [&](const std::string& line) { lines.push_back(line); };

  EXPECT_TRUE(PresetUnit::_createFolderIfNecesarry(cloud, folder, log));
  EXPECT_FALSE(PresetUnit::_createFolderIfNecesarry(cloud, folder, log));
  around_.folder.write("cloud/file", std::string("x"));
  EXPECT_FALSE(PresetUnit::_createFolderIfNecesarry(cloud, *cloud.path() + "/file/C", log));

  EXPECT_TRUE(std::filesystem::is_directory(folder));
  EXPECT_THAT(lines, ElementsAre(HasSubstr("[ZRAU] error while creating folder: ")));
}

TEST_F(PresetCloud, TheUnusedPermissionsCountInTens) {
  open();
  const std::string folder = around_.folder.path("writable");
  std::filesystem::create_directories(folder);

  EXPECT_TRUE(unit_->_makeFolderWritable(folder));
  EXPECT_FALSE(unit_->_makeFolderWritable(around_.folder.path("nowhere")));

  EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(folder).permissions()), 01411U);
  std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
}

}  // namespace
}  // namespace morv
