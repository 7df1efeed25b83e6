#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <string>

#include "tests/hosts/Program.h"
#include "tests/player/PlayerFixture.h"
#include "tests/player/Polling.h"

namespace morv {
namespace {

using testing::Eq;
using testing::HasSubstr;
using testing::Not;

constexpr int kUsage = 2;
constexpr int kBadInput = 3;
constexpr int kNoDevice = 5;
constexpr double kSecondsToGiveUp = 2;

class PlayProgram : public PlayerFixture {};

TEST_F(PlayProgram, GivesUpSoonWithoutAnythingToPlayOn) {
  const auto player = start({"play"});

  EXPECT_THAT(player->status(kSecondsToGiveUp), Eq(kNoDevice));

  EXPECT_EQ(player->messages(), "morv: no JACK server answers; ALSA has no output device\n");
}

TEST_F(PlayProgram, TellsWhichSystemHasNothingToPlayOn) {
  const auto onJack = start({"play", "--audio", "jack"});
  EXPECT_THAT(onJack->status(kSecondsToGiveUp), Eq(kNoDevice));
  EXPECT_EQ(onJack->messages(), "morv: no JACK server answers\n");

  const auto onAlsa = start({"play", "--device", "hw:0"});
  EXPECT_THAT(onAlsa->status(kSecondsToGiveUp), Eq(kNoDevice));
  EXPECT_THAT(onAlsa->messages(), HasSubstr("\nmorv: ALSA has no output device\n"));
}

TEST_F(PlayProgram, RefusesWordsThatItDoesNotKnowAheadOfEverythingElse) {
  const auto player = start({"play", "--audoi", "jack"});

  EXPECT_THAT(player->status(kPatienceSeconds), Eq(kUsage));

  EXPECT_EQ(player->messages(),
            "morv: unknown option '--audoi'; the nearest is --audio\nTry 'morv play --help'.\n");
}

TEST_F(PlayProgram, RefusesWhatTheInstrumentDoesNotHave) {
  const auto parameter = start({"play", "--set", "volum=1"});
  EXPECT_THAT(parameter->status(kPatienceSeconds), Eq(kUsage));
  const auto preset = start({"play", "--preset", "Plain Sew"});
  EXPECT_THAT(preset->status(kPatienceSeconds), Eq(kUsage));
  const auto mapping = start({"play", "--map-file", folder_.path("none.midimap")});
  EXPECT_THAT(mapping->status(kPatienceSeconds), Eq(kBadInput));

  EXPECT_THAT(mapping->messages(), HasSubstr("unknown parameter 'volum'; the nearest are volume"));
  EXPECT_THAT(mapping->messages(), HasSubstr("unknown preset 'Plain Sew'; the nearest are Plain Saw"));
  EXPECT_THAT(mapping->messages(), HasSubstr("none.midimap: No such file"));
}

TEST_F(PlayProgram, ListsDevicesEvenIfThereAreNone) {
  const auto text = start({"devices"});
  EXPECT_THAT(text->status(kSecondsToGiveUp), Eq(0));
  EXPECT_THAT(text->messages(), HasSubstr("JACK: no JACK server answers\nALSA: no output device\n"));

  const auto json = start({"devices", "--json"});
  EXPECT_THAT(json->status(kSecondsToGiveUp), Eq(0));
  EXPECT_THAT(json->messages(), HasSubstr("{\"version\": 1,\n \"jack\": {\"available\": false, "));
}

TEST_F(PlayProgram, TellsThatASessionManagerIsNoneOfItsKind) {
  const auto player = start({}, {{"NSM_URL", "osc.tcp://localhost:1234/"}});

  EXPECT_THAT(player->status(kPatienceSeconds), Eq(1));

  EXPECT_EQ(player->messages(),
            "morv: NSM_URL: 'osc.tcp://localhost:1234/' is not of the form osc.udp://HOST:PORT/\n");
}

}  // namespace
}  // namespace morv
