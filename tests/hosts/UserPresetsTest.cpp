#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "hosts/cli/UserPresets.h"
#include "platform/PropertyListValue.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv::cli {
namespace {

constexpr const char* kSuite = "group.org.morv";

PropertyListDictionary state(int volume) { return {{"volume", volume}}; }

TEST(UserPresets, AddsToWhatTheSettingsHoldAtThatMoment) {
  const TemporaryFolder folder;
  const Directories directories = Directories::under(folder.path("user"));
  UserPresets presets(kSuite, directories);
  SettingsSuite unit(directories.configuration, kSuite);
  ASSERT_TRUE(unit.update("presets", [](std::optional<PropertyListValue>& held) {
    held = PropertyListDictionary{{"[USER]_A", state(1)}};
  }));

  ASSERT_TRUE(presets.add("[USER]_B", state(2)));

  const PropertyListDictionary both{{"[USER]_A", state(1)}, {"[USER]_B", state(2)}};
  EXPECT_EQ(presets.all(), both);
  ASSERT_TRUE(unit.refresh());
  EXPECT_EQ(unit.valueForKey("presets"), PropertyListValue(both));
}

TEST(UserPresets, SaysWhyAPresetCouldNotBeAddedAndDoesNotHoldItThen) {
  const TemporaryFolder folder;
  const Directories directories = Directories::under(folder.path("user"));
  UserPresets presets(kSuite, directories);
  const std::string lock = directories.configuration + "/" + kSuite + ".plist.lock";
  std::filesystem::create_directories(lock);

  const auto added = presets.add("[USER]_A", state(1));

  ASSERT_FALSE(added);
  EXPECT_THAT(added.reason(), testing::HasSubstr(lock));
  EXPECT_TRUE(presets.all().empty());
}

// A preset that a unit deletes leaves its file in the documents.
TEST(UserPresets, HoldWhatTheStoreHasAndNotWhatLiesInTheDocuments) {
  const TemporaryFolder folder;
  const Directories directories = Directories::under(folder.path("user"));
  UserPresets presets(kSuite, directories);
  ASSERT_TRUE(presets.add("[USER]_A", state(1)));
  ASSERT_TRUE(presets.holds("[USER]_A"));
  SettingsSuite unit(directories.configuration, kSuite);
  ASSERT_TRUE(unit.update(
      "presets", [](std::optional<PropertyListValue>& held) { held->dictionary()->remove("[USER]_A"); }));

  const UserPresets later(kSuite, directories);

  ASSERT_TRUE(std::filesystem::exists(later.fileOf("[USER]_A")));
  EXPECT_FALSE(later.holds("[USER]_A"));
}

class UserPresetsInCloud : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(folder_.path("cloud/Documents/Presets"));
    SettingsSuite settings(directories_.configuration, kSuite);
    settings.setInteger("presetStorageLocation", 1);
    settings.setString("cloudFolder", folder_.path("cloud"));
    ASSERT_TRUE(settings.synchronize());
  }
  const TemporaryFolder folder_;
  const Directories directories_ = Directories::under(folder_.path("user"));
};

TEST_F(UserPresetsInCloud, AreInTheOrderOfTheirNamesAsInTheUnit) {
  UserPresets presets(kSuite, directories_);
  for (const char* name : {"F", "B", "E", "A", "D", "C"}) {
    ASSERT_TRUE(presets.add(std::string("[USER]_") + name, state(1)));
  }

  std::vector<std::string> names;
  const PropertyListDictionary all = presets.all();
  for (const auto& [name, held] : all.entries()) names.push_back(name);

  EXPECT_THAT(names,
              testing::ElementsAre("[USER]_A", "[USER]_B", "[USER]_C", "[USER]_D", "[USER]_E", "[USER]_F"));
  EXPECT_EQ(presets.names(), names);
}

TEST_F(UserPresetsInCloud, LieInFilesOfTheFolder) {
  UserPresets presets(kSuite, directories_);
  ASSERT_TRUE(presets.add("[USER]_A", state(1)));

  EXPECT_TRUE(presets.holds("[USER]_A"));
  EXPECT_FALSE(presets.holds("[USER]_B"));
  EXPECT_EQ(presets.storeFileOf("[USER]_A"), presets.fileOf("[USER]_A"));
  EXPECT_TRUE(std::filesystem::exists(presets.storeFileOf("[USER]_A")));
}

TEST_F(UserPresetsInCloud, NameFilesThatCannotBeReadAndLeaveThemOutOfTheStates) {
  folder_.write("cloud/Documents/Presets/[USER]_Half.aupreset", std::string("<?xml version"));

  const UserPresets presets(kSuite, directories_);

  EXPECT_THAT(presets.names(), testing::ElementsAre("[USER]_Half"));
  EXPECT_TRUE(presets.all().empty());
}

}  // namespace
}  // namespace morv::cli
