// Presets whose storage is a folder that another program synchronises.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/unit/PresetCloudFixture.h"
#include "tests/unit/StateWatchingUnit.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class PresetCloud : public PresetCloudFixture {
 protected:
  void reload() {
    around_.notifications.post("presetImportSucesfull");
    around_.wait(0.0);
  }
};

TEST_F(PresetCloud, ListsTheFolderAlone) {
  makeCloud();
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  around_.addPackPreset("Strings", "[FACTORY]_PD_Cello", 0.3);
  open();
  unit_->writePresetWithName("[USER]_Mine", -1);
  moveToCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_From afar", 0.4);
  std::filesystem::remove(cloudFile("[FACTORY]_PL_One"));
  std::filesystem::remove(cloudFile("[USER]_Mine"));

  reload();

  ASSERT_EQ(around_.suite.valueForKey("presets")->dictionary()->size(), 2U);
  const auto list = unit_->factoryPresets();
  EXPECT_THAT(namesOf(list), ElementsAre("[FACTORY]_PD_Cello", "[USER]_From afar"));
  EXPECT_EQ(list[1].number, 0);
  EXPECT_THAT(unit_->presetFilesPaths(), ElementsAre("[USER]_From afar.aupreset"));
}

// A preset once came back from the local store, where the migration had found it.
TEST_F(PresetCloud, ADeletedPresetStaysAwayBehindAReload) {
  makeCloud();
  open();
  unit_->writePresetWithName("[USER]_Mine", -1);
  moveToCloud();
  reload();
  ASSERT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[USER]_Mine"));

  unit_->deletePresetWithName("[USER]_Mine");
  reload();

  EXPECT_THAT(unit_->factoryPresets(), testing::IsEmpty());
  EXPECT_TRUE(unit_->dataForPreset({"[USER]_Mine", 0}).has_value());
}

TEST_F(PresetCloud, WritesNothingOfTheFolderIntoTheSettings) {
  makeCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_From afar", 0.4);
  open();

  moveToCloud();

  EXPECT_FALSE(unit_->dataForPreset({"[USER]_From afar", 0}).has_value());
}

TEST_F(PresetCloud, ListsStatesWhoseFilesHaveNoEndingToo) {
  makeCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_A", 0.4);
  std::filesystem::rename(around_.folder.path("cloud/Documents/Presets/[USER]_A.aupreset"),
                          around_.folder.path("cloud/Documents/Presets/[USER]_B.plist"));
  around_.folder.write("cloud/Documents/Presets/notes.txt", std::string("not a preset"));
  open();

  moveToCloud();

  EXPECT_THAT(unit_->presetFilesPaths(), ElementsAre("[USER]_B.plist", "notes.txt"));
  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[USER]_B.plist"));
}

TEST_F(PresetCloud, WritesAppliesAndDeletesFiles) {
  makeCloud();
  std::filesystem::create_directories(around_.services.directories.documents);
  open();
  moveToCloud();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.375F);
  unit_->writePresetWithName("[USER]_Cloudy", -1);
  ASSERT_TRUE(std::filesystem::exists(cloudFile("[USER]_Cloudy")));
  EXPECT_FALSE(std::filesystem::exists(around_.documentOf("[USER]_Cloudy")));
  EXPECT_EQ(unit_->filePathForPreset({"[USER]_Cloudy", 0}), cloudFile("[USER]_Cloudy"));

  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.9F);
  unit_->setCurrentPresetWithName("[USER]_Cloudy");
  EXPECT_EQ(volume(), 0.375F);
  unit_->deletePresetWithName("[USER]_Cloudy");

  EXPECT_FALSE(std::filesystem::exists(cloudFile("[USER]_Cloudy")));
  EXPECT_THAT(namesOf(unit_->factoryPresets()), Not(Contains("[USER]_Cloudy")));
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
  StateWatchingUnit without(around_.services);
  EXPECT_FALSE(without.setStorageLocation(1));
  without.setCurrentPreset(std::nullopt);
  EXPECT_THAT(without.taken, testing::IsEmpty());
  EXPECT_TRUE(without.isMuted());
  makeCloud();
  StateWatchingUnit unit(around_.services);
  ASSERT_TRUE(unit.setStorageLocation(1));
  around_.background.waitUntilIdle();

  unit.setCurrentPreset(std::nullopt);

  EXPECT_THAT(unit.taken, ElementsAre(kNoneMuted));
}

