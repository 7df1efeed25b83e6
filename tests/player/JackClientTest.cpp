#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "hosts/player/JackClient.h"
#include "hosts/player/PlayerEngine.h"
#include "tests/player/JackListener.h"
#include "tests/player/PlayerFixture.h"
#include "tests/player/Polling.h"
#include "tests/player/TrappedCallbacks.h"
#include "tests/realtime/RenderTrap.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The client within the test, where the unit is in reach.
class JackClientTest : public PlayerFixture {
 protected:
  JackClientTest() {
    options_.connects = false;
    options_.log = [this](const std::string& line) { log_.push_back(line); };
    options_.details = [](const std::string&) {};
  }

  std::unique_ptr<StartedProgram> server_ = startServer(true);
  std::vector<std::string> log_;
  HostSurroundings surroundings_{Directories::under(folder_.path("user")),
                                 [this](const std::string& line) { log_.push_back(line); }};
  player::PlayerEngine engine_{surroundings_, nullptr, {}};
  player::DriverOptions options_;
};

TEST_F(JackClientTest, SendsWhatTheUnitSends) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  player::JackClient client(engine_, options_);
  ASSERT_TRUE(client.open().ok());
  ASSERT_TRUE(listener.connectTo("morv"));

  ASSERT_TRUE(listener.hears([this] { engine_.unit().outputMIDICC(0, 0, 0); }));

  engine_.unit().outputMIDICC(7, 99, 3);
  engine_.unit().outputMIDICC(8, 1, 0);

  EXPECT_THAT(listener.receive(), ElementsAre(0xB3, 7, 99));
  EXPECT_THAT(listener.receive(), ElementsAre(0xB0, 8, 1));
}

TEST_F(JackClientTest, TakesTheTempoFromWhoeverKeepsTheTransportsTime) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  player::JackClient client(engine_, options_);
  ASSERT_TRUE(client.open().ok());
  EXPECT_EQ(engine_.unit().tempo(), 0.0F);

  ASSERT_TRUE(listener.keepTempo(93.5));

  EXPECT_TRUE(holdsWithin(kPatienceSeconds, [this] { return engine_.unit().tempo() == 93.5F; }))
      << engine_.unit().tempo();
}

// All that reaches the callback at once: notes and controllers, a tempo, messages of the unit's own,
// parameters and presets that the main thread sets, and requests to end all notes.
TEST_F(JackClientTest, NeitherAllocatesNorLocksNorWaitsInItsCallback) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  const TrappedCallbacks trapped;
  player::JackClient client(engine_, options_);
  ASSERT_TRUE(client.open().ok());
  ASSERT_TRUE(listener.connectTo("morv"));
  ASSERT_TRUE(listener.keepTempo(120));
  AUParameter* cutoff = engine_.unit().parameterTree()->parameterForKeyPath("morv.filterCutoff");
  ASSERT_NE(cutoff, nullptr);
  const long calls = RenderTrap::caught();
  const long cycles = TrappedCallbacks::cycles();

  for (int i = 0; i < 200; ++i) {
    const auto note = static_cast<std::uint8_t>(36 + i % 48);
    listener.send(0x90, note, 100);
    listener.send(0xB0, 1, static_cast<std::uint8_t>(i % 128));
    if (i % 20 == 0) listener.send(0xC0, static_cast<std::uint8_t>(i % 4), 0);
    if (i % 50 == 49) engine_.allNotesOff();
    cutoff->setValue(static_cast<float>(200 + 50 * i));
    engine_.unit().outputMIDICC(7, i % 128, 0);
    const std::uint64_t begin = engine_.cycles();
    ASSERT_TRUE(holdsWithin(kPatienceSeconds, [&] { return engine_.cycles() > begin; }));
    engine_.turn(0.01 * i);
    listener.send(0x80, note, 0);
  }

  EXPECT_GE(TrappedCallbacks::cycles() - cycles, 200);
  EXPECT_EQ(RenderTrap::caught(), calls) << RenderTrap::lastCaught();
}

TEST_F(JackClientTest, OpensAgainBehindItsClose) {
  JackListener listener;
  ASSERT_TRUE(listener.isOpen());
  player::JackClient client(engine_, options_);
  ASSERT_TRUE(client.open().ok());
  EXPECT_TRUE(client.isRunning());

  client.close();
  EXPECT_FALSE(client.isRunning());
  ASSERT_TRUE(client.open().ok());

  const std::uint64_t begin = engine_.cycles();
  EXPECT_TRUE(holdsWithin(kPatienceSeconds, [&] { return engine_.cycles() > begin + 3; }));
  EXPECT_THAT(log_, IsEmpty());
}

}  // namespace
}  // namespace morv
