#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "tests/unit/UnitSurroundings.h"
#include "unit/RenderCallbacks.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Remembers to which presets it was told to change.
class UnitWithPresets : public OpenUnit {
 public:
  using OpenUnit::OpenUnit;
  void setCurrentPresetWithIndex(int index) override { told.push_back(index); }

  std::vector<int> told;
};

class ProgramChange : public testing::Test {
 protected:
  static AURenderEvent message(std::uint8_t status, std::uint8_t program) {
    AURenderEvent event{};
    event.MIDI = {nullptr, 0, AURenderEventMIDI, 2, 0, {status, program, 0}};
    return event;
  }
  void render(const AURenderEvent* events) {
    constexpr std::uint32_t kFrames = 64;
    std::array<float, kFrames> left{};
    std::array<float, kFrames> right{};
    AudioBufferList output;
    output.mNumberBuffers = 2;
    output.mBuffers[0] = {1, sizeof(left), left.data()};
    output.mBuffers[1] = {1, sizeof(right), right.data()};
    const AudioTimeStamp timestamp{0};
    AudioUnitRenderActionFlags flags = 0;
    unit_->internalRenderBlock()(&flags, &timestamp, kFrames, 0, &output, events, nullptr);
  }

  UnitSurroundings around_;
  std::unique_ptr<UnitWithPresets> unit_ = std::make_unique<UnitWithPresets>(around_);
};

TEST_F(ProgramChange, AnswersZeroAtOnceAndReachesTheUnitOnTheMainQueue) {
  void* owner = static_cast<ZRAudioUnit*>(unit_.get());

  EXPECT_EQ(programChange(5, owner), 0);
  EXPECT_THAT(unit_->told, IsEmpty());
  around_.queue.runDue(0);

  EXPECT_THAT(unit_->told, ElementsAre(5));
}

TEST_F(ProgramChange, KeepsTheOrderAndTheWholeRangeOfPrograms) {
  void* owner = static_cast<ZRAudioUnit*>(unit_.get());

  for (const int program : {127, 0, 64}) programChange(program, owner);
  around_.queue.runDue(0);

  EXPECT_THAT(unit_->told, ElementsAre(127, 0, 64));
}

TEST_F(ProgramChange, ComesFromTheMidiOfAnyChannelThroughTheRenderBlock) {
  ASSERT_TRUE(unit_->allocateRenderResources(nullptr));
  AURenderEvent second = message(0xCF, 3);
  AURenderEvent first = message(0xC0, 12);
  first.head.next = &second;

  render(&first);
  EXPECT_THAT(unit_->told, IsEmpty());
  around_.queue.runDue(0);

  EXPECT_THAT(unit_->told, ElementsAre(12, 3));
}

TEST_F(ProgramChange, IsInstalledForEachUnitWithItselfAsOwner) {
  UnitWithPresets other(around_);

  other.kernel().programChangeCallback(7, other.kernel().owner);
  around_.queue.runDue(0);

  EXPECT_THAT(other.told, ElementsAre(7));
  EXPECT_THAT(unit_->told, IsEmpty());
}

TEST_F(ProgramChange, FallsAwayWithItsUnit) {
  programChange(5, static_cast<ZRAudioUnit*>(unit_.get()));

  unit_.reset();
  UnitWithPresets later(around_);
  around_.queue.runDue(0);

  EXPECT_THAT(later.told, IsEmpty());
}

TEST_F(ProgramChange, LosesWhatTheQueueCannotHoldAndStillAnswersZero) {
  void* owner = static_cast<ZRAudioUnit*>(unit_.get());

  for (std::size_t i = 0; i < RenderMessageRing::kCapacity + 10; ++i) EXPECT_EQ(programChange(1, owner), 0);
  around_.queue.runDue(0);

  EXPECT_EQ(unit_->told.size(), RenderMessageRing::kCapacity);
}

TEST_F(ProgramChange, LeavesTheSoundAsItIsWithoutPresets) {
  around_.standard.setInteger("midiChannel",
                              -1);  // every preset change carries the user's MIDI settings over
  OpenUnit plain(around_);
  std::vector<float> before;
  for (const AUParameter* each : plain.parameterTree()->allParameters()) before.push_back(each->value());

  programChange(9, static_cast<ZRAudioUnit*>(&plain));
  around_.queue.runDue(0);

  std::vector<float> after;
  for (const AUParameter* each : plain.parameterTree()->allParameters()) after.push_back(each->value());
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace morv
