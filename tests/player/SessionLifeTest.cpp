#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/PropertyListFile.h"
#include "tests/player/FakeManager.h"
#include "tests/player/JackListener.h"
#include "tests/player/PlayerFixture.h"
#include "tests/player/Polling.h"

namespace morv {
namespace {

using player::OscMessage;
using testing::ElementsAre;
using testing::Eq;
using testing::HasSubstr;
using testing::Optional;

constexpr int kHungUp = 129;
constexpr int kTerminated = 143;
constexpr const char* kOpen = "/nsm/client/open";
constexpr const char* kSave = "/nsm/client/save";
constexpr std::uint8_t kController = 20;

// The program as a session manager starts it.
class SessionLife : public PlayerFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(listener_.isOpen());
    player_ = startAndAnnounce();
  }
  std::unique_ptr<StartedProgram> startAndAnnounce() {
    // Its own mapping lets a controller move the volume.
    const auto list = start({"parameters"});
    EXPECT_THAT(list->status(kPatienceSeconds), Eq(0));
    const std::string table = list->messages();
    const std::string row = "morv\tvolume\t";
    const auto begin = table.find(row) + row.size();
    std::filesystem::create_directories(folder_.path("data/morv/MIDIMappings"));
    folder_.write("data/morv/MIDIMappings/default.midimap",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict><key>" +
                      std::to_string(kController) + "</key><integer>" +
                      table.substr(begin, table.find('\t', begin) - begin) + "</integer></dict></plist>");
    auto player = start({}, {{"NSM_URL", manager_.url()}});
    announcement_ = manager_.receive("/nsm/server/announce", kPatienceSeconds);
    EXPECT_TRUE(announcement_.has_value()) << player->messages();
    manager_.send(OscMessage("/reply", {"/nsm/server/announce", "hello", "manager", ":server-control:"}));
    return player;
  }
  bool opens(const std::string& path, const std::string& id) {
    manager_.send(OscMessage(kOpen, {path, "MORV", id}));
    return manager_.receive("/reply", kPatienceSeconds) == OscMessage("/reply", {kOpen, "OK"});
  }
  bool saves() {
    manager_.send(OscMessage(kSave));
    return manager_.receive("/reply", kPatienceSeconds) == OscMessage("/reply", {kSave, "OK"});
  }
  std::optional<double> savedVolume(const std::string& path) const {
    const auto file = readPropertyListFile(path + "/state.plist");
    EXPECT_TRUE(file.ok());
    if (!file.ok()) return std::nullopt;
    const PropertyListValue* value = &file.value();
    for (const char* key : {"parameters", "morv", "volume"}) {
      if (value == nullptr || value->dictionary() == nullptr) return std::nullopt;
      value = value->dictionary()->find(key);
    }
    return value != nullptr ? value->number() : std::nullopt;
  }
  bool hasPort(const std::string& name) const {
    return jack_port_by_name(listener_.client(), name.c_str()) != nullptr;
  }

  std::unique_ptr<StartedProgram> server_ = startServer();
  JackListener listener_;
  FakeManager manager_;
  std::unique_ptr<StartedProgram> player_;
  std::optional<OscMessage> announcement_;
  const std::string path_ = folder_.path("sessions/song/MORV.nABC");
};

TEST_F(SessionLife, WaitsWithJackUntilItIsToldItsNameAndConnectsToNothing) {
  EXPECT_EQ(announcement_->textAt(0), "MORV");
  EXPECT_EQ(announcement_->textAt(2), "morv");
  EXPECT_FALSE(hasPort("morv:out_left"));

  ASSERT_TRUE(opens(path_, "MORV.nABC")) << player_->messages();

  EXPECT_TRUE(hasPort("MORV.nABC:out_left"));
  EXPECT_FALSE(hasPort("morv:out_left"));
  EXPECT_TRUE(listener_.seesConnections("MORV.nABC:out_left", 0));
}

