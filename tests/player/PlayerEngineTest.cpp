#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "hosts/player/PlayerEngine.h"
#include "tests/hosts/TemporaryFolder.h"
#include "tests/player/Polling.h"
#include "tests/realtime/RenderTrap.h"

namespace morv::player {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr double kRateHz = 48000;
constexpr double kOtherRateHz = 44100;
constexpr std::uint32_t kCycle = 256;
constexpr float kAudible = 1.0e-3F;
constexpr float kInaudible = 1.0e-5F;
constexpr double kPatienceSeconds = 20;

class PlayerEngineTest : public testing::Test {
 protected:
  using Bytes = std::vector<std::uint8_t>;

  // One cycle with these messages at its start; whether the engine took it.
  bool cycle(double rateHz, const std::vector<Bytes>& messages = {}, std::uint32_t frames = kCycle) {
    left_.assign(frames, 1.0F);
    right_.assign(frames, 1.0F);
    if (!engine_.begin(rateHz, frames, left_.data(), right_.data())) return false;
    for (const Bytes& each : messages) engine_.addMidi(0, each);
    engine_.end();
    return true;
  }
  float peak() const {
    float greatest = 0;
    for (const float sample : left_) greatest = std::max(greatest, std::fabs(sample));
    return greatest;
  }
  // Greatest sample of the cycles of the next seconds.
  float peakOver(double seconds) {
    float greatest = 0;
    for (double done = 0; done < seconds; done += kCycle / kRateHz) {
      cycle(kRateHz);
      greatest = std::max(greatest, peak());
    }
    return greatest;
  }

