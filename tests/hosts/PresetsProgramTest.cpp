#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/PropertyListFile.h"
#include "tests/hosts/ProgramFixture.h"

namespace morv {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// A user and a bank of two presets in a folder of the test's own.
class PresetsProgram : public ProgramFixture {
 protected:
  void SetUp() override {
    for (const char* variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
                                 "XDG_RUNTIME_DIR", "XDG_DOCUMENTS_DIR"}) {
      setenv(variable, folder_.path(std::string("user/") + variable).c_str(), 1);
    }
    setenv("MORV_RESOURCES", resources_.c_str(), 1);
    fs::create_directories(resources_ + "/Factory Presets");
    ASSERT_EQ(exportTo(factoryFile("[FACTORY]_BS_Deep"), {"--set", "filterCutoff=300"}).exitCode, 0);
    ASSERT_EQ(exportTo(factoryFile("[FACTORY]_LD_High"), {"--set", "filterCutoff=9000"}).exitCode, 0);
  }
  static ProgramResult exportTo(const std::string& file, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = {"presets", "export-state", "--out", file};
    words.insert(words.end(), more.begin(), more.end());
    return runMorv(words);
  }
  std::string factoryFile(const std::string& name) const {
    return resources_ + "/Factory Presets/" + name + ".aupreset";
  }
  std::string documentFile(const std::string& name) const {
    return folder_.path("user/XDG_DOCUMENTS_DIR/MORV/" + name + ".aupreset");
  }
  std::string userPreset(const std::string& name, const std::string& cutoff) const {
    const std::string file = folder_.path(name + ".aupreset");
    EXPECT_EQ(exportTo(file, {"--set", "filterCutoff=" + cutoff}).exitCode, 0);
    return file;
  }
  // What `show` says of the cutoff.
  static std::string cutoffOf(const std::string& preset) {
    const std::string mark = "\nmorv\tfilterCutoff\t";
    const auto shown = runMorv({"presets", "show", preset});
    EXPECT_EQ(shown.exitCode, 0) << shown.errors;
    const auto begin = shown.output.find(mark);
    if (begin == std::string::npos) return {};
    const auto from = begin + mark.size();
    return shown.output.substr(from, shown.output.find('\n', from) - from);
  }
  std::vector<float> soundOf(const std::vector<std::string>& more) const {
    const auto run = render(more);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    return sound();
  }

  const std::string resources_ = folder_.path("resources");
};

TEST_F(PresetsProgram, ListsNameNumberOwnerCategoryAndFile) {
  const auto run = runMorv({"presets", "list"});

  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output,
            "name\tnumber\towner\tcategory\tfile\n"
            "[FACTORY]_BS_Deep\t0\tfactory\tBass\t" +
                factoryFile("[FACTORY]_BS_Deep") + "\n[FACTORY]_LD_High\t1\tfactory\tLead\t" +
                factoryFile("[FACTORY]_LD_High") + "\n");
  EXPECT_THAT(run.errors, IsEmpty());
}

TEST_F(PresetsProgram, ListsAsJson) {
  const auto run = runMorv({"presets", "list", "--json"});

  EXPECT_EQ(run.output,
            "[\n{\"name\": \"[FACTORY]_BS_Deep\", \"number\": 0, \"owner\": \"factory\", "
            "\"category\": \"Bass\", \"file\": \"" +
                factoryFile("[FACTORY]_BS_Deep") +
                "\"},\n{\"name\": \"[FACTORY]_LD_High\", \"number\": 1, \"owner\": \"factory\", "
                "\"category\": \"Lead\", \"file\": \"" +
                factoryFile("[FACTORY]_LD_High") + "\"}\n]\n");
}

TEST_F(PresetsProgram, ShowsValuesByGroupForFullAndShortNamesAndFiles) {
  EXPECT_EQ(cutoffOf("[FACTORY]_BS_Deep"), "300");
  EXPECT_EQ(cutoffOf("deep"), "300");
  EXPECT_EQ(cutoffOf("HIGH"), "9000");
  EXPECT_EQ(cutoffOf(factoryFile("[FACTORY]_LD_High")), "9000");
  const auto json = runMorv({"presets", "show", "Deep", "--json"});
  EXPECT_THAT(json.output, HasSubstr("{\"name\": \"[FACTORY]_BS_Deep\", \"parameters\": {\n\"morv\": {"));
  EXPECT_THAT(json.output, HasSubstr("\"filterCutoff\": 300,"));
  EXPECT_THAT(json.output, HasSubstr("\"ecoverb\": {\"reverbBypass\": 1,"));
}

TEST_F(PresetsProgram, NamesTheNearestForAnUnknownName) {
  const auto shown = runMorv({"presets", "show", "Dep"});
  EXPECT_EQ(shown.exitCode, 2);
  EXPECT_THAT(shown.errors, HasSubstr("unknown preset 'Dep'; the nearest are Deep"));

  const auto rendered = render({"--preset", "[FACTORY]_BS_Dip"});
  EXPECT_EQ(rendered.exitCode, 2);
  EXPECT_THAT(rendered.errors, HasSubstr("option '--preset': unknown preset '[FACTORY]_BS_Dip'; the nearest "
                                         "are [FACTORY]_BS_Deep"));
  EXPECT_TRUE(leftOnlyInputs());
}

