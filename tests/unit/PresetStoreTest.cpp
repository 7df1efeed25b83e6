// The list of presets and how one becomes current, in local storage.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class TellingDelegate : public ZRAudioUnitDelegate {
 public:
  void audioUnitWillChangePreset(ZRAudioUnit* /*unit*/, const AUAudioUnitPreset* preset) override {
    told.push_back("will " + (preset != nullptr ? preset->name : "none"));
  }
  void audioUnitDidChangePreset(ZRAudioUnit* /*unit*/, const AUAudioUnitPreset* preset) override {
    told.push_back("did " + (preset != nullptr ? preset->name : "none"));
  }
  std::vector<std::string> told;
};

class PresetStore : public testing::Test {
 protected:
  void open() {
    unit_ = std::make_unique<PresetUnit>(around_.services);
    unit_->setDelegate(&delegate_);
  }
  // Two of the factory, one of a pack.
  void openWithPresets() {
    around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
    around_.addFactoryPreset("[FACTORY]_BS_Two", 0.2);
    around_.addPackPreset("Strings", "[FACTORY]_PD_Cello", 0.3);
    open();
  }
  float volume() { return unit_->parameterTree()->parameterForKeyPath("morv.volume")->value(); }
  std::optional<double> storedVolume(const std::string& name) {
    const auto state = unit_->dataForPreset({name, 0});
    if (!state) return std::nullopt;
    return state->find("parameters")->dictionary()->find("morv")->dictionary()->find("volume")->number();
  }

  PresetSurroundings around_;
  TellingDelegate delegate_;
  std::unique_ptr<PresetUnit> unit_;
};

TEST_F(PresetStore, ListsFactoryUserAndPackPresetsInNaturalOrder) {
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_Pad 10", around_.stateWithVolume(0.4)},
                                                           {"[USER]_Pad 9", around_.stateWithVolume(0.5)}});
  openWithPresets();

  EXPECT_THAT(namesOf(unit_->factoryPresets()),
              ElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PD_Cello", "[FACTORY]_PL_One", "[USER]_Pad 9",
                          "[USER]_Pad 10"));
}

TEST_F(PresetStore, NumbersByTheOrderOfTheKeysAndAnewForPacks) {
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_Z", around_.stateWithVolume(0.4)}});
  around_.addPackPreset("Strings", "[FACTORY]_PD_Viola", 0.3);
  openWithPresets();

  std::vector<std::pair<std::string, std::int64_t>> numbers;
  for (const auto& each : unit_->factoryPresets()) numbers.emplace_back(each.name, each.number);

  EXPECT_THAT(numbers, ElementsAre(std::pair("[FACTORY]_BS_Two", 1), std::pair("[FACTORY]_PD_Cello", 0),
                                   std::pair("[FACTORY]_PD_Viola", 1), std::pair("[FACTORY]_PL_One", 2),
                                   std::pair("[USER]_Z", 0)));
}

TEST_F(PresetStore, CopiesFactoryFilesIntoTheSettingsAndTheyWin) {
  around_.suite.setValue("presets",
                         PropertyListDictionary{{"[FACTORY]_PL_One", around_.stateWithVolume(0.9)}});

  openWithPresets();

  EXPECT_EQ(storedVolume("[FACTORY]_PL_One"), 0.1);
  EXPECT_EQ(storedVolume("[FACTORY]_BS_Two"), 0.2);
  EXPECT_EQ(storedVolume("[FACTORY]_PD_Cello"), std::nullopt);
  const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
  EXPECT_NE(another.valueForKey("presets")->dictionary()->find("[FACTORY]_BS_Two"), nullptr);
}

TEST_F(PresetStore, AFileThatIsNoPresetIsLoggedAndLeftOut) {
  std::filesystem::create_directories(around_.folder.path("resources/Factory Presets"));
  around_.folder.write("resources/Factory Presets/[FACTORY]_PL_Broken.aupreset",
                       std::string("<plist><dict><key>"));
  around_.folder.write("resources/Factory Presets/notes.txt", std::string("not a preset"));
  std::filesystem::create_directories(around_.folder.path("resources/Factory Presets/folder.aupreset"));

  openWithPresets();

  EXPECT_THAT(namesOf(unit_->factoryPresets()), testing::SizeIs(3));
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("Broken")));
}

