#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/hosts/PresetsFixture.h"

namespace morv {
namespace {

using testing::HasSubstr;

class PresetsProgram : public PresetsFixture {};

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

TEST_F(PresetsProgram, HearsAllChannelsBehindAPresetOutsideMPE) {
  const std::string third =
      folder_.write("third.mid", singleTrack({0x00, 0x92, 60, 100, 0x64, 0x82, 60, 64}, 500));

  const auto samples = soundOf({"--preset", "High", "--setting", "midiMode=0", "--midi", third});

  EXPECT_THAT(samples, testing::Contains(testing::Ne(0.0F)));
}

TEST_F(PresetsProgram, FollowsProgramChangesToThePlaceInTheList) {
  // The note begins a second behind the program change, when the mute has passed.
  const Bytes wait = {0x87, 0x68};
  const Bytes note = {0x90, 60, 100, 0x83, 0x74, 0x80, 60, 64};
  const std::string plain = folder_.write("plain.mid", singleTrack(wait + note, 500));
  const std::string changed = folder_.write("changed.mid", singleTrack(Bytes{0, 0xC0, 1} + wait + note, 500));

  const auto loaded = soundOf({"--midi", plain, "--preset", "High"});
  const auto unchanged = soundOf({"--midi", plain});
  const auto followed = soundOf({"--midi", changed});

  EXPECT_THAT(followed, testing::Contains(testing::Ne(0.0F)));
  EXPECT_NE(followed, unchanged);
  // The oscillator has run on for another time, so the waves differ, and the level does not.
  const auto peakOf = [](const std::vector<float>& samples) {
    return std::abs(*std::max_element(samples.begin(), samples.end(),
                                      [](float a, float b) { return std::abs(a) < std::abs(b); }));
  };
  constexpr float kOneDecibel = 1.12F;
  EXPECT_LT(peakOf(followed), peakOf(loaded) * kOneDecibel);
  EXPECT_GT(peakOf(followed), peakOf(loaded) / kOneDecibel);
}

TEST_F(PresetsProgram, ChangesNothingOfTheUsersWhileItOnlyReads) {
  runMorv({"presets", "list"});
  runMorv({"presets", "show", "none"});
  render({"--preset", "none"});

  EXPECT_FALSE(std::filesystem::exists(folder_.path("user")));
}

}  // namespace
}  // namespace morv