TEST_F(PresetsProgram, ChoosesNoneOfSeveralPresetsOfOneShortName) {
  ASSERT_EQ(exportTo(factoryFile("[FACTORY]_LD_Deep")).exitCode, 0);

  const auto run = runMorv({"presets", "show", "deep"});

  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.errors, HasSubstr("several presets: [FACTORY]_BS_Deep, [FACTORY]_LD_Deep"));
}

TEST_F(PresetsProgram, RendersAPresetByNameAndByFileAlike) {
  const auto byName = soundOf({"--preset", "Deep"});
  const auto byFile = soundOf({"--preset", factoryFile("[FACTORY]_BS_Deep")});
  const auto other = soundOf({"--preset", "High"});

  EXPECT_EQ(byName, byFile);
  EXPECT_NE(byName, other);
}

TEST_F(PresetsProgram, SoundsFromTheFirstNoteOnBehindAPreset) {
  // The mute behind a preset's change lasts half a second, which is the whole note.
  constexpr float kAudible = 0.05F;
  constexpr std::size_t kTwentiethSecond = 2205;
  const auto samples = soundOf({"--preset", "High"});
  ASSERT_GT(samples.size(), 2 * kTwentiethSecond);

  float peak = 0;
  for (std::size_t i = 0; i < 2 * kTwentiethSecond; ++i) peak = std::max(peak, std::abs(samples[i]));

  EXPECT_GT(peak, kAudible);
}

// Times and levels of envelopes reach the engine block by block; a first note once began with those of a
// fresh instrument.
TEST_F(PresetsProgram, PlaysTheFirstNoteWithThePresetsEnvelope) {
  ASSERT_EQ(exportTo(factoryFile("[FACTORY]_PL_Soft"),
                     {"--set", "env1Attack=0.05", "--set", "env1Sustain=0.3", "--set", "env1Decay=0.1"})
                .exitCode,
            0);
  const std::string late =
      folder_.write("late.mid", singleTrack({0x64, 0x90, 60, 100, 0x83, 0x74, 0x80, 60, 64}, 500));
  const auto peakOf = [](const std::vector<float>& samples) {
    float peak = 0;
    for (const float sample : samples) peak = std::max(peak, std::abs(sample));
    return peak;
  };
  constexpr float kOneDecibel = 1.12F;

  const float early = peakOf(soundOf({"--preset", "Soft"}));
  const float later = peakOf(soundOf({"--preset", "Soft", "--midi", late}));

  EXPECT_LT(early, later * kOneDecibel);
  EXPECT_GT(early, later / kOneDecibel);
}

TEST_F(PresetsProgram, SetsValuesOnTopOfAPreset) {
  const auto plain = soundOf({"--preset", "High"});
  const auto changed = soundOf({"--preset", "Deep", "--set", "filterCutoff=9000"});

  EXPECT_EQ(changed, plain);
}

TEST_F(PresetsProgram, TakesTheMidiModeFromTheSettingsAndNotFromThePreset) {
  const auto preset = userPreset("Mode", "500");
  ASSERT_EQ(exportTo(preset, {"--set", "midiMode=0", "--set", "midiChannel=5"}).exitCode, 0);

  // On channel 1 the piece would be silent if the preset's channel counted outside MPE.
  const auto samples = soundOf({"--preset", preset, "--setting", "midiMode=0", "--setting", "midiChannel=0"});

  EXPECT_THAT(samples, testing::Contains(testing::Ne(0.0F)));
  EXPECT_THAT(runMorv({"presets", "show", preset}).output, HasSubstr("midiChannel\t5\n"));
}

TEST_F(PresetsProgram, RefusesAResourcesFolderThatIsNotThere) {
  const auto run = runMorv({"presets", "list", "--resources", folder_.path("none")});

  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.errors, HasSubstr("none' is no folder"));
}

TEST_F(PresetsProgram, ImportsIntoTheUsersStoreWhereAllCommandsFindIt) {
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

TEST_F(PresetsProgram, ReplacesAnImportedPresetOnlyWhenForced) {
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

TEST_F(PresetsProgram, RefusesToImportOverTheFactorysNames) {
  const auto run = runMorv({"presets", "import", "--force", factoryFile("[FACTORY]_BS_Deep")});

  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.errors, HasSubstr("would win over it"));
}

TEST_F(PresetsProgram, SaysThatANameWithoutTheUsersMarkCountsAsFactory) {
  const auto run = runMorv({"presets", "import", userPreset("Bare", "700")});

  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.errors, HasSubstr("without the mark [USER]"));
}

