#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/hosts/PresetsFixture.h"

namespace morv {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

// Import and export.
class PresetsFilesProgram : public PresetsFixture {};

TEST_F(PresetsFilesProgram, ImportsIntoTheUsersStoreWhereAllCommandsFindIt) {
  const auto file = userPreset("[USER]_PD_Mine", "1234");

  const auto run = runMorv({"presets", "import", file});

  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_EQ(run.output, documentFile("[USER]_PD_Mine") + "\n");
  EXPECT_EQ(TemporaryFolder::read(documentFile("[USER]_PD_Mine")), TemporaryFolder::read(file));
  EXPECT_THAT(runMorv({"presets", "list"}).output,
              HasSubstr("[USER]_PD_Mine\t0\tuser\tPad\t" + documentFile("[USER]_PD_Mine") + "\n"));
  EXPECT_EQ(cutoffOf("mine"), "1234");
  EXPECT_EQ(soundOf({"--preset", "Mine"}), soundOf({"--preset", file}));
}

TEST_F(PresetsFilesProgram, ReplacesAnImportedPresetOnlyWhenForced) {
  const auto file = userPreset("[USER]_PD_Mine", "1000");
  ASSERT_EQ(runMorv({"presets", "import", file}).exitCode, 0);
  userPreset("[USER]_PD_Mine", "2000");

  const auto refused = runMorv({"presets", "import", file});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.errors, HasSubstr("there is a preset '[USER]_PD_Mine' already; --force replaces it"));
  EXPECT_EQ(cutoffOf("mine"), "1000");

  EXPECT_EQ(runMorv({"presets", "import", "--force", file}).exitCode, 0);
  EXPECT_EQ(cutoffOf("mine"), "2000");
}

TEST_F(PresetsFilesProgram, RefusesToImportOverTheFactorysNames) {
  const auto run = runMorv({"presets", "import", "--force", factoryFile("[FACTORY]_BS_Deep")});

  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.errors, HasSubstr("would win over it"));
}

TEST_F(PresetsFilesProgram, SaysThatANameWithoutTheUsersMarkCountsAsFactory) {
  const auto run = runMorv({"presets", "import", userPreset("Bare", "700")});

  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.errors, HasSubstr("without the mark [USER]"));
}

TEST_F(PresetsFilesProgram, RefusesFilesThatAreNoPresetWithAReasonAndTakesTheOthers) {
  const std::string head = "<plist version=\"1.0\"><dict>";
  const std::string tail = "</dict></plist>";
  const std::vector<std::pair<std::string, std::string>> files = {
      {"no list at all", "no"},
      {head + tail, "it has no parameters"},
      {"<plist version=\"1.0\"><array/></plist>", "it is no dictionary"},
      {head + "<key>parameters</key><string>x</string>" + tail, "its parameters are no dictionary"},
      {head + "<key>parameters</key><dict><key>morv</key><true/></dict>" + tail,
       "its parameter group 'morv' is no dictionary"},
      {head +
           "<key>parameters</key><dict><key>morv</key><dict><key>volume</key><string>x</string>"
           "</dict></dict>" +
           tail,
       "its value of 'morv.volume' is no finite number"},
      {head + "<key>parameters</key><dict><key>other</key><dict/></dict>" + tail,
       "it has no parameter of this instrument"},
      {head + "<key>subtype</key><integer>7</integer><key>parameters</key><dict/>" + tail,
       "it belongs to another instrument"}};
  std::vector<std::string> words = {"presets", "import"};
  for (std::size_t i = 0; i < files.size(); ++i) {
    words.push_back(folder_.write("[USER]_Bad" + std::to_string(i) + ".aupreset", files[i].first));
  }
  words.push_back(folder_.write("[USER]_Bad.txt", head + tail));
  words.push_back(folder_.path("[USER]_Missing.aupreset"));
  words.push_back(userPreset("[USER]_Good", "800"));

  const auto run = runMorv(words);

  EXPECT_EQ(run.exitCode, 3);
  for (const auto& [content, reason] : files) EXPECT_THAT(run.errors, HasSubstr(reason));
  EXPECT_THAT(run.errors, HasSubstr("its name does not end in .aupreset"));
  EXPECT_THAT(run.errors, HasSubstr("[USER]_Missing.aupreset"));
  EXPECT_EQ(run.output, documentFile("[USER]_Good") + "\n");
  EXPECT_THAT(runMorv({"presets", "list"}).output, Not(HasSubstr("Bad")));
}

