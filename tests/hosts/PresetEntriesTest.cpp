#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "hosts/cli/PresetEntries.h"
#include "platform/PropertyListFile.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv::cli {
namespace {

using Source = PresetEntry::Source;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr const char* kSuite = "group.org.morv";

class PresetEntries : public testing::Test {
 protected:
  static PropertyListDictionary state() {
    return {{"parameters", PropertyListDictionary{{"morv", PropertyListDictionary{{"volume", 0.5}}}}}};
  }
  std::string add(const std::string& under, const std::string& name) const {
    std::filesystem::create_directories(folder_.path("resources/" + under));
    std::string file = folder_.path("resources/" + under + "/" + name + ".aupreset");
    EXPECT_TRUE(writePropertyListFile(file, state()).ok());
    return file;
  }
  void keep(const std::string& name) const {
    EXPECT_TRUE(UserPresets(kSuite, directories_).add(name, state()).ok());
  }
  std::vector<PresetEntry> entries() const {
    const std::string resources = folder_.path("resources");
    OfflineUnit offline(resources);
    return presetEntries(offline, UserPresets(kSuite, directories_), resources);
  }
  static auto entry(const std::string& name, Source source, const std::string& file, bool isHidden) {
    return testing::AllOf(
        testing::Field(&PresetEntry::name, name), testing::Field(&PresetEntry::source, source),
        testing::Field(&PresetEntry::file, file), testing::Field(&PresetEntry::isHidden, isHidden));
  }

  const TemporaryFolder folder_;
  const Directories directories_ = Directories::under(folder_.path("user"));
};

TEST_F(PresetEntries, AreTheFactorysTheUsersAndThoseOfPacks) {
  const auto factory = add("Factory Presets", "[FACTORY]_A");
  const auto pack = add("Packs/P", "[FACTORY]_C");
  keep("[USER]_B");

  EXPECT_THAT(entries(), ElementsAre(entry("[FACTORY]_A", Source::factory, factory, false),
                                     entry("[USER]_B", Source::user, "", false),
                                     entry("[FACTORY]_C", Source::pack, pack, false)));
}

TEST_F(PresetEntries, LeaveOutTheUsersCopyOfAFactoryPreset) {
  const auto factory = add("Factory Presets", "[FACTORY]_A");
  keep("[FACTORY]_A");

  EXPECT_THAT(entries(), ElementsAre(entry("[FACTORY]_A", Source::factory, factory, false)));
}

TEST_F(PresetEntries, HideAPacksPresetBehindTheFactorysAndTheUsers) {
  const auto factory = add("Factory Presets", "[FACTORY]_A");
  const auto first = add("Packs/P", "[FACTORY]_A");
  const auto second = add("Packs/P", "[USER]_B");
  keep("[USER]_B");

  EXPECT_THAT(entries(), UnorderedElementsAre(entry("[FACTORY]_A", Source::factory, factory, false),
                                              entry("[FACTORY]_A", Source::pack, first, true),
                                              entry("[USER]_B", Source::user, "", false),
                                              entry("[USER]_B", Source::pack, second, true)));
}

TEST_F(PresetEntries, HideTheEarlierOfTwoPacksWhichTheUnitDoesNotPlayEither) {
  const auto earlier = add("Packs/Bows", "[FACTORY]_C");
  const auto later = add("Packs/Strings", "[FACTORY]_C");
  add("Packs/Winds", "[FACTORY]_C");
  folder_.write("resources/Packs/Winds/[FACTORY]_C.aupreset", std::string("<plist><dict>"));

  EXPECT_THAT(entries(), ElementsAre(entry("[FACTORY]_C", Source::pack, later, false),
                                     entry("[FACTORY]_C", Source::pack, earlier, true)));
}

TEST_F(PresetEntries, LeaveOutWhatTheUnitCannotRead) {
  add("Packs/P", "[FACTORY]_C");
  folder_.write("resources/Packs/P/[FACTORY]_C.aupreset", std::string("<plist><dict>"));
  folder_.write("resources/Packs/P/notes.txt", std::string("no preset"));

  EXPECT_THAT(entries(), testing::IsEmpty());
}

}  // namespace
}  // namespace morv::cli
