#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "hosts/player/NsmSession.h"
#include "tests/player/FakeManager.h"

namespace morv::player {
namespace {

using testing::ElementsAre;
using testing::Optional;

constexpr double kPatienceSeconds = 20;
constexpr const char* kAnnounce = "/nsm/server/announce";
constexpr const char* kOpen = "/nsm/client/open";
constexpr const char* kSave = "/nsm/client/save";

class NsmSessionTest : public testing::Test {
 protected:
  NsmSessionTest() {
    NsmSession::Handlers handlers;
    handlers.open = [this](const std::string& path, const std::string& id) {
      opened_.push_back(path + " as " + id);
      return openOutcome_;
    };
    handlers.save = [this] {
      ++saves_;
      return saveOutcome_;
    };
    auto session = NsmSession::connect(manager_.url(), "morv", std::move(handlers));
    if (session.ok()) session_.emplace(std::move(session).value());
  }
  void SetUp() override {
    ASSERT_TRUE(session_.has_value());
    announcement_ = receive(kAnnounce);
    ASSERT_TRUE(announcement_.has_value());
  }

  std::optional<OscMessage> receive(const std::string& address) {
    return manager_.receive(address, kPatienceSeconds, [this] { EXPECT_TRUE(session_->turn(0).ok()); });
  }
  // Sends a message and turns the session until it has answered.
  std::optional<OscMessage> answerTo(const OscMessage& message, const std::string& address) {
    manager_.send(message);
    return receive(address);
  }
  static OscMessage open(const std::string& path) { return OscMessage(kOpen, {path, "shown", "morv.nABC"}); }

  FakeManager manager_;
  std::vector<std::string> opened_;
  int saves_ = 0;
  Outcome openOutcome_ = Done{};
  Outcome saveOutcome_ = Done{};
  std::optional<NsmSession> session_;
  std::optional<OscMessage> announcement_;
};

TEST_F(NsmSessionTest, AnnouncesNameAbilitiesProgramVersionAndProcess) {
  EXPECT_THAT(announcement_, Optional(OscMessage(kAnnounce, {"MORV", ":dirty:switch:", "morv", 1, 1,
                                                             static_cast<std::int32_t>(getpid())})));
}

TEST_F(NsmSessionTest, OpensWhatItIsToldAndReplies) {
  EXPECT_FALSE(session_->isOpen());

  EXPECT_THAT(answerTo(open("/session/morv.nABC"), "/reply"), Optional(OscMessage("/reply", {kOpen, "OK"})));

  EXPECT_THAT(opened_, ElementsAre("/session/morv.nABC as morv.nABC"));
  EXPECT_TRUE(session_->isOpen());
}

TEST_F(NsmSessionTest, TellsWhyItCannotOpen) {
  openOutcome_ = Failure{"no sound"};

  EXPECT_THAT(answerTo(open("/session"), "/error"), Optional(OscMessage("/error", {kOpen, -1, "no sound"})));

  EXPECT_FALSE(session_->isOpen());
}

TEST_F(NsmSessionTest, PassesOverARequestToOpenWithoutItsTexts) {
  manager_.send(OscMessage(kOpen, {"/session"}));
  answerTo(open("/other"), "/reply");

  EXPECT_THAT(opened_, ElementsAre("/other as morv.nABC"));
}

TEST_F(NsmSessionTest, SavesOnlyWhatIsOpen) {
  EXPECT_THAT(answerTo(OscMessage(kSave), "/error"),
              Optional(OscMessage("/error", {kSave, -6, "no session is open"})));
  EXPECT_EQ(saves_, 0);

  answerTo(open("/session"), "/reply");
  EXPECT_THAT(answerTo(OscMessage(kSave), "/reply"), Optional(OscMessage("/reply", {kSave, "OK"})));
  EXPECT_EQ(saves_, 1);
}

TEST_F(NsmSessionTest, TellsWhyItCannotSaveAndStaysDirty) {
  answerTo(open("/session"), "/reply");
  session_->tellDirty(true);
  ASSERT_TRUE(receive("/nsm/client/is_dirty").has_value());
  saveOutcome_ = Failure{"full"};

  EXPECT_THAT(answerTo(OscMessage(kSave), "/error"), Optional(OscMessage("/error", {kSave, -1, "full"})));
  session_->tellDirty(true);
  saveOutcome_ = Done{};
  answerTo(OscMessage(kSave), "/reply");

  EXPECT_TRUE(receive("/nsm/client/is_clean").has_value());
  EXPECT_EQ(manager_.receive("/nsm/client/is_dirty", 0), std::nullopt) << "told twice";
}

TEST_F(NsmSessionTest, EndsWhenTheManagerRefusesIt) {
  manager_.send(OscMessage("/error", {kAnnounce, -2, "too new"}));

  EXPECT_TRUE(holdsWithin(kPatienceSeconds, [this] { return !session_->turn(0).ok(); }));
}

TEST_F(NsmSessionTest, EndsWhenTheManagerDoesNotAnswerInTime) {
  EXPECT_TRUE(session_->turn(1).ok());
  EXPECT_TRUE(session_->turn(NsmSession::kSecondsForAnswer).ok());

  const Outcome late = session_->turn(NsmSession::kSecondsForAnswer + 1.5);

  ASSERT_FALSE(late.ok());
  EXPECT_EQ(late.reason(), "the session manager does not answer");
}

TEST_F(NsmSessionTest, WaitsAsLongAsItTakesOnceItIsWelcome) {
  manager_.send(OscMessage("/reply", {kAnnounce, "hello", "manager", ":server-control:"}));
  answerTo(OscMessage(kSave), "/error");

  EXPECT_TRUE(session_->turn(1000).ok());
}

}  // namespace
}  // namespace morv::player