TEST_F(PresetStore, AppliesAPresetMutedForHalfASecondAndTells) {
  openWithPresets();

  unit_->setCurrentPresetWithName("[FACTORY]_PL_One");

  EXPECT_EQ(volume(), 0.1F);
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PL_One");
  EXPECT_TRUE(unit_->isMuted());
  EXPECT_THAT(delegate_.told, IsEmpty());
  around_.wait(0.0);
  EXPECT_THAT(delegate_.told, ElementsAre("will [FACTORY]_PL_One", "did [FACTORY]_PL_One"));
  around_.wait(0.49);
  EXPECT_TRUE(unit_->isMuted());
  around_.wait(0.02);
  EXPECT_FALSE(unit_->isMuted());
  EXPECT_EQ(around_.suite.stringForKey("lastPreset"), "[FACTORY]_PL_One");
}

TEST_F(PresetStore, AppliesAPresetOfAPack) {
  openWithPresets();

  unit_->setCurrentPresetWithName("[FACTORY]_PD_Cello");

  EXPECT_EQ(volume(), 0.3F);
}

TEST_F(PresetStore, ANameThatIsNotThereChangesNothing) {
  openWithPresets();

  unit_->setCurrentPresetWithName("[FACTORY]_PL");

  EXPECT_FALSE(unit_->currentPreset().has_value());
  EXPECT_FALSE(unit_->isMuted());
}

TEST_F(PresetStore, AppliesByPlaceInTheList) {
  openWithPresets();

  unit_->setCurrentPresetWithIndex(2);

  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PL_One");
}

TEST_F(PresetStore, ThePlaceBehindTheLastRaisesAndThoseBeyondApplyNone) {
  openWithPresets();
  unit_->setCurrentPresetWithIndex(0);

  EXPECT_THROW(unit_->setCurrentPresetWithIndex(3), std::out_of_range);
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_BS_Two");
  unit_->setCurrentPresetWithIndex(4);
  EXPECT_FALSE(unit_->currentPreset().has_value());
  unit_->setCurrentPresetWithIndex(-1);

  EXPECT_FALSE(unit_->currentPreset().has_value());
  EXPECT_FALSE(around_.suite.has("lastPreset"));
  around_.wait(0.0);
  EXPECT_THAT(delegate_.told, ElementsAre("will [FACTORY]_BS_Two", "did [FACTORY]_BS_Two", "will none",
                                          "did none", "will none", "did none"));
}

TEST_F(PresetStore, AProgramChangeBehindTheLastIsLogged) {
  openWithPresets();

  unit_->postProgramChange(3);
  around_.wait(0.0);

  EXPECT_THAT(around_.loggedLines(), Contains("[ZRAU] error: no preset at 3"));
  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetStore, ProgramChangesMayGoByTheFavourites) {
  openWithPresets();
  around_.suite.setInteger("MIDIprogramChangeTarget", 1);
  around_.suite.setStrings("favs", {"[FACTORY]_PL_One", "[FACTORY]_PD_Cello"});

  unit_->postProgramChange(1);
  around_.wait(0.0);
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PL_One");
  unit_->postProgramChange(2);
  around_.wait(0.0);

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetStore, WithoutFavouritesEveryProgramChangeEndsInNone) {
  openWithPresets();
  around_.suite.setInteger("MIDIprogramChangeTarget", 2);

  unit_->setCurrentPresetWithIndex(0);

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetStore, UpAndDownGoByTheNumberOfTheCurrentPreset) {
  openWithPresets();
  unit_->setCurrentPresetWithName("[FACTORY]_BS_Two");  // number 0, as its file comes first

  unit_->presetUp();
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PD_Cello");  // place 1, whose own number is 0
  unit_->presetUp();
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PD_Cello");
  unit_->presetDown();

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetStore, UpFromNoneGoesToTheSecond) {
  openWithPresets();

  unit_->presetUp();

  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PD_Cello");
}

TEST_F(PresetStore, ChoosesAtRandomAmongAll) {
  openWithPresets();
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    unit_->setRandomPreset();
    seen.insert(unit_->currentPreset()->name);
  }

  EXPECT_EQ(seen.size(), 3U);
}

TEST_F(PresetStore, AnEmptyListHasNoRandomPreset) {
  open();

  unit_->setRandomPreset();

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetStore, TheRandomTestChangesThePresetEachSecond) {
  openWithPresets();
  unit_->startRandomPresetTest();
  around_.wait(0.9);
  EXPECT_FALSE(unit_->currentPreset().has_value());

  for (int i = 0; i < 4; ++i) around_.wait(1.0);

  EXPECT_TRUE(unit_->currentPreset().has_value());
  EXPECT_EQ(std::count_if(delegate_.told.begin(), delegate_.told.end(),
                          [](const std::string& line) { return line.starts_with("did "); }),
            3);  // the fourth waits to be told
}