  TemporaryFolder folder_;
  std::vector<std::string> log_;
  HostSurroundings surroundings_{Directories::under(folder_.path("user")),
                                 [this](const std::string& line) { log_.push_back(line); }};
  PlayerEngine engine_{surroundings_, nullptr, [this](const std::string& line) { log_.push_back(line); }};
  std::vector<float> left_;
  std::vector<float> right_;
};

TEST_F(PlayerEngineTest, IsSilentUntilItIsReady) {
  EXPECT_FALSE(cycle(kRateHz));
  EXPECT_THAT(left_, Each(0.0F));
  EXPECT_THAT(right_, Each(0.0F));

  ASSERT_TRUE(engine_.prepare(kRateHz).ok());

  EXPECT_TRUE(cycle(kRateHz));
}

TEST_F(PlayerEngineTest, PlaysNotesAndEndsThem) {
  ASSERT_TRUE(engine_.prepare(kRateHz).ok());
  cycle(kRateHz, {{0x90, 60, 100}});
  EXPECT_GT(peakOver(0.2), kAudible);

  cycle(kRateHz, {{0x80, 60, 0}});
  peakOver(5);

  EXPECT_LT(peakOver(0.1), kInaudible);
}

TEST_F(PlayerEngineTest, EndsEverythingWithAllNotesOffHeldPedalIncluded) {
  ASSERT_TRUE(engine_.prepare(kRateHz).ok());
  cycle(kRateHz);
  cycle(kRateHz, {{0xB0, 64, 127}, {0x90, 60, 100}, {0x91, 64, 100}, {0x80, 60, 0}});
  ASSERT_GT(peakOver(0.2), kAudible);

  engine_.allNotesOff();
  EXPECT_FALSE(engine_.areNotesOff());
  cycle(kRateHz);

  EXPECT_TRUE(engine_.areNotesOff());
  peakOver(5);
  EXPECT_LT(peakOver(0.1), kInaudible);
}

TEST_F(PlayerEngineTest, TellsTheUnitTheTempo) {
  ASSERT_TRUE(engine_.prepare(kRateHz).ok());
  left_.assign(kCycle, 0);
  right_.assign(kCycle, 0);
  ASSERT_TRUE(engine_.begin(kRateHz, kCycle, left_.data(), right_.data()));
  engine_.addTempo(0, 97.5);
  engine_.end();

  EXPECT_EQ(engine_.unit().tempo(), 97.5F);
}

TEST_F(PlayerEngineTest, FollowsANewRateWithSilenceInBetween) {
  ASSERT_TRUE(engine_.prepare(kRateHz).ok());
  cycle(kRateHz, {{0x90, 60, 100}});

  EXPECT_FALSE(cycle(kOtherRateHz));
  EXPECT_THAT(left_, Each(0.0F));
  EXPECT_FALSE(cycle(kOtherRateHz)) << "nobody has turned yet";
  engine_.turn(0);

  EXPECT_TRUE(cycle(kOtherRateHz));
  EXPECT_EQ(engine_.unit().outputBus()->format.sampleRate, kOtherRateHz);
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(PlayerEngineTest, TellsOnceOfARateThatItCannotUseAndGoesOnAtAnother) {
  constexpr double kUnusableRateHz = 1.0e9;
  ASSERT_TRUE(engine_.prepare(kRateHz).ok());

  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(cycle(kUnusableRateHz));
    engine_.turn(i);
  }
  EXPECT_THAT(log_, SizeIs(1));
  EXPECT_FALSE(cycle(kRateHz));
  engine_.turn(3);

  EXPECT_TRUE(cycle(kRateHz));
}

// Whatever the moment of a change, no cycle runs beside it, and the cycles come back.
TEST_F(PlayerEngineTest, ChangesItsRateBesideCyclesThatNeverWait) {
  constexpr int kChanges = 30;
  std::atomic<double> rate{kRateHz};
  std::atomic<bool> ends{false};
  std::atomic<long> played{0};
  std::thread audio([&] {
    std::vector<float> left(kCycle);
    std::vector<float> right(kCycle);
    while (!ends) {
      if (!engine_.begin(rate, kCycle, left.data(), right.data())) continue;
      ++played;
      engine_.end();
    }
  });

  int changes = 0;
  for (; changes < kChanges; ++changes) {
    rate = changes % 2 == 0 ? kOtherRateHz : kRateHz;
    // The first cycle that is counted from here on may still have begun at the old rate.
    const long before = played;
    const bool isBack = holdsWithin(kPatienceSeconds, [&] {
      engine_.turn(changes);
      return played > before + 1 && engine_.unit().outputBus()->format.sampleRate == rate;
    });
    if (!isBack) break;
  }
  ends = true;
  audio.join();

  EXPECT_EQ(changes, kChanges);
}

TEST_F(PlayerEngineTest, HandsOverWhatTheUnitSendsInItsOrder) {
  engine_.unit().outputMIDICC(7, 99, 3);
  engine_.unit().outputMIDI(std::vector<std::uint8_t>{0xC2, 5}.data(), 2);
  engine_.unit().outputMIDI(std::vector<std::uint8_t>{0xF0, 1, 2, 0xF7}.data(), 4);

  MidiMessage message;
  ASSERT_TRUE(engine_.takeMidiOut(&message));
  EXPECT_THAT(Bytes(message.view().begin(), message.view().end()), ElementsAre(0xB3, 7, 99));
  ASSERT_TRUE(engine_.takeMidiOut(&message));
  EXPECT_THAT(Bytes(message.view().begin(), message.view().end()), ElementsAre(0xC2, 5));
  EXPECT_FALSE(engine_.takeMidiOut(&message));
}

TEST_F(PlayerEngineTest, TurnsItsClockOnUntilAPresetHasSettled) {
  engine_.turn(3);
  engine_.unit().setCurrentPreset(std::nullopt);
  ASSERT_TRUE(engine_.unit().isMuted());

  engine_.settle();

  EXPECT_FALSE(engine_.unit().isMuted());
  bool ran = false;
  engine_.queue().postAfter(0.5, [&ran] { ran = true; });
  engine_.turn(3.4);
  EXPECT_FALSE(ran);
  engine_.turn(3.6);
  EXPECT_TRUE(ran);
}

TEST_F(PlayerEngineTest, TakesAStateOver) {
  AUParameter* volume = engine_.unit().parameterTree()->parameterForKeyPath("morv.volume");
  volume->setValue(0.25F);
  const PropertyListDictionary state = engine_.unit().fullState();
  volume->setValue(0.75F);

  engine_.loadState(state);

  EXPECT_EQ(volume->value(), 0.25F);
}

TEST_F(PlayerEngineTest, NeitherAllocatesNorLocksNorWaitsInACycle) {
  ASSERT_TRUE(engine_.prepare(kRateHz).ok());
  left_.assign(kCycle, 0);
  right_.assign(kCycle, 0);
  const std::vector<Bytes> messages = {{0x90, 60, 100}, {0xB0, 1, 64}, {0xC0, 3}, {0x80, 60, 0}};

  const long before = RenderTrap::caught();
  for (int i = 0; i < 400; ++i) {
    engine_.unit().outputMIDICC(7, i % 128, 0);
    if (i % 50 == 0) engine_.allNotesOff();
    const double rate = i % 97 == 5 ? kOtherRateHz : kRateHz;  // some cycles are turned away
    {
      const RenderTrap trap;
      if (engine_.begin(rate, kCycle, left_.data(), right_.data())) {
        engine_.addTempo(0, 100.0 + i);
        for (const Bytes& each : messages) engine_.addMidi(static_cast<std::uint32_t>(i) % kCycle, each);
        engine_.end();
      }
      MidiMessage message;
      while (engine_.takeMidiOut(&message)) {
      }
    }
    engine_.queue().runDue(i);
  }

  EXPECT_EQ(RenderTrap::caught(), before) << RenderTrap::lastCaught();
}

}  // namespace
}  // namespace morv::player
