#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

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

}  // namespace
}  // namespace morv::cli
