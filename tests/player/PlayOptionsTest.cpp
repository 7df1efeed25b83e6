#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hosts/player/PlayOptions.h"

namespace morv::player {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

std::string reasonFor(const Words& words) {
  const auto options = PlayOptions::parse(words);
  return options.ok() ? "taken" : options.reason();
}

TEST(PlayOptions, HasADefaultForEverything) {
  const auto options = PlayOptions::parse(Words{});

  ASSERT_TRUE(options.ok()) << options.reason();
  EXPECT_EQ(options.value().audio, AudioChoice::automatic);
  EXPECT_TRUE(options.value().connects);
  EXPECT_FALSE(options.value().verbose);
  EXPECT_EQ(options.value().clientName, "morv");
  EXPECT_EQ(options.value().device, "");
  EXPECT_EQ(options.value().latencyFrames, 0U);
  EXPECT_EQ(options.value().sampleRateHz, 0U);
  EXPECT_FALSE(options.value().seconds || options.value().preset || options.value().mapFile ||
               options.value().resources);
}

TEST(PlayOptions, TakesEveryOption) {
  const auto options = PlayOptions::parse(Words{"--audio",
                                                "alsa",
                                                "--device",
                                                "hw:1",
                                                "--latency",
                                                "128",
                                                "--rate",
                                                "44100",
                                                "--client-name",
                                                "keys",
                                                "--no-connect",
                                                "--preset",
                                                "Plain Saw",
                                                "--set",
                                                "volume=0.5",
                                                "--set",
                                                "basicdelay.mix=1",
                                                "--setting",
                                                "midiChannel=3",
                                                "--map-file",
                                                "a.midimap",
                                                "--resources",
                                                "/data",
                                                "--seconds",
                                                "1.5",
                                                "--verbose"});

  ASSERT_TRUE(options.ok()) << options.reason();
  EXPECT_EQ(options.value().audio, AudioChoice::alsa);
  EXPECT_EQ(options.value().device, "hw:1");
  EXPECT_EQ(options.value().latencyFrames, 128U);
  EXPECT_EQ(options.value().sampleRateHz, 44100U);
  EXPECT_EQ(options.value().clientName, "keys");
  EXPECT_FALSE(options.value().connects);
  EXPECT_EQ(options.value().preset, "Plain Saw");
  ASSERT_EQ(options.value().sets.size(), 2U);
  EXPECT_EQ(options.value().sets[1].identifier, "basicdelay.mix");
  ASSERT_EQ(options.value().settings.size(), 1U);
  EXPECT_EQ(options.value().settings[0].value, 3.0);
  EXPECT_EQ(options.value().mapFile, "a.midimap");
  EXPECT_EQ(options.value().resources, "/data");
  EXPECT_EQ(options.value().seconds, 1.5);
  EXPECT_TRUE(options.value().verbose);
}

TEST(PlayOptions, MeansAlsaByTheNameOfADevice) {
  EXPECT_EQ(PlayOptions::parse(Words{"--device", "hw:1"}).value().audio, AudioChoice::alsa);
  EXPECT_EQ(PlayOptions::parse(Words{"--latency", "64"}).value().audio, AudioChoice::automatic);
  EXPECT_EQ(reasonFor({"--audio", "jack", "--device", "hw:1"}),
            "option '--device' is for ALSA; JACK has its own");
  EXPECT_EQ(reasonFor({"--audio", "jack", "--rate", "44100"}),
            "option '--rate' is for ALSA; JACK has its own");
}

TEST(PlayOptions, TellsWhatIsWrong) {
  EXPECT_EQ(reasonFor({"file.mid"}), "unexpected argument 'file.mid'");
  EXPECT_EQ(reasonFor({"--audio", "oss"}), "option '--audio': 'oss' is none of auto, jack and alsa");
  EXPECT_EQ(reasonFor({"--latency", "few"}), "option '--latency': 'few' is no whole number");
  EXPECT_EQ(reasonFor({"--latency", "15"}), "option '--latency': 15 is out of range (16 to 8192)");
  EXPECT_EQ(reasonFor({"--rate", "192001"}), "option '--rate': 192001 is out of range (8000 to 192000)");
  EXPECT_EQ(reasonFor({"--seconds", "0"}), "option '--seconds': '0' is no number above 0");
  EXPECT_EQ(reasonFor({"--seconds", "soon"}), "option '--seconds': 'soon' is no number above 0");
  EXPECT_THAT(reasonFor({"--client-name", ""}), HasSubstr("is no name of 1 to 32 letters"));
  EXPECT_THAT(reasonFor({"--client-name", "a:b"}), HasSubstr("'a:b' is no name"));
  EXPECT_THAT(reasonFor({"--client-name", std::string(33, 'a')}), HasSubstr("is no name"));
  EXPECT_EQ(reasonFor({"--set", "volume"}), "option '--set': 'volume' is not of the form ID=VALUE");
  EXPECT_THAT(reasonFor({"--setting", "midiChanel=1"}), HasSubstr("unknown setting 'midiChanel'"));
  EXPECT_THAT(reasonFor({"--latencies", "1"}), HasSubstr("the nearest is --latency"));
}

TEST(PlayOptions, NamesEveryOptionInItsHelp) {
  for (const char* option :
       {"--audio", "--device", "--latency", "--rate", "--client-name", "--no-connect", "--preset", "--set ",
        "--setting", "--map-file", "--resources", "--seconds", "--verbose", "--help", "130", "143"}) {
    EXPECT_THAT(PlayOptions::helpText(), HasSubstr(option));
  }
}

}  // namespace
}  // namespace morv::player
