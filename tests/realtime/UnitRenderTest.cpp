#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "hosts/HostBlockCutter.h"
#include "modulation/ZRDSPModMatrix.h"
#include "platform/Random.h"
#include "tests/realtime/RenderTrap.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

class ListeningUnit : public OpenUnit {
 public:
  using OpenUnit::OpenUnit;
  void setCurrentPresetWithIndex(int index) override { told.push_back(index); }

  std::vector<int> told;
};

AURenderEvent drawnMessage(Random& random, AUEventSampleTime time) {
  constexpr std::array<std::uint8_t, 7> kStatuses = {0x80, 0x90, 0xA0, 0xB0, 0xC0, 0xD0, 0xE0};
  AURenderEvent event{};
  const auto status =
      static_cast<std::uint8_t>(kStatuses[random.nextBits() % kStatuses.size()] + random.nextBits() % 16U);
  event.MIDI = {nullptr,
                time,
                AURenderEventMIDI,
                3,
                0,
                {status, static_cast<std::uint8_t>(random.nextBits() % 128U),
                 static_cast<std::uint8_t>(random.nextBits() % 128U)}};
  return event;
}

// The whole way from a host's cycle to the engine: cutting, tempo, monitor, program changes, mute.
TEST(UnitRender, NeitherAllocatesNorLocksNorWaitsOnTheWayFromTheHostToTheEngine) {
  constexpr std::uint64_t kSeed = 11;
  constexpr std::uint32_t kCycle = 300;
  UnitSurroundings around;
  const auto mapper = std::make_shared<HearingMapper>(around);
  around.services.midiMapper = mapper;
  ListeningUnit unit(around);
  ASSERT_TRUE(unit.allocateRenderResources(nullptr));
  HostBlockCutter cutter(unit);
  std::vector<float> left(kCycle);
  std::vector<float> right(kCycle);
  std::vector<AURenderEvent> events(20);
  Random random(kSeed);
  int programChanges = 0;

  const long before = RenderTrap::caught();
  for (std::int64_t cycle = 0; cycle < 500; ++cycle) {
    const AUEventSampleTime start = cycle * kCycle;
    for (std::size_t i = 0; i < events.size(); ++i) {
      events[i] = drawnMessage(random, start + static_cast<AUEventSampleTime>(i) * 15);
      if ((events[i].MIDI.data[0] & 0xF0U) == 0xC0U) ++programChanges;
    }
    unit.setIsMuted(cycle % 7 == 0);
    {
      const RenderTrap trap;
      cutter.setTempo(60.0 + static_cast<double>(cycle));
      cutter.render(static_cast<double>(start), kCycle, left.data(), right.data(), events);
    }
    around.queue.runDue(static_cast<double>(cycle));
  }

  EXPECT_EQ(RenderTrap::caught(), before) << RenderTrap::lastCaught() << ", seed " << kSeed;
  EXPECT_GT(mapper->heard.size(), 1000U);
  EXPECT_GT(programChanges, 1000);
  EXPECT_EQ(unit.told.size(), static_cast<std::size_t>(programChanges));
}

TEST(UnitRender, NeitherAllocatesNorLocksNorWaitsToTakeAStateOver) {
  UnitSurroundings around;
  OpenUnit unit(around);
  AUParameter& cutoff = *unit.parameterTree()->parameterForKeyPath("morv.filterCutoff");
  AUParameter& channel = *unit.parameterTree()->parameterForKeyPath("morv.midiChannel");
  modMatrixRow* row = unit.getModMatrix()->getRowAtIndex(unit.getModMatrix()->rowCount - 1);
  cutoff.setValue(440.0F);
  row->modAmount = 0.75F;
  row->modSource = 4;
  around.standard.setInteger("midiChannel", 3);
  const ZRStateChange change = unit.prepareFullState(unit.fullState());
  cutoff.setValue(8000.0F);
  row->modAmount = 0.0F;
  row->modSource = 0;

  const long before = RenderTrap::caught();
  {
    const RenderTrap trap;
    unit.applyFullState(change);
  }

  EXPECT_EQ(RenderTrap::caught(), before) << RenderTrap::lastCaught();
  EXPECT_EQ(cutoff.value(), 440.0F);
  EXPECT_EQ(row->modAmount.load(), 0.75F);
  EXPECT_EQ(row->modSource.load(), 4);
  EXPECT_EQ(channel.value(), 3.0F);
}

// Nobody turns the main queue, so that its ring fills up and everything further is lost.
TEST(UnitRender, NeitherAllocatesNorLocksNorWaitsWhenTheQueueToTheMainThreadIsFull) {
  constexpr std::uint32_t kCycle = 64;
  constexpr int kPerCycle = 16;
  constexpr auto kCycles = static_cast<std::int64_t>(2 * RenderMessageRing::kCapacity / kPerCycle);
  UnitSurroundings around;
  const auto mapper = std::make_shared<HearingMapper>(around);
  around.services.midiMapper = mapper;
  ListeningUnit unit(around);
  ASSERT_TRUE(unit.allocateRenderResources(nullptr));
  HostBlockCutter cutter(unit);
  std::vector<float> left(kCycle);
  std::vector<float> right(kCycle);
  std::vector<AURenderEvent> events(kPerCycle);

  const long before = RenderTrap::caught();
  for (std::int64_t cycle = 0; cycle < kCycles; ++cycle) {
    for (int i = 0; i < kPerCycle; ++i) {
      const auto status = static_cast<std::uint8_t>(i % 2 == 0 ? 0xC0 : 0xB0);
      events[static_cast<std::size_t>(i)].MIDI = {
          nullptr, cycle * kCycle, AURenderEventMIDI, 3, 0, {status, 74, static_cast<std::uint8_t>(i)}};
    }
    const RenderTrap trap;
    cutter.render(static_cast<double>(cycle * kCycle), kCycle, left.data(), right.data(), events);
  }

  EXPECT_EQ(RenderTrap::caught(), before) << RenderTrap::lastCaught();
  around.queue.runDue(0);
  EXPECT_EQ(mapper->heard.size() + unit.told.size(), RenderMessageRing::kCapacity);
  EXPECT_EQ(mapper->heard.size(), unit.told.size());
}

}  // namespace
}  // namespace morv
