// Lists of presets and what they hold.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/hosts/PresetsFixture.h"

namespace morv {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class PresetsListProgram : public PresetsFixture {};

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

TEST_F(PresetsListProgram, AKeptNameWithoutAStateIsABadInput) {
  writeSettings({{"presets", PropertyListDictionary{{"[USER]_Hollow", "no state"}}}});

  const auto shown = runMorv({"presets", "show", "hollow"});
  EXPECT_EQ(shown.exitCode, 3);
  EXPECT_THAT(shown.errors, HasSubstr("preset '[USER]_Hollow' holds no state"));
  EXPECT_EQ(render({"--preset", "[USER]_Hollow"}).exitCode, 3);
  EXPECT_EQ(exportTo(folder_.path("out.aupreset"), {"--preset", "Hollow"}).exitCode, 3);
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