TEST_F(PresetsFilesProgram, ImportsIntoTheCloudFolderIfTheSettingsKeepPresetsThere) {
  const std::string cloud = folder_.path("cloud");
  fs::create_directories(cloud);
  writeSettings({{"presetStorageLocation", 1}, {"cloudFolder", cloud}});

  const auto run = runMorv({"presets", "import", userPreset("[USER]_AT_Far", "321")});

  const std::string kept = cloud + "/Documents/Presets/[USER]_AT_Far.aupreset";
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_EQ(run.output, kept + "\n");
  EXPECT_TRUE(fs::exists(kept));
  EXPECT_FALSE(fs::exists(documentFile("[USER]_AT_Far")));
  EXPECT_EQ(cutoffOf("far"), "321");
}

TEST_F(PresetsFilesProgram, TakesNoFolderInTheCloudForAPreset) {
  fs::create_directories(folder_.path("cloud/Documents/Presets/[USER]_Folder.aupreset"));
  writeSettings({{"presetStorageLocation", 1}, {"cloudFolder", folder_.path("cloud")}});

  const auto run = runMorv({"presets", "list"});

  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.output, Not(HasSubstr("Folder")));
  EXPECT_THAT(run.errors, testing::IsEmpty());
}

TEST_F(PresetsFilesProgram, ReportsAStoreThatCannotBeWritten) {
  const auto file = userPreset("[USER]_PD_Mine", "1000");
  fs::create_directories(folder_.path("user"));
  folder_.write("user/XDG_DOCUMENTS_DIR", std::string("a file where a folder should be"));

  const auto run = runMorv({"presets", "import", file});

  EXPECT_EQ(run.exitCode, 4);
  EXPECT_THAT(runMorv({"presets", "list"}).output, Not(HasSubstr("Mine")));
}

TEST_F(PresetsFilesProgram, ExportsAStateThatComesBackTheSame) {
  const std::string first = folder_.path("first.aupreset");
  const std::string second = folder_.path("second.aupreset");

  ASSERT_EQ(exportTo(first, {"--preset", "Deep", "--set", "ecoverb.reverbMix=33.3"}).exitCode, 0);
  ASSERT_EQ(exportTo(second, {"--preset", first}).exitCode, 0);

  EXPECT_EQ(TemporaryFolder::read(first), TemporaryFolder::read(second));
  EXPECT_EQ(cutoffOf(second), "300");
  EXPECT_THAT(runMorv({"presets", "show", second}).output, HasSubstr("ecoverb\treverbMix\t33.3\n"));
}

TEST_F(PresetsFilesProgram, RefusesToExportWithWrongValuesAndLeavesNoFile) {
  const std::string out = folder_.path("out.aupreset");

  EXPECT_EQ(exportTo(out, {"--set", "filterCutof=1"}).exitCode, 2);
  EXPECT_EQ(exportTo(out, {"--set", "filterCutoff=x"}).exitCode, 2);
  EXPECT_EQ(exportTo(out, {"--set", "filterCutoff=30000"}).exitCode, 2);
  EXPECT_EQ(exportTo(out, {"--preset", "none"}).exitCode, 2);
  EXPECT_EQ(exportTo(out, {"--preset", "./none.aupreset"}).exitCode, 3);
  EXPECT_FALSE(fs::exists(out));
  EXPECT_EQ(exportTo(folder_.path("none/out.aupreset")).exitCode, 4);
  EXPECT_EQ(runMorv({"presets", "export-state"}).exitCode, 2);
}

