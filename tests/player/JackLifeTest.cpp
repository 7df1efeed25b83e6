#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jack/metadata.h>
#include <jack/transport.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/PropertyListFile.h"
#include "tests/player/JackListener.h"
#include "tests/player/PlayerFixture.h"
#include "tests/player/Polling.h"

namespace morv {
namespace {

using testing::Eq;
using testing::HasSubstr;

constexpr std::uint8_t kNoteOn = 0x90;
constexpr std::uint8_t kNoteOff = 0x80;

// The player on a server that drives no device.
class JackLife : public PlayerFixture {
 protected:
  std::unique_ptr<StartedProgram> server_ = startServer();
};

TEST_F(JackLife, PlaysWhatComesOnEveryChannel) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto player = start({"play", "--no-connect", "--client-name", "other", "--seconds", "30"});
  ASSERT_TRUE(listener.connectTo("other")) << player->messages();

  for (std::uint8_t channel = 0; channel < 16; channel += 5) {
    listener.send(kNoteOn | channel, 60, 100);
    EXPECT_TRUE(listener.hearsSound()) << int{channel};
    listener.send(kNoteOff | channel, 60, 0);
    EXPECT_TRUE(listener.hearsSilence()) << int{channel};
  }

  EXPECT_TRUE(player->isRunning());
}

TEST_F(JackLife, EndsByItselfBehindItsTime) {
  JackListener listener;
  const auto player = start({"play", "--seconds", "0.3"});

  EXPECT_THAT(player->status(kPatienceSeconds), Eq(0));
}

TEST_F(JackLife, ConnectsToTheFirstPhysicalPairUnlessToldNotTo) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto player = start({"play"});
  EXPECT_TRUE(listener.seesConnections("morv:out_left", 1));
  EXPECT_TRUE(listener.seesConnections("morv:out_right", 1));
  EXPECT_TRUE(listener.seesConnections("system:playback_1", 1));
  EXPECT_TRUE(listener.seesConnections("system:playback_2", 1));

  const auto alone = start({"play", "--no-connect", "--client-name", "alone"});
  ASSERT_TRUE(listener.connectTo("alone"));
  EXPECT_TRUE(listener.seesConnections("alone:out_left", 1));
  EXPECT_TRUE(listener.seesConnections("system:playback_1", 1));
}

TEST_F(JackLife, TellsWhatItsPortsAre) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto player = start({"play"});
  ASSERT_TRUE(listener.connectTo("morv"));

  const auto property = [&](const char* port, const char* key) {
    char* value = nullptr;
    char* type = nullptr;
    const jack_uuid_t uuid = jack_port_uuid(jack_port_by_name(listener.client(), port));
    holdsWithin(kPatienceSeconds, [&] { return jack_get_property(uuid, key, &value, &type) == 0; });
    std::string text = value != nullptr ? value : "";
    jack_free(value);
    jack_free(type);
    return text;
  };
  EXPECT_EQ(property("morv:out_left", JACK_METADATA_PRETTY_NAME), "Left");
  EXPECT_EQ(property("morv:out_right", JACK_METADATA_PRETTY_NAME), "Right");
  EXPECT_EQ(property("morv:midi_in", JACK_METADATA_PRETTY_NAME), "MIDI In");
  EXPECT_EQ(property("morv:midi_out", JACK_METADATA_PRETTY_NAME), "MIDI Out");
  EXPECT_EQ(property("morv:out_right", JACK_METADATA_ORDER), "1");
  EXPECT_EQ(property("morv:out_left", JACK_METADATA_SIGNAL_TYPE), "AUDIO");
  EXPECT_EQ(property("morv:out_left", JACK_METADATA_PORT_GROUP),
            property("morv:out_right", JACK_METADATA_PORT_GROUP));
}

TEST_F(JackLife, SoundsOnWhenTheCycleGetsLongerAndShorter) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto player = start({"play", "--no-connect"});
  ASSERT_TRUE(listener.connectTo("morv"));
  listener.send(kNoteOn, 60, 100);
  ASSERT_TRUE(listener.hearsSound());

  for (const jack_nframes_t frames : {1024U, 64U, 512U}) {
    ASSERT_EQ(jack_set_buffer_size(listener.client(), frames), 0);
    EXPECT_TRUE(listener.hearsSound()) << frames;
  }

  listener.send(kNoteOff, 60, 0);
  EXPECT_TRUE(listener.hearsSilence());
}

TEST_F(JackLife, SurvivesThatItsPortsAreDisconnected) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto player = start({"play", "--no-connect"});
  ASSERT_TRUE(listener.connectTo("morv"));
  listener.send(kNoteOn, 60, 100);
  ASSERT_TRUE(listener.hearsSound());

  ASSERT_TRUE(listener.disconnectFrom("morv"));
  EXPECT_TRUE(listener.hearsSilence());
  ASSERT_TRUE(listener.connectTo("morv"));

  EXPECT_TRUE(listener.hearsSound());
}

TEST_F(JackLife, PlaysWhileTheServerFreewheels) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto player = start({"play", "--no-connect"});
  ASSERT_TRUE(listener.connectTo("morv"));
  ASSERT_EQ(jack_set_freewheel(listener.client(), 1), 0);
  listener.send(kNoteOn, 60, 100);

  EXPECT_TRUE(listener.hearsSound());

  ASSERT_EQ(jack_set_freewheel(listener.client(), 0), 0);
  EXPECT_TRUE(listener.hearsSound());
}

