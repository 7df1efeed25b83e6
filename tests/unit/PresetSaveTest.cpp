// Presets that are saved and deleted, in local storage.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "tests/unit/PresetStoreFixture.h"

namespace morv {
namespace {

using testing::Contains;
using testing::HasSubstr;

class PresetSave : public PresetStore {};

TEST_F(PresetSave, SavesANewPresetAtTheEndOfTheListAndMakesItCurrent) {
  around_.standard.setInteger("midiChannel", -1);  // as it is in a fresh unit
  openWithPresets();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.625F);

  const AUAudioUnitPreset saved = unit_->writePresetWithName("[USER]_A", -1);

  EXPECT_EQ(saved, (AUAudioUnitPreset{"[USER]_A", -1}));
  EXPECT_EQ(unit_->currentPreset(), saved);
  EXPECT_EQ(unit_->factoryPresets().back(), saved);
  EXPECT_EQ(storedVolume("[USER]_A"), 0.625);
  const auto mirrored = readPropertyListFile(around_.documentOf("[USER]_A"));
  ASSERT_TRUE(mirrored.ok());
  EXPECT_EQ(*mirrored.value().dictionary(), unit_->fullState());
}

TEST_F(PresetSave, SavingAnExistingNameReplacesItsStateAndListsItTwice) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", -1);
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.25F);

  unit_->writePresetWithName("[USER]_A", -1);

  EXPECT_EQ(storedVolume("[USER]_A"), 0.25);
  const auto names = namesOf(unit_->factoryPresets());
  EXPECT_EQ(std::count(names.begin(), names.end(), "[USER]_A"), 2);
}

TEST_F(PresetSave, AGivenStateIsStoredBehindItsApplication) {
  openWithPresets();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.5F);

  unit_->writePresetWithName("[USER]_Import", 7, around_.stateWithVolume(0.125));

  EXPECT_EQ(volume(), 0.5F);
  EXPECT_EQ(storedVolume("[USER]_Import"), 0.125);
  EXPECT_EQ(unit_->currentPreset()->number, 7);
  unit_->setCurrentPresetWithName("[USER]_Import");
  EXPECT_EQ(volume(), 0.125F);
}

TEST_F(PresetSave, SaveOverwritesTheCurrentPresetWhoeversItIs) {
  openWithPresets();
  unit_->setCurrentPresetWithName("[FACTORY]_PL_One");
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.75F);

  unit_->saveChangesToCurrentPreset();

  EXPECT_EQ(storedVolume("[FACTORY]_PL_One"), 0.75);
  EXPECT_EQ(unit_->factoryPresets().size(), 3U);
  unit_.reset();
  open();  // a rebuild: the file wins
  EXPECT_EQ(storedVolume("[FACTORY]_PL_One"), 0.1);
}

TEST_F(PresetSave, SaveWithoutACurrentPresetDoesNothing) {
  openWithPresets();

  unit_->saveChangesToCurrentPreset();

  EXPECT_FALSE(std::filesystem::exists(around_.services.directories.documents));
}

TEST_F(PresetSave, DeletesAllButFactoryPresets) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", -1);
  unit_->writePresetWithName("Unmarked", -1);

  unit_->deletePresetWithName("[FACTORY]_PL_One");
  unit_->deletePresetWithName("[USER]_A");
  unit_->deletePresetWithName("Unmarked");

  EXPECT_EQ(namesOf(unit_->factoryPresets()),
            (std::vector<std::string>{"[FACTORY]_BS_Two", "[FACTORY]_PD_Cello", "[FACTORY]_PL_One"}));
  EXPECT_EQ(storedVolume("[USER]_A"), std::nullopt);
  EXPECT_TRUE(std::filesystem::exists(around_.documentOf("[USER]_A")));
  EXPECT_EQ(unit_->currentPreset()->name, "Unmarked");
}

TEST_F(PresetSave, ADeletedCurrentPresetComesBackBySaving) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", -1);
  unit_->deletePresetWithName("[USER]_A");

  unit_->saveChangesToCurrentPreset();

  EXPECT_NE(storedVolume("[USER]_A"), std::nullopt);
  EXPECT_EQ(unit_->factoryPresets().size(), 3U);
  unit_.reset();
  open();
  EXPECT_THAT(namesOf(unit_->factoryPresets()), Contains("[USER]_A"));
}

TEST_F(PresetSave, WhatCannotBeWrittenStaysInTheListUntilTheNextRebuild) {
  openWithPresets();
  std::ofstream(around_.folder.path("user")) << "a file where the folder should be";

  unit_->writePresetWithName("[USER]_A", -1);

  EXPECT_THAT(namesOf(unit_->factoryPresets()), Contains("[USER]_A"));
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error while writing to disk: ")));
}

TEST_F(PresetSave, ARebuildListsANameThatWasSavedTwiceOnce) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", -1);
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.25F);
  unit_->writePresetWithName("[USER]_A", -1);

  around_.notifications.post("presetImportSucesfull");
  around_.wait(0.0);

  const auto names = namesOf(unit_->factoryPresets());
  EXPECT_EQ(std::count(names.begin(), names.end(), "[USER]_A"), 1);
  EXPECT_EQ(storedVolume("[USER]_A"), 0.25);
}

TEST_F(PresetSave, ANameWithASeparatorIsStoredAndItsFileGoesIntoAFolderThatIsThere) {
  openWithPresets();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.5F);

  unit_->writePresetWithName("[USER]_A/B", -1);

  EXPECT_EQ(storedVolume("[USER]_A/B"), 0.5);
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error while writing to disk: ")));
  EXPECT_EQ(unit_->filePathForPreset({"[USER]_A/B", 0}), std::nullopt);

  std::filesystem::create_directories(around_.services.directories.documents + "/[USER]_A");
  unit_->saveChangesToCurrentPreset();
  EXPECT_EQ(unit_->filePathForPreset({"[USER]_A/B", 0}),
            around_.services.directories.documents + "/[USER]_A/B.aupreset");
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.9F);
  unit_->setCurrentPresetWithName("[USER]_A/B");
  EXPECT_EQ(volume(), 0.5F);
}

TEST_F(PresetSave, DeletesNoneThatHasTheFactorysMarkAnywhereInItsName) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_My [FACTORY] sound", -1);

  unit_->deletePresetWithName("[USER]_My [FACTORY] sound");

  EXPECT_NE(storedVolume("[USER]_My [FACTORY] sound"), std::nullopt);
  EXPECT_THAT(namesOf(unit_->factoryPresets()), Contains("[USER]_My [FACTORY] sound"));
}

TEST_F(PresetSave, DeletesTheFirstOfTwoEqualEntriesAndKeepsTheFavouritesAndTheLastName) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", 5);
  unit_->writePresetWithName("[USER]_A", 6);
  around_.suite.setStrings("favs", {"[USER]_A", "[FACTORY]_PL_One"});

  unit_->deletePresetWithName("[USER]_A");

  const auto list = unit_->factoryPresets();
  ASSERT_EQ(list.size(), 4U);
  EXPECT_EQ(list.back(), (AUAudioUnitPreset{"[USER]_A", 6}));
  EXPECT_EQ(around_.suite.stringsForKey("favs"), (std::vector<std::string>{"[USER]_A", "[FACTORY]_PL_One"}));
  EXPECT_EQ(around_.suite.stringForKey("lastPreset"), "[USER]_A");
}

}  // namespace
}  // namespace morv
