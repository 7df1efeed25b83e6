#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/PropertyListFile.h"
#include "tests/player/JackListener.h"
#include "tests/player/PlayerFixture.h"
#include "tests/player/Polling.h"

namespace morv {
namespace {

using testing::AnyOf;
using testing::Eq;
using testing::HasSubstr;
using testing::Not;
using testing::Optional;

constexpr int kInterrupted = 130;
constexpr int kTerminated = 143;
constexpr const char* kOrderly = "the notes have ended";

// How the player ends, with a setting of which the disk does not know yet.
class PlayerSignals : public PlayerFixture {
 protected:
  void startPlayer() { player_ = start({"play", "--verbose", "--setting", "midiNotePriority=2"}); }
  // A whole number of a settings file; none without it.
  std::optional<std::int64_t> saved(const std::string& suite, const std::string& key) const {
    const auto file = readPropertyListFile(folder_.path("config/morv/" + suite + ".plist"));
    EXPECT_TRUE(file.ok());
    if (!file.ok() || file.value().dictionary() == nullptr) return std::nullopt;
    const PropertyListValue* value = file.value().dictionary()->find(key);
    return value != nullptr ? value->integer() : std::nullopt;
  }

  std::unique_ptr<StartedProgram> server_ = startServer();
  std::unique_ptr<StartedProgram> player_;
};

class HeardPlayerSignals : public PlayerSignals {
 protected:
  void SetUp() override {
    ASSERT_TRUE(listener_.isOpen());
    startPlayer();
    ASSERT_TRUE(listener_.connectTo("morv"));
  }

  JackListener listener_;
};

TEST_F(HeardPlayerSignals, EndTheProgramInTheMiddleOfANoteWithItsSettingsSaved) {
  listener_.send(0x90, 60, 100);
  ASSERT_TRUE(listener_.hearsSound());

  player_->signal(SIGTERM);

  EXPECT_THAT(player_->status(kPatienceSeconds), Eq(kTerminated));
  EXPECT_THAT(saved("org.morv", "midiChannel"), Optional(-1));
  EXPECT_THAT(saved("group.org.morv", "midiNotePriority"), Optional(2));
}

TEST_F(HeardPlayerSignals, TellTheShellThatItWasInterrupted) {
  player_->signal(SIGINT);

  EXPECT_THAT(player_->status(kPatienceSeconds), Eq(kInterrupted));
  EXPECT_THAT(saved("group.org.morv", "midiNotePriority"), Optional(2));
  EXPECT_THAT(player_->messages(), HasSubstr(kOrderly));
}

// Both signals wait while the player stands still, so the second one comes ahead of any cleaning up. A player
// that leaves its server like this can hang every other client of it, so the test keeps none.
TEST_F(PlayerSignals, EndTheProgramAtOnceWhenThereAreTwoOfThem) {
  ASSERT_TRUE(JackListener().isOpen());
  startPlayer();
  ASSERT_TRUE(holdsWithin(kPatienceSeconds,
                          [&] { return player_->messages().find("JACK client") != std::string::npos; }));
  player_->signal(SIGSTOP);
  player_->signal(SIGTERM);
  player_->signal(SIGINT);
  player_->signal(SIGCONT);

  EXPECT_THAT(player_->status(kPatienceSeconds), AnyOf(Eq(kTerminated), Eq(kInterrupted)));
  EXPECT_THAT(player_->messages(), Not(HasSubstr(kOrderly)));
}

}  // namespace
}  // namespace morv
