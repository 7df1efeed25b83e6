// How the cloud folder is found, filled from the local store, and followed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <string>
#include <vector>

#include "tests/unit/PresetCloudFixture.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

class PresetMigration : public PresetCloudFixture {};

TEST_F(PresetMigration, MigratesWhatTheLocalStoreHolds) {
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

TEST_F(PresetMigration, LeavesWhatTheCloudHasAlready) {
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

TEST_F(PresetMigration, TheStoredLocationHoldsAtTheNextStart) {
  makeCloud();
  around_.suite.setInteger("presetStorageLocation", 1);
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_Mine", around_.stateWithVolume(0.7)}});

  open();
  around_.background.waitUntilIdle();

  EXPECT_TRUE(std::filesystem::exists(cloudFile("[USER]_Mine")));
  EXPECT_THAT(around_.loggedLines(),
              Contains("[ZRAU] init iCloud with token: org.morv.MORV.UbiquityIdentityToken"));
}

TEST_F(PresetMigration, AContainerThatHasGoneTakesItsTokenAlong) {
  around_.standard.setValue("org.morv.MORV.UbiquityIdentityToken", PropertyListValue::Data{1, 2});
  around_.suite.setInteger("presetStorageLocation", 1);

  open();

  EXPECT_FALSE(around_.standard.has("org.morv.MORV.UbiquityIdentityToken"));
  EXPECT_THAT(around_.loggedLines(), Contains("Query didn't start... for whatever reason"));
}

TEST_F(PresetMigration, MakesMissingFoldersOnly) {
  makeCloud();
  const CloudContainer cloud(around_.suite, around_.coordinator);
  const std::string folder = *cloud.path() + "/A/B";
  std::vector<std::string> lines;
  const auto log = [&](const std::string& line) { lines.push_back(line); };

  EXPECT_TRUE(PresetUnit::_createFolderIfNecesarry(cloud, folder, log));
  EXPECT_FALSE(PresetUnit::_createFolderIfNecesarry(cloud, folder, log));
  EXPECT_TRUE(std::filesystem::is_directory(folder));
  EXPECT_THAT(lines, testing::IsEmpty());

  around_.folder.write("cloud/file", std::string("x"));
  EXPECT_FALSE(PresetUnit::_createFolderIfNecesarry(cloud, *cloud.path() + "/file/C", log));
  around_.breakCoordination();
  EXPECT_FALSE(PresetUnit::_createFolderIfNecesarry(cloud, *cloud.path() + "/D", log));

  EXPECT_THAT(lines, ElementsAre("[ZRAU] error", StartsWith("[ZRAU] error while creating folder: ")));
}

TEST_F(PresetMigration, TheUnusedPermissionsCountInTens) {
  open();
  const std::string folder = around_.folder.path("writable");
  std::filesystem::create_directories(folder);

  EXPECT_TRUE(unit_->_makeFolderWritable(folder));
  EXPECT_FALSE(unit_->_makeFolderWritable(around_.folder.path("nowhere")));

  EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(folder).permissions()), 01411U);
  std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
  EXPECT_THAT(around_.loggedLines(), testing::IsEmpty());
  around_.breakCoordination();
  EXPECT_FALSE(unit_->_makeFolderWritable(folder));
  EXPECT_THAT(around_.loggedLines(), ElementsAre(StartsWith("[ZRAU] error while creating folder: ")));
}

TEST_F(PresetMigration, AChangeFromElsewhereRebuildsTheListFiveSecondsAfterTheLast) {
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

TEST_F(PresetMigration, RunsAgainAfterItHasRun) {
  makeCloud();
  around_.suite.setBool("didMigrateToCloud", true);
  open();
  unit_->writePresetWithName("[USER]_Mine", -1);

  moveToCloud();

  EXPECT_TRUE(std::filesystem::exists(cloudFile("[USER]_Mine")));
}

TEST_F(PresetMigration, LogsNamesThatCannotBeFilesAndBringsTheOthers) {
  makeCloud();
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_A/B", around_.stateWithVolume(0.1)},
                                                           {"[USER]_C", around_.stateWithVolume(0.2)}});
  open();

  moveToCloud();

  EXPECT_TRUE(std::filesystem::exists(cloudFile("[USER]_C")));
  EXPECT_THAT(around_.loggedLines(), Contains(StartsWith("[ZRAU] ERRO: ")));
  EXPECT_THAT(around_.loggedLines(), Not(Contains(StartsWith("[ZRAU] error: "))));
  EXPECT_TRUE(around_.suite.boolForKey("didMigrateToCloud"));
}

