// Lists of presets and what they hold.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/hosts/PresetsFixture.h"

namespace morv {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class PresetsListProgram : public PresetsFixture {
 protected:
  static PropertyListDictionary state() {
    return {{"morv", PropertyListDictionary{{"filterCutoff", 500.0}}}};
  }
};

TEST_F(PresetsListProgram, ListsNameNumberOwnerCategoryAndFile) {
  const auto run = runMorv({"presets", "list"});

  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output,
            "name\tnumber\towner\tcategory\tfile\n"
            "[FACTORY]_BS_Deep\t0\tfactory\tBass\t" +
                factoryFile("[FACTORY]_BS_Deep") + "\n[FACTORY]_LD_High\t1\tfactory\tLead\t" +
                factoryFile("[FACTORY]_LD_High") + "\n");
  EXPECT_THAT(run.errors, IsEmpty());
}

TEST_F(PresetsListProgram, ListsAsJson) {
  const auto run = runMorv({"presets", "list", "--json"});

  EXPECT_EQ(run.output,
            "[\n{\"name\": \"[FACTORY]_BS_Deep\", \"number\": 0, \"owner\": \"factory\", "
            "\"category\": \"Bass\", \"file\": \"" +
                factoryFile("[FACTORY]_BS_Deep") +
                "\"},\n{\"name\": \"[FACTORY]_LD_High\", \"number\": 1, \"owner\": \"factory\", "
                "\"category\": \"Lead\", \"file\": \"" +
                factoryFile("[FACTORY]_LD_High") + "\"}\n]\n");
}

TEST_F(PresetsListProgram, ShowsValuesByGroupForFullAndShortNamesAndFiles) {
  EXPECT_EQ(cutoffOf("[FACTORY]_BS_Deep"), "300");
  EXPECT_EQ(cutoffOf("deep"), "300");
  EXPECT_EQ(cutoffOf("HIGH"), "9000");
  EXPECT_EQ(cutoffOf(factoryFile("[FACTORY]_LD_High")), "9000");
  const auto json = runMorv({"presets", "show", "Deep", "--json"});
  EXPECT_THAT(json.output, HasSubstr("{\"name\": \"[FACTORY]_BS_Deep\", \"parameters\": {\n\"morv\": {"));
  EXPECT_THAT(json.output, HasSubstr("\"filterCutoff\": 300,"));
  EXPECT_THAT(json.output, HasSubstr("\"ecoverb\": {\"reverbBypass\": 1,"));
}

TEST_F(PresetsListProgram, ShowsAListedPresetWithASlashInItsNameUnlessThereIsSuchAFile) {
  userPreset("kept", "4321");
  const auto state = readPropertyListFile(folder_.path("kept.aupreset"));
  ASSERT_TRUE(state);
  const std::string fileName = folder_.path("other.aupreset");
  writeSettings({{"presets", PropertyListDictionary{{"[USER]_A/B", *state}, {fileName, *state}}}});

  EXPECT_THAT(runMorv({"presets", "list"}).output, HasSubstr("[USER]_A/B\t"));
  EXPECT_EQ(cutoffOf("[USER]_A/B"), "4321");
  EXPECT_EQ(cutoffOf(fileName), "4321");
  userPreset("other", "1234");
  EXPECT_EQ(cutoffOf(fileName), "1234");
  EXPECT_EQ(runMorv({"presets", "show", "[USER]_A/C"}).exitCode, 3);
}

TEST_F(PresetsListProgram, ListsValidJsonOfNamesThatAreNoText) {
  std::filesystem::copy_file(factoryFile("[FACTORY]_BS_Deep"), factoryFile("[FACTORY]_BS_\xFF"));

  const auto run = runMorv({"presets", "list", "--json"});

  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.output, HasSubstr("{\"name\": \"[FACTORY]_BS_\\ufffd\""));
  EXPECT_EQ(run.output.find('\xFF'), std::string::npos);
}

