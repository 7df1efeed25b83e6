// What the presets do when the cloud folder or its files do not serve.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "tests/unit/PresetCloudFixture.h"
#include "tests/unit/StateWatchingUnit.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class PresetCloudFailures : public PresetCloudFixture {};

TEST_F(PresetCloudFailures, WithoutAContainerTheLocationChangesAndNothingElse) {
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  around_.addPackPreset("Strings", "[FACTORY]_PD_Cello", 0.3);
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
  unit_->setCurrentPresetWithName("[FACTORY]_PD_Cello");
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PD_Cello");
  EXPECT_EQ(volume(), 0.9F);
  EXPECT_EQ(unit_->filePathForPreset({"[FACTORY]_PL_One", 0}), std::nullopt);
}

TEST_F(PresetCloudFailures, WithoutAContainerGoingBackStoresNothingEither) {
  open();
  ASSERT_FALSE(unit_->setStorageLocation(1));
  around_.addFactoryPreset("[FACTORY]_PL_Late", 0.1);

  EXPECT_FALSE(unit_->setStorageLocation(0));

  EXPECT_FALSE(around_.suite.has("presetStorageLocation"));
  EXPECT_THAT(namesOf(unit_->factoryPresets()), Not(Contains("[FACTORY]_PL_Late")));
  unit_->writePresetWithName("[USER]_A", -1);
  EXPECT_TRUE(unit_->dataForPreset({"[USER]_A", 0}).has_value());
}

TEST_F(PresetCloudFailures, ADamagedFileIsLoggedAndLeavesTheSound) {
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

TEST_F(PresetCloudFailures, AnUnreadableFileReachesTheStateAsNone) {
  makeCloud();
  around_.folder.write("damaged", std::string("<?xml version"));
  StateWatchingUnit unit(around_.services);
  ASSERT_TRUE(unit.setStorageLocation(1));
  around_.background.waitUntilIdle();
  std::filesystem::copy_file(around_.folder.path("damaged"), cloudFile("[USER]_Half"));

  unit.setCurrentPreset(AUAudioUnitPreset{"[USER]_Half", 0});
  unit.setCurrentPreset(AUAudioUnitPreset{"[USER]_Missing", 0});

  EXPECT_THAT(unit.taken, ElementsAre(kNoneMuted, kNoneMuted));
}

TEST_F(PresetCloudFailures, AFileThatCannotBeLockedForReadingIsLoggedAndNotApplied) {
  makeCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_A", 0.4);
  StateWatchingUnit unit(around_.services);
  ASSERT_TRUE(unit.setStorageLocation(1));
  around_.background.waitUntilIdle();
  around_.forgetLog();
  around_.breakCoordination();

  unit.setCurrentPresetWithName("[USER]_A");

  EXPECT_THAT(unit.taken, IsEmpty());
  EXPECT_THAT(around_.loggedLines(), ElementsAre(StartsWith("[ZRAU] error: ")));
}

TEST_F(PresetCloudFailures, AFileThatCannotBeWrittenOrLockedIsLoggedAndItsPresetListed) {
  makeCloud();
  open();
  moveToCloud();

  unit_->writePresetWithName("[USER]_A/B", -1);
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error while writing to disk: ")));
  around_.forgetLog();
  around_.breakCoordination();
  unit_->writePresetWithName("[USER]_C", -1);

  EXPECT_THAT(around_.loggedLines(),
              ElementsAre(HasSubstr("[ZRAU] error while writing to disk: "), HasSubstr("[ZRAU] error: ")));
  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[USER]_A/B", "[USER]_C"));
}

TEST_F(PresetCloudFailures, DeletingAFileThatIsNotThereIsLoggedAndTakesItsPresetFromTheList) {
  makeCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_Gone", 0.6);
  open();
  moveToCloud();
  std::filesystem::remove(cloudFile("[USER]_Gone"));
  around_.forgetLog();

  unit_->deletePresetWithName("[USER]_Gone");

  EXPECT_THAT(around_.loggedLines(), ElementsAre(StartsWith("[ZRAU] ERRO: ")));
  EXPECT_THAT(unit_->factoryPresets(), IsEmpty());
}

TEST_F(PresetCloudFailures, AFileThatCannotBeLockedForDeletingHasALineOfItsOwn) {
  makeCloud();
  around_.writeState("cloud/Documents/Presets", "[USER]_Kept", 0.6);
  open();
  moveToCloud();
  around_.forgetLog();
  around_.breakCoordination();

  unit_->deletePresetWithName("[USER]_Kept");

  EXPECT_THAT(around_.loggedLines(), ElementsAre(StartsWith("[ZRAU] error: ")));
  EXPECT_TRUE(std::filesystem::exists(cloudFile("[USER]_Kept")));
  EXPECT_THAT(unit_->factoryPresets(), IsEmpty());
}

TEST_F(PresetCloudFailures, AFailedListingGivesNoFiles) {
  makeCloud();
  around_.addPackPreset("Strings", "[FACTORY]_PD_Cello", 0.3);
  around_.writeState("cloud/Documents/Presets", "[USER]_A", 0.6);
  open();
  moveToCloud();
  std::filesystem::remove_all(around_.folder.path("cloud/Documents/Presets"));
  around_.folder.write("cloud/Documents/Presets", std::string("a file where the folder should be"));

  around_.notifications.post("presetImportSucesfull");
  around_.wait(0.0);

  EXPECT_THAT(unit_->presetFilesPaths(), IsEmpty());
  EXPECT_THAT(namesOf(unit_->factoryPresets()), ElementsAre("[FACTORY]_PD_Cello"));
}

}  // namespace
}  // namespace morv
