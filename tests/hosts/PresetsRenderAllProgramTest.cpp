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

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class PresetsRenderAllProgram : public PresetsFixture {
 protected:
  // Into a folder, with a short piece.
  ProgramResult renderAll(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words = {"presets", "render-all", "--out",  sounds_,
                                      "--midi",  midi_,        "--tail", "0"};
    words.insert(words.end(), more.begin(), more.end());
    return runMorv(words);
  }
  PropertyListDictionary stateOf(const std::string& cutoff) const {
    return *readPropertyListFile(userPreset("state", cutoff))->dictionary();
  }

  const std::string sounds_ = folder_.path("sounds");
};

TEST_F(PresetsRenderAllProgram, RendersAllIntoAFolderWithATable) {
  const std::string out = folder_.path("sounds");

  const auto run = runMorv({"presets", "render-all", "--out", out, "--tail", "1"});

  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_THAT(run.output, testing::StartsWith("name\tpeakDb\tloudnessLufs\tseconds\tfile\n"));
  EXPECT_THAT(run.output, HasSubstr("\t" + out + "/[FACTORY]_BS_Deep.wav\n"));
  EXPECT_TRUE(fs::exists(out + "/[FACTORY]_BS_Deep.wav"));
  EXPECT_TRUE(fs::exists(out + "/[FACTORY]_LD_High.wav"));
}

TEST_F(PresetsRenderAllProgram, RendersAllWithAPieceOfOnesOwnAsRenderDoes) {
  const std::string out = folder_.path("sounds");
  ASSERT_EQ(
      runMorv({"presets", "render-all", "--out", out, "--midi", midi_, "--tail", "2", "--json"}).exitCode, 0);

  const auto expected = soundOf({"--preset", "High"});
  fs::copy_file(out + "/[FACTORY]_LD_High.wav", out_, fs::copy_options::overwrite_existing);

  EXPECT_EQ(sound(), expected);
}

TEST_F(PresetsRenderAllProgram, RendersTheUsersPresetsWhenAsked) {
  ASSERT_EQ(runMorv({"presets", "import", userPreset("[USER]_PD_Mine", "1000")}).exitCode, 0);
  const std::string out = folder_.path("sounds");

  const auto without = runMorv({"presets", "render-all", "--out", out, "--midi", midi_, "--tail", "0"});
  const auto with =
      runMorv({"presets", "render-all", "--out", out, "--midi", midi_, "--tail", "0", "--user"});

  EXPECT_THAT(without.output, Not(HasSubstr("Mine")));
  EXPECT_THAT(with.output, HasSubstr("[USER]_PD_Mine"));
}

TEST_F(PresetsRenderAllProgram, ReportsBadInputsAndOutputsOfRenderAll) {
  const std::string blocked = folder_.write("blocked", std::string("a file"));

  EXPECT_EQ(runMorv({"presets", "render-all"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "render-all", "--out", blocked, "--tail", "x"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "render-all", "--out", blocked, "--rate", "1"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "render-all", "--out", blocked, "--midi", blocked}).exitCode, 3);
  EXPECT_EQ(runMorv({"presets", "render-all", "--out", blocked}).exitCode, 4);
}

TEST_F(PresetsRenderAllProgram, ReportsTheOthersWhenOneCannotBeWritten) {
  fs::create_directories(sounds_ + "/[FACTORY]_BS_Deep.wav");

  const auto run = renderAll();

  EXPECT_EQ(run.exitCode, 4);
  EXPECT_THAT(run.errors, HasSubstr("[FACTORY]_BS_Deep.wav: is a directory"));
  EXPECT_THAT(run.output,
              testing::StartsWith("name\tpeakDb\tloudnessLufs\tseconds\tfile\n[FACTORY]_LD_High\t"));
  EXPECT_TRUE(fs::is_regular_file(sounds_ + "/[FACTORY]_LD_High.wav"));
}