TEST_F(SessionLife, TellsItsChangesAndSavesThemBelowThePathAlone) {
  ASSERT_TRUE(opens(path_, "MORV.nABC"));
  ASSERT_TRUE(listener_.connectTo("MORV.nABC"));
  EXPECT_FALSE(std::filesystem::exists(path_)) << "saved without being asked";

  listener_.send(0xB0, kController, 0);
  EXPECT_TRUE(manager_.receive("/nsm/client/is_dirty", kPatienceSeconds).has_value());
  ASSERT_TRUE(saves());

  EXPECT_TRUE(manager_.receive("/nsm/client/is_clean", kPatienceSeconds).has_value());
  EXPECT_EQ(savedVolume(path_), 0.0);
  std::vector<std::string> files;
  for (const auto& each : std::filesystem::recursive_directory_iterator(folder_.path("sessions"))) {
    if (each.is_regular_file()) files.push_back(each.path().string());
  }
  EXPECT_THAT(files, ElementsAre(path_ + "/state.plist"));
}

TEST_F(SessionLife, TakesUpASavedSessionInANewRun) {
  ASSERT_TRUE(opens(path_, "MORV.nABC"));
  ASSERT_TRUE(listener_.connectTo("MORV.nABC"));
  listener_.send(0xB0, kController, 0);
  ASSERT_TRUE(manager_.receive("/nsm/client/is_dirty", kPatienceSeconds).has_value());
  ASSERT_TRUE(saves());
  player_->signal(SIGTERM);
  ASSERT_THAT(player_->status(kPatienceSeconds), Eq(kTerminated));

  player_ = startAndAnnounce();
  ASSERT_TRUE(opens(path_, "MORV.nABC"));
  std::filesystem::remove(path_ + "/state.plist");
  ASSERT_TRUE(saves());

  EXPECT_EQ(savedVolume(path_), 0.0);
}

TEST_F(SessionLife, BeginsANewSessionWithWhatItWasStartedWith) {
  player_ = start({"play", "--set", "volume=0.25"}, {{"NSM_URL", manager_.url()}});
  ASSERT_TRUE(manager_.receive("/nsm/server/announce", kPatienceSeconds).has_value());

  ASSERT_TRUE(opens(path_, "MORV.nABC"));
  ASSERT_TRUE(saves());

  EXPECT_EQ(savedVolume(path_), 0.25);
}

TEST_F(SessionLife, GoesOverToAnotherSessionAsIfItHadJustBegun) {
  const std::string other = folder_.path("sessions/other/MORV.nXYZ");
  ASSERT_TRUE(opens(path_, "MORV.nABC"));
  ASSERT_TRUE(saves());
  const auto usual = savedVolume(path_);
  ASSERT_TRUE(listener_.connectTo("MORV.nABC"));
  listener_.send(0xB0, kController, 0);
  ASSERT_TRUE(manager_.receive("/nsm/client/is_dirty", kPatienceSeconds).has_value());

  ASSERT_TRUE(opens(other, "MORV.nXYZ"));
  ASSERT_TRUE(saves());

  EXPECT_NE(usual, 0.0);
  EXPECT_EQ(savedVolume(other), usual);
  EXPECT_EQ(savedVolume(path_), usual) << "the other session was written to";
  EXPECT_TRUE(hasPort("MORV.nXYZ:out_left"));
  EXPECT_FALSE(hasPort("MORV.nABC:out_left"));
}

TEST_F(SessionLife, TellsThatASessionIsDamagedAndLivesOn) {
  std::filesystem::create_directories(path_);
  folder_.write("sessions/song/MORV.nABC/state.plist", std::string("no list"));

  manager_.send(OscMessage(kOpen, {path_, "MORV", "MORV.nABC"}));
  const auto answer = manager_.receive("/error", kPatienceSeconds);

  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(answer->textAt(0), kOpen);
  EXPECT_EQ(answer->integerAt(1), -1);
  EXPECT_THAT(answer->textAt(2), HasSubstr("state.plist"));
  EXPECT_TRUE(opens(folder_.path("sessions/whole"), "MORV.nABC"));
}

