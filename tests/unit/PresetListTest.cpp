// The list of presets and where their files lie, in local storage.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/PresetStoreFixture.h"
#include "tests/unit/StateWatchingUnit.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class PresetList : public PresetStore {
 protected:
  void rebuild() {
    around_.notifications.post("presetImportSucesfull");
    around_.wait(0.0);
  }
};

TEST_F(PresetList, ListsFactoryUserAndPackPresetsInNaturalOrder) {
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_Pad 10", around_.stateWithVolume(0.4)},
                                                           {"[USER]_Pad 9", around_.stateWithVolume(0.5)}});
  openWithPresets();

  EXPECT_THAT(namesOf(unit_->factoryPresets()),
              ElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PD_Cello", "[FACTORY]_PL_One", "[USER]_Pad 9",
                          "[USER]_Pad 10"));
}

TEST_F(PresetList, NumbersByTheOrderOfTheKeysAndAnewForPacks) {
  around_.suite.setValue("presets", PropertyListDictionary{{"[USER]_Z", around_.stateWithVolume(0.4)}});
  around_.addPackPreset("Strings", "[FACTORY]_PD_Viola", 0.3);
  openWithPresets();

  std::vector<std::pair<std::string, std::int64_t>> numbers;
  for (const auto& each : unit_->factoryPresets()) numbers.emplace_back(each.name, each.number);

  EXPECT_THAT(numbers, ElementsAre(std::pair("[FACTORY]_BS_Two", 1), std::pair("[FACTORY]_PD_Cello", 0),
                                   std::pair("[FACTORY]_PD_Viola", 1), std::pair("[FACTORY]_PL_One", 2),
                                   std::pair("[USER]_Z", 0)));
}

TEST_F(PresetList, CopiesFactoryFilesIntoTheSettingsAndTheyWin) {
  around_.suite.setValue("presets",
                         PropertyListDictionary{{"[FACTORY]_PL_One", around_.stateWithVolume(0.9)}});

  openWithPresets();

  EXPECT_EQ(storedVolume("[FACTORY]_PL_One"), 0.1);
  EXPECT_EQ(storedVolume("[FACTORY]_BS_Two"), 0.2);
  EXPECT_EQ(storedVolume("[FACTORY]_PD_Cello"), std::nullopt);
  const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
  EXPECT_NE(another.valueForKey("presets")->dictionary()->find("[FACTORY]_BS_Two"), nullptr);
}

TEST_F(PresetList, AFileThatIsNoPresetIsLoggedAndLeftOut) {
  std::filesystem::create_directories(around_.folder.path("resources/Factory Presets"));
  around_.folder.write("resources/Factory Presets/[FACTORY]_PL_Broken.aupreset",
                       std::string("<plist><dict><key>"));
  around_.folder.write("resources/Factory Presets/notes.txt", std::string("not a preset"));
  std::filesystem::create_directories(around_.folder.path("resources/Factory Presets/folder.aupreset"));

  openWithPresets();

  EXPECT_THAT(namesOf(unit_->factoryPresets()), testing::SizeIs(3));
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("Broken")));
}

TEST_F(PresetList, TellsOwnersBySubstring) {
  EXPECT_TRUE(ZRAudioUnit::presetIsFactoryPresett({"[FACTORY]_PL_One", 0}));
  EXPECT_TRUE(ZRAudioUnit::presetIsFactoryPresett({"Unmarked", 0}));
  EXPECT_FALSE(ZRAudioUnit::presetIsFactoryPresett({"My [USER] sound", 0}));
}