TEST_F(PresetStore, SavesANewPresetAtTheEndOfTheListAndMakesItCurrent) {
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

TEST_F(PresetStore, SavingAnExistingNameReplacesItsStateAndListsItTwice) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", -1);
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.25F);

  unit_->writePresetWithName("[USER]_A", -1);

  EXPECT_EQ(storedVolume("[USER]_A"), 0.25);
  const auto names = namesOf(unit_->factoryPresets());
  EXPECT_EQ(std::count(names.begin(), names.end(), "[USER]_A"), 2);
}

TEST_F(PresetStore, AGivenStateIsStoredBehindItsApplication) {
  openWithPresets();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.5F);

  unit_->writePresetWithName("[USER]_Import", 7, around_.stateWithVolume(0.125));

  EXPECT_EQ(volume(), 0.5F);
  EXPECT_EQ(storedVolume("[USER]_Import"), 0.125);
  EXPECT_EQ(unit_->currentPreset()->number, 7);
  unit_->setCurrentPresetWithName("[USER]_Import");
  EXPECT_EQ(volume(), 0.125F);
}

TEST_F(PresetStore, SaveOverwritesTheCurrentPresetWhoeversItIs) {
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

TEST_F(PresetStore, SaveWithoutACurrentPresetDoesNothing) {
  openWithPresets();

  unit_->saveChangesToCurrentPreset();

  EXPECT_FALSE(std::filesystem::exists(around_.services.directories.documents));
}

TEST_F(PresetStore, DeletesAllButFactoryPresets) {
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

TEST_F(PresetStore, ADeletedCurrentPresetComesBackBySaving) {
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

TEST_F(PresetStore, TellsOwnersBySubstring) {
  EXPECT_TRUE(ZRAudioUnit::presetIsFactoryPresett({"[FACTORY]_PL_One", 0}));
  EXPECT_TRUE(ZRAudioUnit::presetIsFactoryPresett({"Unmarked", 0}));
  EXPECT_FALSE(ZRAudioUnit::presetIsFactoryPresett({"My [USER] sound", 0}));
}

TEST_F(PresetStore, KnowsWhereAPresetsFileLies) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", -1);

  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PL_One", 0}),
            around_.folder.path("resources/Factory Presets/[FACTORY]_PL_One.aupreset"));
  EXPECT_EQ(unit_->filePathForPreset({"[USER]_A", 0}), around_.documentOf("[USER]_A"));
  EXPECT_EQ(unit_->filePathForPreset({"[USER]_B", 0}), std::nullopt);
  EXPECT_THAT(unit_->presetFilesPaths(),
              ElementsAre(around_.folder.path("resources/Factory Presets/[FACTORY]_BS_Two.aupreset"),
                          around_.folder.path("resources/Factory Presets/[FACTORY]_PL_One.aupreset")));
}

TEST_F(PresetStore, RebuildsTheListWhenAnImportHasSucceeded) {
  openWithPresets();
  around_.addFactoryPreset("[FACTORY]_LD_New", 0.4);

  around_.notifications.post("presetImportSucesfull");
  around_.wait(0.0);

  EXPECT_THAT(namesOf(unit_->factoryPresets()), Contains("[FACTORY]_LD_New"));
}

TEST_F(PresetStore, WhatCannotBeWrittenStaysInTheListUntilTheNextRebuild) {
  openWithPresets();
  std::ofstream(around_.folder.path("user")) << "a file where the folder should be";

  unit_->writePresetWithName("[USER]_A", -1);

  EXPECT_THAT(namesOf(unit_->factoryPresets()), Contains("[USER]_A"));
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error while writing to disk: ")));
}

TEST_F(PresetStore, HasNoFileOfAFactoryPresetThatIsNotThere) {
  openWithPresets();
  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PL_Missing", 0}), std::nullopt);
  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PD_Cello", 0}), std::nullopt);

  around_.services.directories.resources.clear();
  open();

  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PL_One", 0}), std::nullopt);
}

TEST_F(PresetStore, AUnitThatGoesLeavesNothingWaiting) {
  openWithPresets();
  unit_->setCurrentPresetWithIndex(0);

  unit_.reset();
  around_.wait(1.0);
  around_.notifications.post("presetImportSucesfull");
  around_.wait(1.0);

  EXPECT_THAT(delegate_.told, IsEmpty());
}

}  // namespace
}  // namespace morv