// The new server runs at another rate, so the unit is made ready anew, too.
TEST_F(JackLife, ComesBackWithItsServerAndSoundsAgain) {
  constexpr double kSecondsToComeBack = 2;
  auto listener = std::make_unique<JackListener>();
  ASSERT_TRUE(listener->isOpen());
  const auto player = start({"play", "--no-connect"});
  ASSERT_TRUE(listener->connectTo("morv"));
  listener->send(kNoteOn, 60, 100);
  ASSERT_TRUE(listener->hearsSound());

  server_->signal(SIGKILL);
  ASSERT_TRUE(server_->status(kPatienceSeconds).has_value());
  EXPECT_TRUE(tells(*player, "morv: the JACK server is gone; waiting for it\n"));
  listener.reset();
  server_ = startServer(false, "44100");
  listener = std::make_unique<JackListener>();
  ASSERT_TRUE(listener->isOpen());

  EXPECT_TRUE(holdsWithin(kSecondsToComeBack, [&] {
    return jack_port_by_name(listener->client(), "morv:midi_in") != nullptr;
  })) << player->messages();
  ASSERT_TRUE(listener->connectTo("morv"));
  EXPECT_TRUE(listener->hearsSilence()) << "the note of before still sounds";
  listener->send(kNoteOn, 64, 100);
  EXPECT_TRUE(listener->hearsSound());
  EXPECT_TRUE(tells(*player, "morv: the JACK server is back\n"));
}

TEST_F(JackLife, LastsFromItsStartOverAnotherServerAndAnotherCycleToItsEnd) {
  constexpr int kTerminated = 143;
  auto listener = std::make_unique<JackListener>();
  ASSERT_TRUE(listener->isOpen());
  const auto player = start({"play", "--no-connect"});
  ASSERT_TRUE(listener->connectTo("morv"));
  listener->send(kNoteOn, 60, 100);
  EXPECT_TRUE(listener->hearsSound());

  server_->signal(SIGKILL);
  ASSERT_TRUE(server_->status(kPatienceSeconds).has_value());
  listener.reset();
  server_ = startServer();
  listener = std::make_unique<JackListener>();
  ASSERT_TRUE(listener->isOpen());
  ASSERT_TRUE(listener->connectTo("morv")) << player->messages();
  listener->send(kNoteOn, 64, 100);
  EXPECT_TRUE(listener->hearsSound());

  ASSERT_EQ(jack_set_buffer_size(listener->client(), 128), 0);
  EXPECT_TRUE(listener->hearsSound());

  player->signal(SIGTERM);
  EXPECT_THAT(player->status(kPatienceSeconds), Eq(kTerminated));
  EXPECT_TRUE(listener->hearsSilence());
}

TEST_F(JackLife, MovesTheParametersOfItsMappingFileAndLeavesTheUsersAlone) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto list = start({"parameters"});
  ASSERT_THAT(list->status(kPatienceSeconds), Eq(0));
  const std::string table = list->messages();
  const auto begin = table.find("morv\tvolume\t") + std::string("morv\tvolume\t").size();
  const std::string address = table.substr(begin, table.find('\t', begin) - begin);
  const std::string file =
      folder_.write("own.midimap",
                    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                    "<key>20</key><integer>" +
                        address + "</integer></dict></plist>");
  const auto player = start({"play", "--no-connect", "--map-file", file});
  ASSERT_TRUE(listener.connectTo("morv"));
  listener.send(kNoteOn, 60, 100);
  ASSERT_TRUE(listener.hearsSound());

  listener.send(0xB0, 20, 0);
  EXPECT_TRUE(listener.hearsSilence());
  listener.send(0xB0, 20, 127);
  EXPECT_TRUE(listener.hearsSound());

  EXPECT_FALSE(std::filesystem::exists(folder_.path("data/morv/MIDIMappings/default.midimap")));
}

TEST_F(JackLife, PlaysThePresetThatItStartsWith) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto player = start({"play", "--no-connect", "--preset", "plain saw"});
  ASSERT_TRUE(listener.connectTo("morv"));

  listener.send(kNoteOn, 60, 100);
  EXPECT_TRUE(listener.hearsSound());

  const auto shared = readPropertyListFile(folder_.path("config/morv/group.org.morv.plist"));
  ASSERT_TRUE(shared.ok()) << shared.reason();
  const PropertyListValue* last = shared.value().dictionary()->find("lastPreset");
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(*last, PropertyListValue("[FACTORY]_INIT_Plain Saw"));
}

TEST_F(JackLife, ListsTheServerAmongTheDevices) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const auto devices = start({"devices", "--json"});

  EXPECT_THAT(devices->status(kPatienceSeconds), Eq(0));

  EXPECT_THAT(devices->messages(),
              HasSubstr("\"jack\": {\"available\": true, \"rate\": 48000, \"frames\": 256, \"outputs\": "
                        "[\"system:playback_1\", \"system:playback_2\"], "));
}

}  // namespace
}  // namespace morv
