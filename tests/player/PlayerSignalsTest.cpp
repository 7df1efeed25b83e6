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

namespace morv {
namespace {

using testing::AnyOf;
using testing::Eq;
using testing::Ne;
using testing::Optional;

constexpr int kInterrupted = 130;
constexpr int kTerminated = 143;

// How the player ends, with a setting of which the disk does not know yet.
class PlayerSignals : public PlayerFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(listener_.isOpen());
    player_ = start({"play", "--setting", "midiNotePriority=2"});
    ASSERT_TRUE(listener_.connectTo("morv"));
  }
  // A whole number of a settings file; none without it.
  std::optional<std::int64_t> saved(const std::string& suite, const std::string& key) const {
    const auto file = readPropertyListFile(folder_.path("config/morv/" + suite + ".plist"));
    EXPECT_TRUE(file.ok());
    if (!file.ok() || file.value().dictionary() == nullptr) return std::nullopt;
    const PropertyListValue* value = file.value().dictionary()->find(key);
    return value != nullptr ? value->integer() : std::nullopt;
  }

  std::unique_ptr<StartedProgram> server_ = startServer();
  JackListener listener_;
  std::unique_ptr<StartedProgram> player_;
};

TEST_F(PlayerSignals, EndsTheProgramInTheMiddleOfANoteWithItsSettingsSaved) {
  listener_.send(0x90, 60, 100);
  ASSERT_TRUE(listener_.hearsSound());

  player_->signal(SIGTERM);

  EXPECT_THAT(player_->status(kPatienceSeconds), Eq(kTerminated));
  EXPECT_THAT(saved("org.morv", "midiChannel"), Optional(-1));
  EXPECT_THAT(saved("group.org.morv", "midiNotePriority"), Optional(2));
}

TEST_F(PlayerSignals, TellsTheShellThatItWasInterrupted) {
  player_->signal(SIGINT);

  EXPECT_THAT(player_->status(kPatienceSeconds), Eq(kInterrupted));
  EXPECT_THAT(saved("group.org.morv", "midiNotePriority"), Optional(2));
}

// Both signals wait while the player stands still, so the second one comes ahead of any cleaning up.
TEST_F(PlayerSignals, EndsTheProgramAtOnceWhenThereAreTwoOfThem) {
  player_->signal(SIGSTOP);
  player_->signal(SIGTERM);
  player_->signal(SIGINT);
  player_->signal(SIGCONT);

  EXPECT_THAT(player_->status(kPatienceSeconds), AnyOf(Eq(kTerminated), Eq(kInterrupted)));
  EXPECT_THAT(saved("group.org.morv", "midiNotePriority"), Ne(std::optional<std::int64_t>(2)));
}

}  // namespace
}  // namespace morv
