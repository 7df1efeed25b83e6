#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hosts/cli/RenderOptions.h"

namespace morv::cli {
namespace {

using testing::HasSubstr;

// Options behind the two that must stand.
Result<RenderOptions> parsed(const std::vector<std::string>& words) {
  std::vector<std::string> all = {"--midi", "a.mid", "--out", "b.wav"};
  all.insert(all.end(), words.begin(), words.end());
  return RenderOptions::parse(all);
}

std::string reasonFor(const std::vector<std::string>& words) {
  const auto options = parsed(words);
  return options ? "it was taken" : options.reason();
}

TEST(RenderOptions, HaveTheirDefaults) {
  const auto options = parsed({});

  ASSERT_TRUE(options) << options.reason();
  EXPECT_EQ(options->midiPath, "a.mid");
  EXPECT_EQ(options->outPath, "b.wav");
  EXPECT_EQ(options->sampleRateHz, 44100);
  EXPECT_EQ(options->blockFrames, 64U);
  EXPECT_EQ(options->tailSeconds, 2.0);
  EXPECT_EQ(options->format, SampleFormat::f32);
  EXPECT_FALSE(options->tempo || options->seconds || options->seed || options->automationPath);
  EXPECT_TRUE(options->sets.empty() && options->settings.empty());
  EXPECT_FALSE(options->help || options->verbose);
}

TEST(RenderOptions, TakeEachValue) {
  const auto options = parsed({"--rate",
                               "96000",
                               "--block",
                               "512",
                               "--tempo",
                               "97.5",
                               "--seconds",
                               "3.5",
                               "--tail",
                               "0",
                               "--format",
                               "s24",
                               "--seed",
                               "18446744073709551615",
                               "--automation",
                               "k.csv",
                               "--verbose",
                               "--set",
                               "volume=0.5",
                               "--set",
                               "ecoverb.mix=-1",
                               "--setting",
                               "midiNotePriority=2"});

  ASSERT_TRUE(options) << options.reason();
  EXPECT_EQ(options->sampleRateHz, 96000);
  EXPECT_EQ(options->blockFrames, 512U);
  EXPECT_EQ(options->tempo, 97.5);
  EXPECT_EQ(options->seconds, 3.5);
  EXPECT_EQ(options->tailSeconds, 0.0);
  EXPECT_EQ(options->format, SampleFormat::s24);
  EXPECT_EQ(options->seed, UINT64_MAX);
  EXPECT_EQ(options->automationPath, "k.csv");
  EXPECT_TRUE(options->verbose);
  ASSERT_EQ(options->sets.size(), 2U);
  EXPECT_EQ(options->sets[0].identifier, "volume");
  EXPECT_EQ(options->sets[0].value, 0.5F);
  EXPECT_EQ(options->sets[1].identifier, "ecoverb.mix");
  EXPECT_EQ(options->sets[1].value, -1.0F);
  ASSERT_EQ(options->settings.size(), 1U);
  EXPECT_EQ(options->settings[0].key, "midiNotePriority");
}

TEST(RenderOptions, TakeTheEdgesOfRateAndBlock) {
  for (const char* rate : {"8000", "192000"}) EXPECT_EQ(reasonFor({"--rate", rate}), "it was taken");
  for (const char* block : {"1", "4096"}) EXPECT_EQ(reasonFor({"--block", block}), "it was taken");
}

TEST(RenderOptions, RefuseRatesAndBlocksOutOfRange) {
  for (const char* rate : {"7999", "192001", "0", "-44100", "99999999999999"}) {
    EXPECT_THAT(reasonFor({"--rate", rate}), HasSubstr("out of range (8000 to 192000)"));
  }
  for (const char* block : {"0", "4097", "-1"}) {
    EXPECT_THAT(reasonFor({"--block", block}), HasSubstr("out of range (1 to 4096)"));
  }
}

TEST(RenderOptions, RefuseValuesThatAreNoNumbers) {
  EXPECT_EQ(reasonFor({"--rate", "fast"}), "option '--rate': 'fast' is no whole number");
  EXPECT_EQ(reasonFor({"--rate", "44100.5"}), "option '--rate': '44100.5' is no whole number");
  EXPECT_EQ(reasonFor({"--block", ""}), "option '--block': '' is no whole number");
  EXPECT_EQ(reasonFor({"--tempo", "nan"}), "option '--tempo': 'nan' is no number");
  EXPECT_EQ(reasonFor({"--seconds", "1e"}), "option '--seconds': '1e' is no number");
  EXPECT_EQ(reasonFor({"--tail", "inf"}), "option '--tail': 'inf' is no number");
  EXPECT_EQ(reasonFor({"--seed", "-1"}), "option '--seed': '-1' is no whole number of 0 or more");
  EXPECT_EQ(reasonFor({"--set", "volume=loud"}), "option '--set': volume: 'loud' is no number");
  EXPECT_EQ(reasonFor({"--set", "volume="}), "option '--set': volume: '' is no number");
  EXPECT_EQ(reasonFor({"--set", "volume=1e39"}), "option '--set': volume: '1e39' is no number");
}

TEST(RenderOptions, RefuseNegativeAndEmptyTimes) {
  EXPECT_THAT(reasonFor({"--tempo", "0"}), HasSubstr("out of range"));
  EXPECT_THAT(reasonFor({"--tempo", "-120"}), HasSubstr("out of range"));
  EXPECT_THAT(reasonFor({"--seconds", "0"}), HasSubstr("out of range"));
  EXPECT_THAT(reasonFor({"--tail", "-0.5"}), HasSubstr("out of range"));
}

TEST(RenderOptions, RefuseMalformedSetsSettingsAndFormats) {
  EXPECT_THAT(reasonFor({"--set", "volume"}), HasSubstr("not of the form ID=VALUE"));
  EXPECT_THAT(reasonFor({"--set", "=1"}), HasSubstr("not of the form ID=VALUE"));
  EXPECT_THAT(reasonFor({"--setting", "colour=1"}),
              HasSubstr("option '--setting': unknown setting 'colour'"));
  EXPECT_THAT(reasonFor({"--format", "mp3"}), HasSubstr("none of f32, s16 and s24"));
}

TEST(RenderOptions, NeedASourceAndATarget) {
  EXPECT_THAT(RenderOptions::parse(std::vector<std::string>{"--out", "b.wav"}).reason(),
              HasSubstr("'--midi' is missing"));
  EXPECT_THAT(RenderOptions::parse(std::vector<std::string>{"--midi", "a.mid"}).reason(),
              HasSubstr("'--out' is missing"));
  EXPECT_THAT(RenderOptions::parse(std::vector<std::string>{"--midi=", "--out=b"}).reason(),
              HasSubstr("'--midi' is missing"));
}

TEST(RenderOptions, RefuseOtherWords) {
  EXPECT_EQ(reasonFor({"c.mid"}), "unexpected argument 'c.mid'");
  EXPECT_THAT(reasonFor({"--tempi", "100"}), HasSubstr("unknown option '--tempi'; the nearest is --tempo"));
}

TEST(RenderOptions, AskForHelpBeforeAnythingElse) {
  const auto options = RenderOptions::parse(std::vector<std::string>{"--help", "stray"});

  ASSERT_TRUE(options) << options.reason();
  EXPECT_TRUE(options->help);
  for (const char* option :
       {"--midi", "--out", "--rate", "--block", "--tempo", "--seconds", "--tail", "--set", "--automation",
        "--setting", "--seed", "--format", "--verbose", "--help"}) {
    EXPECT_THAT(RenderOptions::helpText(), HasSubstr(option));
  }
}

}  // namespace
}  // namespace morv::cli