TEST_F(PresetsRenderAllProgram, RendersTheOthersWhenTheUserKeepsWhatIsNoPreset) {
  writeSettings(
      {{"presets", PropertyListDictionary{{"[USER]_Hollow", "no state"},
                                          {"[USER]_Foreign", PropertyListDictionary{{"subtype", 7}}},
                                          {"[USER]_Refused", PropertyListDictionary{{"parameters", 1}}},
                                          {"[USER]_Sound", stateOf("1000")}}}});

  const auto run = renderAll({"--user"});

  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.errors,
            "morv: [USER]_Hollow: no preset: it is no dictionary\n"
            "morv: [USER]_Foreign: no preset: it belongs to another instrument\n"
            "morv: [USER]_Refused: no preset: its parameters are no dictionary\n");
  for (const char* name : {"[FACTORY]_BS_Deep", "[FACTORY]_LD_High", "[USER]_Sound"}) {
    EXPECT_THAT(run.output, HasSubstr(std::string("\n") + name + "\t"));
    EXPECT_TRUE(fs::exists(sounds_ + "/" + name + ".wav")) << name;
  }
  EXPECT_FALSE(fs::exists(sounds_ + "/[USER]_Hollow.wav"));
  EXPECT_EQ(renderAll().exitCode, 0);
}

TEST_F(PresetsRenderAllProgram, GivesTheCodeOfTheFirstFailure) {
  writeSettings({{"presets", PropertyListDictionary{{"[USER]_Hollow", "no state"}}}});
  fs::create_directories(sounds_ + "/[FACTORY]_BS_Deep.wav");

  EXPECT_EQ(renderAll({"--user"}).exitCode, 3);
}

TEST_F(PresetsRenderAllProgram, PutsNoTwoPresetsIntoOneFile) {
  writeSettings({{"presets", PropertyListDictionary{{"[USER]_A-B", stateOf("300")},
                                                    {"[USER]_A/B", stateOf("9000")},
                                                    {"[USER]_A-B-2", stateOf("1000")},
                                                    {"[FACTORY]_PD_Cello-2", stateOf("1000")}}}});
  for (const char* pack : {"Bows", "Strings"}) {
    fs::create_directories(resources_ + "/Packs/" + pack);
    fs::copy_file(factoryFile("[FACTORY]_LD_High"),
                  resources_ + "/Packs/" + pack + "/[FACTORY]_PD_Cello.aupreset");
  }

  const auto run = renderAll({"--user"});

  EXPECT_EQ(run.exitCode, 0) << run.errors;
  for (const char* name : {"[USER]_A-B.wav", "[USER]_A-B-2.wav", "[USER]_A-B-3.wav", "[FACTORY]_PD_Cello.wav",
                           "[FACTORY]_PD_Cello-2.wav", "[FACTORY]_PD_Cello-2-2.wav"}) {
    EXPECT_TRUE(fs::exists(sounds_ + "/" + name)) << name;
    EXPECT_THAT(run.output, HasSubstr("\t" + sounds_ + "/" + name + "\n"));
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(sounds_), fs::directory_iterator()), 8);
  EXPECT_NE(TemporaryFolder::read(sounds_ + "/[USER]_A-B.wav"),
            TemporaryFolder::read(sounds_ + "/[USER]_A-B-3.wav"));
}

TEST_F(PresetsRenderAllProgram, ShowsTabsAndEndsOfLinesInNamesWithoutBreakingTheTable) {
  fs::copy_file(factoryFile("[FACTORY]_BS_Deep"), factoryFile("[FACTORY]_BS_A\tB\nC"));

  const auto run = renderAll();

  EXPECT_THAT(run.output, HasSubstr("\n[FACTORY]_BS_A\\tB\\nC\t"));
  EXPECT_THAT(run.output, HasSubstr("\t" + sounds_ + "/[FACTORY]_BS_A\\tB\\nC.wav\n"));
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 4);
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\t'), 16);
}

TEST_F(PresetsRenderAllProgram, WritesNoFileThatItReads) {
  fs::create_directories(sounds_);
  const std::string piece = sounds_ + "/[FACTORY]_LD_High.wav";
  fs::copy_file(midi_, piece);
  const std::string preset = factoryFile("[FACTORY]_BS_Deep");
  const auto presetBefore = TemporaryFolder::read(preset);

  const auto overPiece = runMorv({"presets", "render-all", "--out", sounds_, "--midi", piece});
  fs::remove(piece);
  fs::create_symlink(preset, piece);
  const auto overPreset = renderAll();

  for (const auto& run : {overPiece, overPreset}) {
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.errors, HasSubstr("'" + piece + "' is both read and written"));
  }
  EXPECT_EQ(TemporaryFolder::read(preset), presetBefore);
  EXPECT_FALSE(fs::exists(sounds_ + "/[FACTORY]_BS_Deep.wav"));
}

}  // namespace
}  // namespace morv