TEST_F(PresetsListProgram, WarnsOfCategoriesThatCannotBeRead) {
  folder_.write("resources/Categories.plist", std::string("<plist><dict>"));
  const auto broken = runMorv({"presets", "list"});
  EXPECT_EQ(broken.exitCode, 0);
  EXPECT_THAT(broken.errors, HasSubstr("Categories.plist"));
  EXPECT_THAT(broken.errors, HasSubstr("the built-in categories serve"));
  EXPECT_THAT(broken.output, HasSubstr("[FACTORY]_BS_Deep\t0\tfactory\tBass\t"));

  folder_.write("resources/Categories.plist", std::string("<plist version=\"1.0\"><array/></plist>"));
  EXPECT_THAT(runMorv({"presets", "list"}).errors, HasSubstr("no dictionary; the built-in categories serve"));

  folder_.write("resources/Categories.plist",
                std::string("<plist version=\"1.0\"><dict><key>BS</key><true/></dict></plist>"));
  EXPECT_THAT(runMorv({"presets", "list"}).errors, HasSubstr("the title of 'BS' is no text"));
}

TEST_F(PresetsListProgram, WhatTheUserKeepsIsCheckedAsAFileIs) {
  writeSettings(
      {{"presets", PropertyListDictionary{
                       {"[USER]_Hollow", "no state"},
                       {"[USER]_Foreign", PropertyListDictionary{{"subtype", 7}, {"parameters", state()}}},
                       {"[USER]_Refused", PropertyListDictionary{{"parameters", "no dictionary"}}}}}});
  const std::vector<std::pair<std::string, std::string>> reasons = {
      {"Hollow", "[USER]_Hollow: no preset: it is no dictionary"},
      {"Foreign", "[USER]_Foreign: no preset: it belongs to another instrument"},
      {"Refused", "[USER]_Refused: no preset: its parameters are no dictionary"}};

  for (const auto& [name, reason] : reasons) {
    const auto shown = runMorv({"presets", "show", name});
    EXPECT_EQ(shown.exitCode, 3) << name;
    EXPECT_EQ(shown.errors, "morv: " + reason + "\n");
    const auto rendered = render({"--preset", "[USER]_" + name});
    EXPECT_EQ(rendered.exitCode, 3) << name;
    EXPECT_EQ(rendered.errors, "morv: " + reason + "\n");
    EXPECT_EQ(exportTo(folder_.path("out.aupreset"), {"--preset", name}).exitCode, 3) << name;
  }
  EXPECT_TRUE(leftOnlyInputs());
}

TEST_F(PresetsListProgram, WhatLiesInTheCloudIsCheckedToo) {
  std::filesystem::create_directories(folder_.path("cloud/Documents/Presets"));
  writeSettings({{"presetStorageLocation", 1}, {"cloudFolder", folder_.path("cloud")}});
  folder_.write("cloud/Documents/Presets/[USER]_Half.aupreset", std::string("<?xml version"));
  folder_.write("cloud/Documents/Presets/[USER]_List.aupreset",
                std::string("<plist version=\"1.0\"><array/></plist>"));

  EXPECT_EQ(runMorv({"presets", "show", "half"}).exitCode, 3);
  const auto shown = runMorv({"presets", "show", "list"});
  EXPECT_EQ(shown.exitCode, 3);
  EXPECT_THAT(shown.errors, HasSubstr("[USER]_List.aupreset: no preset: it is no dictionary"));
}

TEST_F(PresetsListProgram, AShortNameOfAFactoryPresetAndOfTheUsersIsRefused) {
  ASSERT_EQ(runMorv({"presets", "import", userPreset("[USER]_Deep", "1234")}).exitCode, 0);

  const auto shown = runMorv({"presets", "show", "deep"});

  EXPECT_EQ(shown.exitCode, 2);
  EXPECT_THAT(shown.errors,
              HasSubstr("'deep' is the name of several presets: [FACTORY]_BS_Deep, [USER]_Deep"));
  EXPECT_EQ(cutoffOf("[USER]_Deep"), "1234");
  EXPECT_EQ(cutoffOf("[FACTORY]_BS_Deep"), "300");
}

