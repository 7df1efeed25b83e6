#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "hosts/player/AlsaDriver.h"
#include "hosts/player/PlayerEngine.h"
#include "tests/player/AlsaFixture.h"
#include "tests/player/TrappedStreams.h"
#include "tests/realtime/RenderTrap.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::Eq;
using testing::HasSubstr;
using testing::Not;

// The player on an ALSA device.
class AlsaLife : public AlsaFixture {
 protected:
  std::unique_ptr<StartedProgram> server_ = startDevice();
};

TEST_F(AlsaLife, TellsItsDeviceAndThatNoSequencerIsThereAndNothingElse) {
  const auto player = start({"play", "--audio", "alsa", "--seconds", "0.5", "--verbose"}, device_);

  EXPECT_THAT(player->status(kPatienceSeconds), Eq(0));
  std::istringstream messages(player->messages());
  std::vector<std::string> lines;
  for (std::string line; std::getline(messages, line);) {
    const bool isOfABusyMachine = line.find("cycles came too late") != std::string::npos;
    if (!isOfABusyMachine) lines.push_back(line);
  }
  EXPECT_THAT(lines, ElementsAre("morv: ALSA device 'default', 48000 Hz, 256 frames in a cycle",
                                 "morv: no ALSA sequencer: nothing can be played over MIDI",
                                 "morv: the notes have ended"));
}

TEST_F(AlsaLife, TakesRateAndLatencyThatItIsGiven) {
  const auto player = start({"play", "--audio", "alsa", "--device", "def", "--rate", "44100", "--latency",
                             "512", "--seconds", "0.2", "--verbose"},
                            device_);

  EXPECT_THAT(player->status(kPatienceSeconds), Eq(0));
  EXPECT_THAT(player->messages(), HasSubstr("ALSA device 'default', 44100 Hz, 512 frames in a cycle\n"));
}

TEST_F(AlsaLife, ListsTheDevice) {
  const auto list = start({"devices"}, device_);

  EXPECT_THAT(list->status(kPatienceSeconds), Eq(0));
  EXPECT_THAT(list->messages(), HasSubstr("  0  default (default), 32 outputs, "));
}

TEST_F(AlsaLife, EndsBySignalWithTheNotesEnded) {
  const auto player = start({"play", "--audio", "alsa", "--verbose"}, device_);
  ASSERT_TRUE(tells(*player, "frames in a cycle"));

  player->signal(SIGINT);

  EXPECT_THAT(player->status(kPatienceSeconds), Eq(130));
  EXPECT_THAT(player->messages(), HasSubstr("morv: the notes have ended\n"));
}

TEST_F(AlsaLife, WaitsForADeviceThatWentAwayAndPlaysOnOnceItIsBack) {
  const auto player = start({"play", "--audio", "alsa"}, device_);
  ASSERT_TRUE(tells(*player, "no ALSA sequencer"));

  server_.reset();
  ASSERT_TRUE(tells(*player, "morv: the ALSA device is gone; waiting for it\n"));
  EXPECT_TRUE(player->isRunning());
  std::filesystem::remove(socket_);
  server_ = startDevice();
  EXPECT_TRUE(tells(*player, "morv: the ALSA device is back\n"));

  player->signal(SIGTERM);
  EXPECT_THAT(player->status(kPatienceSeconds), Eq(143));
}

TEST_F(AlsaLife, SaysSoWhereNoDeviceIs) {
  server_.reset();
  const auto player = start({"play", "--audio", "alsa", "--seconds", "5"}, device_);

  EXPECT_THAT(player->status(kPatienceSeconds), Eq(5));
  EXPECT_THAT(player->messages(), HasSubstr("morv: ALSA has no output device\n"));
}

// All that reaches the callback here: parameters, presets, messages of the unit's own, requests to end all
// notes.
TEST_F(AlsaLife, NeitherAllocatesNorLocksNorWaitsInItsCallback) {
  std::vector<std::string> log;
  HostSurroundings surroundings{Directories::under(folder_.path("user")),
                                [&](const std::string& line) { log.push_back(line); }};
  player::PlayerEngine engine(surroundings, nullptr, {});
  player::DriverOptions options;
  options.log = [&](const std::string& line) { log.push_back(line); };
  options.details = [](const std::string&) {};
  const TrappedStreams trapped;
  const long calls = RenderTrap::caught();
  const long cycles = TrappedStreams::cycles();
  player::AlsaDriver driver(engine, options);
  ASSERT_TRUE(driver.open().ok());
  AUParameter* cutoff = engine.unit().parameterTree()->parameterForKeyPath("morv.filterCutoff");
  ASSERT_NE(cutoff, nullptr);

  for (int i = 0; i < 100; ++i) {
    cutoff->setValue(static_cast<float>(200 + 50 * i));
    engine.unit().outputMIDICC(7, i % 128, 0);
    if (i % 25 == 24) engine.allNotesOff();
    const std::uint64_t begin = engine.cycles();
    ASSERT_TRUE(holdsWithin(kPatienceSeconds, [&] { return engine.cycles() > begin; }));
    engine.turn(0.01 * i);
    driver.turn(0.01 * i);
  }
  driver.close();

  EXPECT_GE(TrappedStreams::cycles() - cycles, 100);
  EXPECT_EQ(RenderTrap::caught(), calls) << RenderTrap::lastCaught();
  EXPECT_THAT(log, Not(testing::Contains(HasSubstr("gone"))));
}

}  // namespace
}  // namespace morv