TEST_F(PresetsProgram, RefusesFilesThatAreNoPresetWithAReasonAndTakesTheOthers) {
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

TEST_F(PresetsProgram, ImportsIntoTheCloudFolderIfTheSettingsKeepPresetsThere) {
  const std::string cloud = folder_.path("cloud");
  fs::create_directories(cloud);
  fs::create_directories(folder_.path("user/XDG_CONFIG_HOME/morv"));
  const PropertyListDictionary settings{{"presetStorageLocation", 1}, {"cloudFolder", cloud}};
  ASSERT_TRUE(
      writePropertyListFile(folder_.path("user/XDG_CONFIG_HOME/morv/group.org.morv.plist"), settings).ok());

  const auto run = runMorv({"presets", "import", userPreset("[USER]_AT_Far", "321")});

  const std::string kept = cloud + "/Documents/Presets/[USER]_AT_Far.aupreset";
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_EQ(run.output, kept + "\n");
  EXPECT_TRUE(fs::exists(kept));
  EXPECT_FALSE(fs::exists(documentFile("[USER]_AT_Far")));
  EXPECT_EQ(cutoffOf("far"), "321");
}

TEST_F(PresetsProgram, ReportsAStoreThatCannotBeWritten) {
  const auto file = userPreset("[USER]_PD_Mine", "1000");
  fs::create_directories(folder_.path("user"));
  folder_.write("user/XDG_DOCUMENTS_DIR", std::string("a file where a folder should be"));

  const auto run = runMorv({"presets", "import", file});

  EXPECT_EQ(run.exitCode, 4);
  EXPECT_THAT(runMorv({"presets", "list"}).output, Not(HasSubstr("Mine")));
}

TEST_F(PresetsProgram, ExportsAStateThatComesBackTheSame) {
  const std::string first = folder_.path("first.aupreset");
  const std::string second = folder_.path("second.aupreset");

  ASSERT_EQ(exportTo(first, {"--preset", "Deep", "--set", "ecoverb.reverbMix=33.3"}).exitCode, 0);
  ASSERT_EQ(exportTo(second, {"--preset", first}).exitCode, 0);

  EXPECT_EQ(TemporaryFolder::read(first), TemporaryFolder::read(second));
  EXPECT_EQ(cutoffOf(second), "300");
  EXPECT_THAT(runMorv({"presets", "show", second}).output, HasSubstr("ecoverb\treverbMix\t33.3\n"));
}

TEST_F(PresetsProgram, RefusesToExportWithWrongValuesAndLeavesNoFile) {
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

TEST_F(PresetsProgram, RendersAllIntoAFolderWithATable) {
  const std::string out = folder_.path("sounds");

  const auto run = runMorv({"presets", "render-all", "--out", out, "--tail", "1"});

  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_THAT(run.output, testing::StartsWith("name\tpeakDb\tloudnessLufs\tseconds\tfile\n"));
  EXPECT_THAT(run.output, HasSubstr("\t" + out + "/[FACTORY]_BS_Deep.wav\n"));
  EXPECT_TRUE(fs::exists(out + "/[FACTORY]_BS_Deep.wav"));
  EXPECT_TRUE(fs::exists(out + "/[FACTORY]_LD_High.wav"));
}

TEST_F(PresetsProgram, RendersAllWithAPieceOfOnesOwnAsRenderDoes) {
  const std::string out = folder_.path("sounds");
  ASSERT_EQ(
      runMorv({"presets", "render-all", "--out", out, "--midi", midi_, "--tail", "2", "--json"}).exitCode, 0);

  const auto expected = soundOf({"--preset", "High"});
  fs::copy_file(out + "/[FACTORY]_LD_High.wav", out_, fs::copy_options::overwrite_existing);

  EXPECT_EQ(sound(), expected);
}

TEST_F(PresetsProgram, RendersTheUsersPresetsWhenAsked) {
  ASSERT_EQ(runMorv({"presets", "import", userPreset("[USER]_PD_Mine", "1000")}).exitCode, 0);
  const std::string out = folder_.path("sounds");

  const auto without = runMorv({"presets", "render-all", "--out", out, "--midi", midi_, "--tail", "0"});
  const auto with =
      runMorv({"presets", "render-all", "--out", out, "--midi", midi_, "--tail", "0", "--user"});

  EXPECT_THAT(without.output, Not(HasSubstr("Mine")));
  EXPECT_THAT(with.output, HasSubstr("[USER]_PD_Mine"));
}

TEST_F(PresetsProgram, ReportsBadInputsAndOutputsOfRenderAll) {
  const std::string blocked = folder_.write("blocked", std::string("a file"));

  EXPECT_EQ(runMorv({"presets", "render-all"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "render-all", "--out", blocked, "--tail", "x"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "render-all", "--out", blocked, "--rate", "1"}).exitCode, 2);
  EXPECT_EQ(runMorv({"presets", "render-all", "--out", blocked, "--midi", blocked}).exitCode, 3);
  EXPECT_EQ(runMorv({"presets", "render-all", "--out", blocked}).exitCode, 4);
}

TEST_F(PresetsProgram, TellsUsageAndHelp) {
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

TEST_F(PresetsProgram, ChangesNothingOfTheUsersWhileItOnlyReads) {
  runMorv({"presets", "list"});
  runMorv({"presets", "show", "none"});
  render({"--preset", "none"});

  EXPECT_FALSE(fs::exists(folder_.path("user")));
}

}  // namespace
}  // namespace morv