TEST_F(PresetsListProgram, AFullNameOfTheUsersWinsOverAShortNameOfTheFactory) {
  ASSERT_EQ(runMorv({"presets", "import", userPreset("Deep", "1234")}).exitCode, 0);

  EXPECT_EQ(cutoffOf("Deep"), "1234");
}

TEST_F(PresetsListProgram, TheUsersPresetWinsOverAPacksAndTheLaterPackOverTheEarlier) {
  const std::string bows = resources_ + "/Packs/Bows";
  const std::string strings = resources_ + "/Packs/Strings";
  std::filesystem::create_directories(bows);
  std::filesystem::create_directories(strings);
  std::filesystem::copy_file(userPreset("[USER]_Cello", "100"), bows + "/[USER]_Cello.aupreset");
  userPreset("[USER]_Cello", "200");
  std::filesystem::copy_file(folder_.path("[USER]_Cello.aupreset"), strings + "/[USER]_Cello.aupreset");

  EXPECT_EQ(cutoffOf("[USER]_Cello"), "200");
  const auto refused = runMorv({"presets", "show", "cello"});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.errors, HasSubstr("[USER]_Cello (pack 'Strings'), [USER]_Cello (pack 'Bows', only by "
                                        "its file '" +
                                        bows + "/[USER]_Cello.aupreset')"));
  EXPECT_EQ(cutoffOf(bows + "/[USER]_Cello.aupreset"), "100");
  userPreset("kept", "300");
  writeSettings({{"presets", PropertyListDictionary{
                                 {"[USER]_Cello", *readPropertyListFile(folder_.path("kept.aupreset"))}}}});

  EXPECT_EQ(cutoffOf("[USER]_Cello"), "300");
}

TEST_F(PresetsListProgram, ShowsTabsAndEndsOfLinesInNamesWithoutBreakingTheTable) {
  std::filesystem::copy_file(factoryFile("[FACTORY]_BS_Deep"), factoryFile("[FACTORY]_BS_A\tB\nC"));

  const auto run = runMorv({"presets", "list"});

  EXPECT_THAT(run.output, HasSubstr("\n[FACTORY]_BS_A\\tB\\nC\t0\tfactory\tBass\t" +
                                    factoryFile("[FACTORY]_BS_A\\tB\\nC") + "\n"));
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 4);
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\t'), 16);
}

TEST_F(PresetsListProgram, NumbersTheCloudsPresetsInTheOrderOfTheirNames) {
  std::filesystem::create_directories(folder_.path("cloud"));
  writeSettings({{"presetStorageLocation", 1}, {"cloudFolder", folder_.path("cloud")}});
  for (const char* name : {"[USER]_D", "[USER]_B", "[USER]_A", "[USER]_C"}) {
    ASSERT_EQ(runMorv({"presets", "import", userPreset(name, "500")}).exitCode, 0);
  }

  const auto run = runMorv({"presets", "list"});

  const std::string folder = folder_.path("cloud/Documents/Presets/");
  std::string expected;
  int number = 0;
  for (const std::string name : {"[USER]_A", "[USER]_B", "[USER]_C", "[USER]_D"}) {
    expected += name + "\t" + std::to_string(number++) + "\tuser\t\t" + folder + name + ".aupreset\n";
  }
  EXPECT_THAT(run.output, testing::EndsWith(expected));
}

TEST_F(PresetsListProgram, RefusesAResourcesFolderThatIsNotThere) {
  const auto run = runMorv({"presets", "list", "--resources", folder_.path("none")});

  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.errors, HasSubstr("none' is no folder"));
}

TEST_F(PresetsListProgram, TellsUsageAndHelp) {
  EXPECT_EQ(runMorv({"presets"}).exitCode, 2);
  EXPECT_THAT(runMorv({"presets", "lst"}).errors, HasSubstr("the nearest is list"));
  EXPECT_EQ(runMorv({"presets", "--what"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "show"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "import"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "list", "extra"}).exitCode, 2);
  for (const char* command : {"list", "show", "render-all", "import", "export-state"}) {
    const auto run = runMorv({"presets", command, "--help"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.output, testing::StartsWith("Usage: morv presets list"));
  }
}

}  // namespace
}  // namespace morv