TEST_F(PresetsFilesProgram, ExportsToPlainFilesThatMayBeWrittenAndReplacesThem) {
  const std::string fifo = folder_.path("fifo.aupreset");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  fs::create_directories(folder_.path("folder.aupreset"));
  const std::string there = folder_.write("there.aupreset", std::string("old"));
  fs::create_symlink("there.aupreset", folder_.path("link.aupreset"));

  const auto toFifo = exportTo(fifo);
  EXPECT_EQ(toFifo.exitCode, 4);
  EXPECT_THAT(toFifo.errors, HasSubstr("fifo.aupreset: is no plain file"));
  EXPECT_EQ(exportTo(folder_.path("folder.aupreset")).exitCode, 4);
  EXPECT_EQ(exportTo(folder_.path("link.aupreset"), {"--set", "filterCutoff=777"}).exitCode, 0);

  EXPECT_TRUE(fs::is_fifo(fifo));
  EXPECT_TRUE(fs::is_symlink(folder_.path("link.aupreset")));
  EXPECT_EQ(cutoffOf(there), "777");
}

TEST_F(PresetsFilesProgram, LeavesNoPartOfAnExportThatDoesNotFit) {
  const std::string out = folder_.path("out.aupreset");
  const auto before = folder_.names().size();
  constexpr unsigned long kFewBytes = 1000;

  const auto run = runMorvWithFileLimit({"presets", "export-state", "--out", out}, kFewBytes);

  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(folder_.names().size(), before);
}

TEST_F(PresetsFilesProgram, RefusesToExportUnderANameThatImportWouldNotTake) {
  const auto before = folder_.names().size();
  for (const char* name : {"out.plist", "out", ".aupreset", "\xFF.aupreset", "\x01.aupreset"}) {
    const auto run = exportTo(folder_.path(name));
    EXPECT_EQ(run.exitCode, 2) << name;
    EXPECT_THAT(run.errors, HasSubstr("is no file for a preset: its name ")) << name;
  }

  EXPECT_EQ(folder_.names().size(), before);
}

// A preset that a unit deletes leaves its file in the documents.
TEST_F(PresetsFilesProgram, ImportsADeletedPresetAgain) {
  const auto file = userPreset("[USER]_PD_Mine", "1000");
  ASSERT_EQ(runMorv({"presets", "import", file}).exitCode, 0);
  writeSettings({{"presets", PropertyListDictionary{}}});
  userPreset("[USER]_PD_Mine", "2000");

  const auto run = runMorv({"presets", "import", file});

  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_EQ(cutoffOf("mine"), "2000");
  EXPECT_EQ(TemporaryFolder::read(documentFile("[USER]_PD_Mine")), TemporaryFolder::read(file));
}

TEST_F(PresetsFilesProgram, WritesNoFileThatItReads) {
  const std::string file = userPreset("mine", "1000");
  fs::create_symlink("mine.aupreset", folder_.path("link.aupreset"));
  const auto before = TemporaryFolder::read(file);
  const auto factoryBefore = TemporaryFolder::read(factoryFile("[FACTORY]_BS_Deep"));

  const std::vector<ProgramResult> runs = {
      exportTo(file, {"--preset", file, "--set", "filterCutoff=777"}),
      exportTo(folder_.path("link.aupreset"), {"--preset", file, "--set", "filterCutoff=777"}),
      exportTo(factoryFile("[FACTORY]_BS_Deep"), {"--preset", "Deep", "--set", "filterCutoff=777"}),
      runMorv({"render", "--midi", midi_, "--preset", file, "--out", file}),
      runMorv({"render", "--midi", midi_, "--preset", file, "--out", folder_.path("link.aupreset")}),
      runMorv({"render", "--midi", midi_, "--preset", "Deep", "--out", factoryFile("[FACTORY]_BS_Deep")})};

  for (std::size_t i = 0; i < runs.size(); ++i) {
    EXPECT_EQ(runs[i].exitCode, 2) << i;
    EXPECT_THAT(runs[i].errors, HasSubstr("' is both read and written")) << i;
  }
  EXPECT_EQ(TemporaryFolder::read(file), before);
  EXPECT_EQ(TemporaryFolder::read(factoryFile("[FACTORY]_BS_Deep")), factoryBefore);
}

}  // namespace
}  // namespace morv