TEST_F(PresetCloud, ReadsAndAppliesWhileNobodyMayWriteTheFile) {
  makeCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_A", 0.4);
  StateWatchingUnit unit(around_.services);
  ASSERT_TRUE(unit.setStorageLocation(1));
  around_.background.waitUntilIdle();
  const FileCoordinator another(around_.folder.path("locks"), std::chrono::milliseconds(0));
  bool isHeldBack = false;
  unit.onTake = [&] {
    const Outcome done = another.coordinateWriting(cloudFile("[USER]_A"), []() -> Outcome { return Done{}; });
    isHeldBack = !done.ok() && done.failure().isOfCoordination;
  };

  unit.setCurrentPresetWithName("[USER]_A");

  EXPECT_THAT(unit.taken, ElementsAre(kStateMuted));
  EXPECT_TRUE(isHeldBack);
}

TEST_F(PresetCloud, KnowsWhereAPresetsFileWouldLie) {
  makeCloud();
  open();
  moveToCloud();

  EXPECT_EQ(unit_->filePathForPreset({"[USER]_Nowhere", 0}), cloudFile("[USER]_Nowhere"));
  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_Nowhere", 0}), cloudFile("[FACTORY]_Nowhere"));
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

TEST_F(PresetCloud, GoingBackListsTheLocalStore) {
  makeCloud();
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  open();
  unit_->writePresetWithName("[USER]_Local", -1);
  moveToCloud();
  unit_->writePresetWithName("[USER]_Cloudy", -1);

  ASSERT_TRUE(unit_->setStorageLocation(0));

  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[FACTORY]_PL_One", "[USER]_Local"));
}

TEST_F(PresetCloud, AGivenStateIsWrittenBehindItsApplication) {
  makeCloud();
  open();
  moveToCloud();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.9F);

  unit_->writePresetWithName("[USER]_Import", 7, around_.stateWithVolume(0.125));

  EXPECT_EQ(volume(), 0.9F);
  EXPECT_EQ(unit_->currentPreset()->number, 7);
  EXPECT_FALSE(unit_->dataForPreset({"[USER]_Import", 0}).has_value());
  unit_->setCurrentPresetWithName("[USER]_Import");
  EXPECT_EQ(volume(), 0.125F);
}

TEST_F(PresetCloud, SaveOverwritesTheFileOfTheCurrentPreset) {
  makeCloud();
  open();
  moveToCloud();
  unit_->writePresetWithName("[USER]_Cloudy", -1);
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.375F);

  unit_->saveChangesToCurrentPreset();

  const auto written = readPropertyListFile(cloudFile("[USER]_Cloudy"));
  ASSERT_TRUE(written);
  EXPECT_EQ(*written->dictionary(), unit_->fullState());
  EXPECT_EQ(unit_->factoryPresets().size(), 1U);
  EXPECT_FALSE(unit_->dataForPreset({"[USER]_Cloudy", 0}).has_value());
}

TEST_F(PresetCloud, FoldersAreNoPresetsWhateverTheirNames) {
  makeCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_A", 0.6);
  std::filesystem::create_directories(around_.folder.path("cloud/Documents/Presets/[USER]_B.aupreset"));
  open();
  moveToCloud();

  EXPECT_THAT(unit_->presetFilesPaths(), ElementsAre("[USER]_A.aupreset", "[USER]_B.aupreset"));
  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[USER]_A"));
}

}  // namespace
}  // namespace morv
