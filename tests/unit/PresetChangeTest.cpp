// How a preset becomes current, in local storage.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

#include "tests/unit/PresetStoreFixture.h"
#include "tests/unit/StateWatchingUnit.h"

namespace morv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class PresetChange : public PresetStore {};

TEST_F(PresetChange, AppliesAPresetMutedForHalfASecondAndTells) {
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

TEST_F(PresetChange, AppliesAPresetOfAPack) {
  openWithPresets();

  unit_->setCurrentPresetWithName("[FACTORY]_PD_Cello");

  EXPECT_EQ(volume(), 0.3F);
}

TEST_F(PresetChange, ANameThatIsNotThereChangesNothing) {
  openWithPresets();

  unit_->setCurrentPresetWithName("[FACTORY]_PL");

  EXPECT_FALSE(unit_->currentPreset().has_value());
  EXPECT_FALSE(unit_->isMuted());
}

TEST_F(PresetChange, AppliesByPlaceInTheList) {
  openWithPresets();

  unit_->setCurrentPresetWithIndex(2);

  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PL_One");
}

TEST_F(PresetChange, ThePlaceBehindTheLastRaisesAndThoseBeyondApplyNone) {
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

TEST_F(PresetChange, AProgramChangeBehindTheLastIsLogged) {
  openWithPresets();

  unit_->postProgramChange(3);
  around_.wait(0.0);

  EXPECT_THAT(around_.loggedLines(), Contains("[ZRAU] error: no preset at 3"));
  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetChange, ProgramChangesMayGoByTheFavourites) {
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

TEST_F(PresetChange, WithoutFavouritesEveryProgramChangeEndsInNone) {
  openWithPresets();
  around_.suite.setInteger("MIDIprogramChangeTarget", 2);

  unit_->setCurrentPresetWithIndex(0);

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetChange, UpAndDownGoByTheNumberOfTheCurrentPreset) {
  openWithPresets();
  unit_->setCurrentPresetWithName("[FACTORY]_BS_Two");  // number 0, as its file comes first

  unit_->presetUp();
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PD_Cello");  // place 1, whose own number is 0
  unit_->presetUp();
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PD_Cello");
  unit_->presetDown();

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetChange, UpFromNoneGoesToTheSecond) {
  openWithPresets();

  unit_->presetUp();

  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PD_Cello");
}

TEST_F(PresetChange, ChoosesAtRandomAmongAll) {
  openWithPresets();
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    unit_->setRandomPreset();
    seen.insert(unit_->currentPreset()->name);
  }

  EXPECT_EQ(seen.size(), 3U);
}

TEST_F(PresetChange, AnEmptyListHasNoRandomPreset) {
  open();

  unit_->setRandomPreset();

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetChange, TheRandomTestChangesThePresetEachSecond) {
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

TEST_F(PresetChange, AUnitThatGoesLeavesNothingWaiting) {
  openWithPresets();
  unit_->setCurrentPresetWithIndex(0);

  unit_.reset();
  around_.wait(1.0);
  around_.notifications.post("presetImportSucesfull");
  around_.wait(1.0);

  EXPECT_THAT(delegate_.told, IsEmpty());
}

TEST_F(PresetChange, WhatIsStoredWinsOverAPackPresetOfItsName) {
  around_.suite.setValue("presets",
                         PropertyListDictionary{{"[FACTORY]_PD_Cello", around_.stateWithVolume(0.7)}});
  openWithPresets();

  unit_->setCurrentPresetWithName("[FACTORY]_PD_Cello");

  EXPECT_EQ(volume(), 0.7F);
}

// Each change brings its own end of the mute, and the first one to come ends it.
TEST_F(PresetChange, TheFirstOfTwoQuickChangesEndsTheMute) {
  openWithPresets();
  unit_->setCurrentPresetWithIndex(0);
  around_.wait(0.0);
  around_.wait(0.3);
  unit_->setCurrentPresetWithIndex(1);
  around_.wait(0.0);

  around_.wait(0.19);
  EXPECT_TRUE(unit_->isMuted());
  around_.wait(0.02);
  EXPECT_FALSE(unit_->isMuted());
  unit_->setIsMuted(true);
  around_.wait(0.28);
  EXPECT_TRUE(unit_->isMuted());
  around_.wait(0.02);

  EXPECT_FALSE(unit_->isMuted());
}

TEST_F(PresetChange, ANegativePlaceIsNoneOfTheFavourites) {
  openWithPresets();
  around_.suite.setInteger("MIDIprogramChangeTarget", 1);
  around_.suite.setStrings("favs", {"[FACTORY]_PL_One"});
  unit_->setCurrentPresetWithIndex(0);
  ASSERT_TRUE(unit_->currentPreset().has_value());

  unit_->setCurrentPresetWithIndex(-1);

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetChange, NumbersBeyondThePlacesWrap) {
  openWithPresets();

  unit_->setCurrentPreset(AUAudioUnitPreset{"[FACTORY]_PL_One", std::numeric_limits<std::int64_t>::max()});
  unit_->presetUp();  // the low 32 bits are all ones
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_BS_Two");
  unit_->setCurrentPreset(AUAudioUnitPreset{"[FACTORY]_PL_One", std::numeric_limits<std::int32_t>::max()});
  unit_->presetUp();
  EXPECT_FALSE(unit_->currentPreset().has_value());
  unit_->setCurrentPreset(AUAudioUnitPreset{"[FACTORY]_PL_One", std::numeric_limits<std::int64_t>::min()});
  unit_->presetDown();

  EXPECT_FALSE(unit_->currentPreset().has_value());
}

TEST_F(PresetChange, ANameMeansTheFirstOfEqualOnes) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", 5);
  unit_->writePresetWithName("[USER]_A", 6);

  unit_->setCurrentPresetWithName("[USER]_A");

  EXPECT_EQ(unit_->currentPreset()->number, 5);
}

TEST_F(PresetChange, MutesAheadOfTheState) {
  openWithPresets();
  StateWatchingUnit watching(around_.services);
  ASSERT_FALSE(watching.isMuted());

  watching.setCurrentPresetWithName("[FACTORY]_PL_One");

  EXPECT_THAT(watching.taken, ElementsAre(kStateMuted));
}

TEST_F(PresetChange, PresetNoneReachesTheStateAndMutes) {
  openWithPresets();
  StateWatchingUnit watching(around_.services);

  watching.setCurrentPreset(std::nullopt);

  EXPECT_THAT(watching.taken, ElementsAre(kNoneMuted));
  EXPECT_TRUE(watching.isMuted());
}

TEST_F(PresetChange, ANameWithoutAStateReachesTheStateAsNone) {
  openWithPresets();
  StateWatchingUnit watching(around_.services);

  watching.setCurrentPreset(AUAudioUnitPreset{"[USER]_Nowhere", 0});

  EXPECT_THAT(watching.taken, ElementsAre(kNoneMuted));
}

TEST_F(PresetChange, KeepsTheLastNameOnTheDisk) {
  openWithPresets();

  unit_->setCurrentPresetWithName("[FACTORY]_PL_One");

  const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
  EXPECT_EQ(another.stringForKey("lastPreset"), "[FACTORY]_PL_One");
}

TEST_F(PresetChange, UpFromTheLastNumberRaises) {
  around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
  around_.addFactoryPreset("[FACTORY]_BS_Two", 0.2);
  open();
  unit_->setCurrentPresetWithIndex(1);
  ASSERT_EQ(unit_->currentPreset()->number, 1);

  EXPECT_THROW(unit_->presetUp(), std::out_of_range);
  EXPECT_EQ(unit_->currentPreset()->number, 1);
}

}  // namespace
}  // namespace morv