TEST_F(PresetMigration, LogsFilesThatCannotBeLockedWithALineOfTheirOwn) {
  makeCloud();
  std::filesystem::create_directories(around_.folder.path("cloud/Documents/Presets"));
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_C", around_.stateWithVolume(0.2)}});
  open();
  around_.breakCoordination();

  moveToCloud();

  EXPECT_FALSE(std::filesystem::exists(cloudFile("[USER]_C")));
  EXPECT_THAT(around_.loggedLines(), Contains(StartsWith("[ZRAU] error: ")));
  EXPECT_THAT(around_.loggedLines(), Not(Contains(StartsWith("[ZRAU] ERRO: "))));
  EXPECT_TRUE(around_.suite.boolForKey("didMigrateToCloud"));
}

TEST_F(PresetMigration, KeepsTheTokenOfTheContainer) {
  makeCloud();
  open();

  moveToCloud();

  const auto kept = around_.standard.valueForKey("org.morv.MORV.UbiquityIdentityToken");
  ASSERT_TRUE(kept);
  EXPECT_EQ(*kept, PropertyListValue(*CloudContainer(around_.suite, around_.coordinator).identityToken()));
}

TEST_F(PresetMigration, TurnsToAnotherFolderWhenTheSettingsNameOne) {
  makeCloud();
  open();
  moveToCloud();
  around_.writeState("other/Documents/Presets", "[USER]_Over there", 0.4);
  around_.suite.setString("cloudFolder", around_.folder.path("other"));

  around_.wait(0.0);
  around_.wait(5.1);
  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[USER]_Over there"));
  EXPECT_EQ(around_.standard.valueForKey("org.morv.MORV.UbiquityIdentityToken"),
            PropertyListValue(*CloudContainer(around_.suite, around_.coordinator).identityToken()));
  around_.background.waitUntilIdle();
  around_.forgetLog();
  around_.writeState("other/Documents/Presets", "[USER]_Later", 0.4);

  ASSERT_TRUE(waitForLine("iCloudData changed"));
  around_.wait(5.1);
  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[USER]_Later", "[USER]_Over there"));
}

TEST_F(PresetMigration, TurnsToAFolderThatComesAfterTheStart) {
  around_.suite.setInteger("presetStorageLocation", 1);
  open();
  makeCloud();

  around_.wait(0.0);
  around_.background.waitUntilIdle();

  EXPECT_TRUE(std::filesystem::is_directory(around_.folder.path("cloud/Documents/Presets")));
  around_.writeState("cloud/Documents/Presets", "[USER]_New", 0.4);
  around_.wait(5.1);
  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[USER]_New"));
}

TEST_F(PresetMigration, TurnsToANewFolderInTheOldOnesPlace) {
  makeCloud();
  open();
  moveToCloud();
  for (int i = 0; i < 3; ++i) around_.wait(0.0);  // no notice of a setting is left that would help
  around_.forgetLog();
  std::filesystem::rename(around_.folder.path("cloud"), around_.folder.path("away"));
  std::filesystem::create_directories(around_.folder.path("cloud"));

  ASSERT_TRUE(waitForLine("iCloudData changed"));
  ASSERT_TRUE(waitForLine("[ZRAU] init iCloud with token: org.morv.MORV.UbiquityIdentityToken", 6.0));
  around_.background.waitUntilIdle();
  around_.forgetLog();
  around_.writeState("cloud/Documents/Presets", "[USER]_New", 0.4);

  ASSERT_TRUE(waitForLine("iCloudData changed"));
  around_.wait(5.1);
  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[USER]_New"));
}

TEST_F(PresetMigration, InLocalModeStaysWithWhatItHas) {
  open();
  around_.forgetLog();
  makeCloud();

  around_.wait(0.0);
  around_.background.waitUntilIdle();

  EXPECT_TRUE(std::filesystem::is_empty(around_.folder.path("cloud")));
  EXPECT_THAT(around_.loggedLines(), testing::IsEmpty());
}

TEST_F(PresetMigration, KeepsTheLocationAndItsOwnEndOnTheDisk) {
  makeCloud();
  open();
  std::promise<void> begin;
  around_.background.post([&] { begin.get_future().wait(); });

  ASSERT_TRUE(unit_->setStorageLocation(1));

  {
    const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
    EXPECT_EQ(another.integerForKey("presetStorageLocation"), 1);
    EXPECT_FALSE(another.boolForKey("didMigrateToCloud"));
  }
  begin.set_value();
  around_.background.waitUntilIdle();
  const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
  EXPECT_TRUE(another.boolForKey("didMigrateToCloud"));
}

TEST_F(PresetMigration, StopsWithoutAContainer) {
  around_.suite.setInteger("presetStorageLocation", 1);
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_Mine", around_.stateWithVolume(0.7)}});

  open();
  around_.background.waitUntilIdle();

  EXPECT_FALSE(around_.suite.has("didMigrateToCloud"));
  EXPECT_FALSE(std::filesystem::exists("/Documents/Presets/[USER]_Mine.aupreset"));
}

}  // namespace
}  // namespace morv
