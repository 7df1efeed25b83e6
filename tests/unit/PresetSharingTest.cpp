// Presets in settings that other units and programs change too, and what the settings cannot take.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/unit/PresetSurroundings.h"

namespace morv {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class PresetSharing : public testing::Test {
 protected:
  void openWithPresets() {
    around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
    around_.addFactoryPreset("[FACTORY]_BS_Two", 0.2);
    unit_ = std::make_unique<PresetUnit>(around_.services);
  }
  std::optional<double> storedVolume(const std::string& name) {
    const auto state = unit_->dataForPreset({name, 0});
    if (!state) return std::nullopt;
    return state->find("parameters")->dictionary()->find("morv")->dictionary()->find("volume")->number();
  }
  static std::vector<std::string> namesIn(const SettingsStore& settings) {
    std::vector<std::string> names;
    const auto held = settings.valueForKey("presets");
    for (const auto& [name, state] : held->dictionary()->entries()) names.push_back(name);
    return names;
  }

  PresetSurroundings around_;
  std::unique_ptr<PresetUnit> unit_;
};

TEST_F(PresetSharing, TwoUnitsWithSuitesOfTheirOwnKeepEachOthersPresets) {
  openWithPresets();
  SettingsSuite otherSuite(around_.folder.path("config"), "group.org.morv");
  AudioUnitServices services = around_.services;
  services.sharedSettings = &otherSuite;
  PresetUnit other(services);

  unit_->writePresetWithName("[USER]_A", -1);
  other.writePresetWithName("[USER]_B", -1);
  unit_->writePresetWithName("[USER]_C", -1);
  other.deletePresetWithName("[USER]_A");

  const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
  EXPECT_THAT(namesIn(another),
              UnorderedElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PL_One", "[USER]_B", "[USER]_C"));
}

TEST_F(PresetSharing, ANameThatCannotBeWrittenIsLoggedAndEndangersNoOther) {
  openWithPresets();
  unit_->writePresetWithName("[USER]_A", -1);

  unit_->writePresetWithName("[USER]_\xFF", -1);
  unit_->writePresetWithName("[USER]_B", -1);

  const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
  EXPECT_THAT(namesIn(another),
              UnorderedElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PL_One", "[USER]_A", "[USER]_B"));
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error: the preset \"[USER]_\xFF\"")));
}

TEST_F(PresetSharing, AFactoryFileWhoseNameCannotBeWrittenIsLoggedAndLeftOut) {
  around_.addFactoryPreset("[FACTORY]_\x01", 0.7);

  openWithPresets();

  const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
  EXPECT_THAT(namesIn(another), UnorderedElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PL_One"));
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error: the preset \"[FACTORY]_\x01\"")));
}

TEST_F(PresetSharing, WhatTheSettingsCannotTakeCountsForTheUnitAndIsKeptLaterBesideWhatOthersSaved) {
  openWithPresets();
  const std::string lock = around_.suite.path() + ".lock";
  std::filesystem::remove(lock);
  std::filesystem::create_directories(lock);
  unit_->parameterTree()->parameterForKeyPath("morv.volume")->setValue(0.625F);
  unit_->writePresetWithName("[USER]_A", -1);
  EXPECT_EQ(storedVolume("[USER]_A"), 0.625);
  EXPECT_THAT(around_.loggedLines(), Contains(HasSubstr("[ZRAU] error: ")));
  std::filesystem::remove(lock);
  {
    SettingsSuite other(around_.folder.path("config"), "group.org.morv");
    ASSERT_TRUE(other.update("presets", [](std::optional<PropertyListValue>& presets) {
      presets->dictionary()->set("[USER]_B", PresetSurroundings::stateWithVolume(0.5));
    }));
  }

  unit_->writePresetWithName("[USER]_C", -1);

  const SettingsSuite another(around_.folder.path("config"), "group.org.morv");
  EXPECT_THAT(namesIn(another), UnorderedElementsAre("[FACTORY]_BS_Two", "[FACTORY]_PL_One", "[USER]_A",
                                                     "[USER]_B", "[USER]_C"));
}

TEST_F(PresetSharing, ProgramChangesGoByWhatAnotherProgramHasSet) {
  openWithPresets();
  {
    SettingsSuite view(around_.folder.path("config"), "group.org.morv");
    view.setInteger("MIDIprogramChangeTarget", 1);
    view.setStrings("favs", {"[FACTORY]_PL_One"});
  }

  unit_->setCurrentPresetWithIndex(0);

  ASSERT_TRUE(unit_->currentPreset().has_value());
  EXPECT_EQ(unit_->currentPreset()->name, "[FACTORY]_PL_One");
}

}  // namespace
}  // namespace morv