// No server takes a client with so long a name.
TEST_F(SessionLife, StaysInItsSessionWhenItCannotAppearInTheNext) {
  const std::string other = folder_.path("sessions/other");
  ASSERT_TRUE(opens(path_, "MORV.nABC"));
  ASSERT_TRUE(listener_.connectTo("MORV.nABC"));
  listener_.send(0xB0, kController, 0);
  ASSERT_TRUE(manager_.receive("/nsm/client/is_dirty", kPatienceSeconds).has_value());

  manager_.send(OscMessage(kOpen, {other, "MORV", std::string(400, 'n')}));
  const auto answer = manager_.receive("/error", kPatienceSeconds);

  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(answer->textAt(0), kOpen);
  EXPECT_TRUE(hasPort("MORV.nABC:out_left"));
  ASSERT_TRUE(saves());
  EXPECT_EQ(savedVolume(path_), 0.0);
  EXPECT_FALSE(std::filesystem::exists(other));
}

// A state of another form is tried again a second later, which changes nothing.
TEST_F(SessionLife, HasNothingToSaveBehindAnOpen) {
  constexpr double kLongEnoughSeconds = 1.5;
  std::filesystem::create_directories(path_);
  folder_.write("sessions/song/MORV.nABC/state.plist",
                std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                            "<key>parameters</key><integer>3</integer></dict></plist>"));
  ASSERT_TRUE(opens(path_, "MORV.nABC")) << player_->messages();

  EXPECT_FALSE(manager_.receive("/nsm/client/is_dirty", kLongEnoughSeconds).has_value());

  ASSERT_TRUE(listener_.connectTo("MORV.nABC"));
  listener_.send(0xB0, kController, 0);
  EXPECT_TRUE(manager_.receive("/nsm/client/is_dirty", kPatienceSeconds).has_value());
}

// What a terminal sends to its programs when it is closed; here with a setting that the disk does not know
// yet.
TEST_F(SessionLife, EndsWithItsSettingsSavedWhenItsTerminalIsGone) {
  player_ = start({"play", "--setting", "midiNotePriority=2"}, {{"NSM_URL", manager_.url()}});
  ASSERT_TRUE(manager_.receive("/nsm/server/announce", kPatienceSeconds).has_value());
  ASSERT_TRUE(opens(path_, "MORV.nABC"));

  player_->signal(SIGHUP);

  EXPECT_THAT(player_->status(kPatienceSeconds), Eq(kHungUp));
  const auto file = readPropertyListFile(folder_.path("config/morv/group.org.morv.plist"));
  ASSERT_TRUE(file.ok());
  const PropertyListValue* saved = file.value().dictionary()->find("midiNotePriority");
  ASSERT_NE(saved, nullptr);
  EXPECT_THAT(saved->integer(), Optional(2));
}

TEST_F(SessionLife, EndsAtOnceWhenItsManagerEndsIt) {
  ASSERT_TRUE(opens(path_, "MORV.nABC"));

  player_->signal(SIGTERM);

  EXPECT_THAT(player_->status(2), Eq(kTerminated));
}

TEST_F(SessionLife, EndsWithAMessageWhenItsManagerRefusesIt) {
  player_ = start({}, {{"NSM_URL", manager_.url()}});
  ASSERT_TRUE(manager_.receive("/nsm/server/announce", kPatienceSeconds).has_value());

  manager_.send(OscMessage("/error", {"/nsm/server/announce", -2, "too new"}));

  EXPECT_THAT(player_->status(kPatienceSeconds), Eq(1));
  EXPECT_THAT(player_->messages(), HasSubstr("morv: the session manager refuses: too new\n"));
}

}  // namespace
}  // namespace morv