TEST_F(PresetList, KnowsWhereAPresetsFileLies) {
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

TEST_F(PresetList, RebuildsTheListWhenAnImportHasSucceeded) {
  openWithPresets();
  around_.addFactoryPreset("[FACTORY]_LD_New", 0.4);

  rebuild();

  EXPECT_THAT(namesOf(unit_->factoryPresets()), Contains("[FACTORY]_LD_New"));
}

TEST_F(PresetList, HasNoFileOfAFactoryPresetThatIsNotThere) {
  openWithPresets();
  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PL_Missing", 0}), std::nullopt);
  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PD_Cello", 0}), std::nullopt);

  around_.services.directories.resources.clear();
  open();

  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PL_One", 0}), std::nullopt);
}

TEST_F(PresetList, HasNoFileOfAUserPresetWithoutADocumentsFolder) {
  around_.services.directories.documents.clear();
  openWithPresets();
  // A name that leads from the root of the disk to a file which is there, through a folder named by the mark.
  around_.writeState("[USER]", "Stray", 0.1);
  const std::string stray = around_.folder.path("[USER]/Stray").substr(1);
  ASSERT_TRUE(std::filesystem::exists("/" + stray + ".aupreset"));

  EXPECT_EQ(unit_->filePathForPreset({stray, 0}), std::nullopt);
}

TEST_F(PresetList, HasNoFileOfAPresetWithoutMarksThoughItsDocumentIsThere) {
  openWithPresets();
  unit_->writePresetWithName("Unmarked", -1);
  ASSERT_TRUE(std::filesystem::exists(around_.documentOf("Unmarked")));

  EXPECT_EQ(unit_->filePathForPreset({"Unmarked", 0}), std::nullopt);
}

TEST_F(PresetList, ForgetsTheStatesOfPacksAtARebuild) {
  openWithPresets();
  StateWatchingUnit watching(around_.services);
  std::filesystem::remove(around_.folder.path("resources/Packs/Strings/[FACTORY]_PD_Cello.aupreset"));
  rebuild();

  watching.setCurrentPreset(AUAudioUnitPreset{"[FACTORY]_PD_Cello", 0});

  EXPECT_THAT(watching.taken, ElementsAre(kNoneMuted));
}

TEST_F(PresetList, TheLaterPackWinsAndBothAreListed) {
  around_.addPackPreset("Bows", "[FACTORY]_PD_Cello", 0.6);
  openWithPresets();  // with the pack "Strings"

  unit_->setCurrentPresetWithName("[FACTORY]_PD_Cello");

  EXPECT_EQ(volume(), 0.3F);
  const auto list = unit_->factoryPresets();
  EXPECT_THAT(namesOf(list), ElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PD_Cello", "[FACTORY]_PD_Cello",
                                         "[FACTORY]_PL_One"));
  EXPECT_EQ(list[1].number, 0);
  EXPECT_EQ(list[2].number, 1);
}

TEST_F(PresetList, AnUnreadableFileOfAPackIsLoggedAndLeftOut) {
  around_.addPackPreset("Strings", "[FACTORY]_PD_Viola", 0.3);
  around_.folder.write("resources/Packs/Strings/[FACTORY]_PD_Broken.aupreset", std::string("<plist><dict>"));
  around_.folder.write("resources/Packs/Strings/notes.txt", std::string("not a preset"));
  std::filesystem::create_directories(around_.folder.path("resources/Packs/Strings/folder.aupreset"));

  openWithPresets();

  const auto list = unit_->factoryPresets();
  EXPECT_THAT(namesOf(list), ElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PD_Cello", "[FACTORY]_PD_Viola",
                                         "[FACTORY]_PL_One"));
  EXPECT_EQ(list[2].number, 1);
  EXPECT_THAT(around_.loggedLines(), ElementsAre(HasSubstr("[FACTORY]_PD_Broken")));
}

TEST_F(PresetList, HoldsAPackPresetBesideAStoredOneOfItsName) {
  around_.suite.setValue("presets",
                         PropertyListDictionary{{"[FACTORY]_PD_Cello", around_.stateWithVolume(0.7)}});

  openWithPresets();

  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PD_Cello",
                                                            "[FACTORY]_PD_Cello", "[FACTORY]_PL_One"));
}

TEST_F(PresetList, StandsWithoutSettingsThatCanBeWritten) {
  around_.folder.write("config", std::string("a file where the folder should be"));

  openWithPresets();
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.625F);
  unit_->writePresetWithName("[USER]_A", -1);

  EXPECT_THAT(namesOf(unit_->factoryPresets()),
              ElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PD_Cello", "[FACTORY]_PL_One", "[USER]_A"));
  EXPECT_EQ(storedVolume("[FACTORY]_PL_One"), 0.1);
  EXPECT_EQ(storedVolume("[USER]_A"), 0.625);
  unit_->setCurrentPresetWithName("[FACTORY]_PL_One");
  EXPECT_EQ(volume(), 0.1F);
  EXPECT_TRUE(std::filesystem::exists(around_.documentOf("[USER]_A")));
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error: ")));
}

}  // namespace
}  // namespace morv
