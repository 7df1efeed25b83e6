// What a unit sends to its host.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

class ListeningDelegate : public ZRAudioUnitDelegate {
 public:
  void auDidSendMIDI(AUEventSampleTime eventSampleTime, std::uint8_t cable, std::size_t len,
                     const std::uint8_t* bytes) override {
    EXPECT_EQ(eventSampleTime, AUAudioUnit::kEventSampleTimeImmediate);
    EXPECT_EQ(cable, 0);
    told.emplace_back(bytes, bytes + len);
  }
  std::vector<Bytes> told;
};

class MidiOutput : public testing::Test {
 protected:
  MidiOutput() {
    unit_ = std::make_unique<OpenUnit>(around_);
    unit_->setDelegate(&delegate_);
    unit_->midiOutputEventBlock = [this](AUEventSampleTime time, std::uint8_t cable, std::size_t length,
                                         const std::uint8_t* bytes) {
      EXPECT_EQ(time, AUAudioUnit::kEventSampleTimeImmediate);
      EXPECT_EQ(cable, 0);
      sent_.emplace_back(bytes, bytes + length);
      return 0;
    };
  }

  UnitSurroundings around_;
  ListeningDelegate delegate_;
  std::unique_ptr<OpenUnit> unit_;
  std::vector<Bytes> sent_;
};

TEST_F(MidiOutput, ReachesHostAndDelegate) {
  const Bytes bytes = {0xE0, 1, 2};

  unit_->outputMIDI(bytes.data(), bytes.size());

  EXPECT_THAT(sent_, ElementsAre(bytes));
  EXPECT_THAT(delegate_.told, ElementsAre(bytes));
}

TEST_F(MidiOutput, AFirstByteOfNothingStaysFromTheHostAlone) {
  const Bytes bytes = {0, 1, 2};

  unit_->outputMIDI(bytes.data(), bytes.size());

  EXPECT_THAT(sent_, IsEmpty());
  EXPECT_THAT(delegate_.told, ElementsAre(bytes));
}

TEST_F(MidiOutput, WithoutAHostTellsTheDelegateAlone) {
  unit_->midiOutputEventBlock = nullptr;

  unit_->outputMIDICC(7, 100, 3);

  EXPECT_THAT(delegate_.told, ElementsAre(Bytes{179, 7, 100}));
}

TEST_F(MidiOutput, WithoutADelegateStillReachesTheHost) {
  unit_->setDelegate(nullptr);

  unit_->outputMIDICC(7, 100, 0);

  EXPECT_THAT(sent_, ElementsAre(Bytes{176, 7, 100}));
}

TEST_F(MidiOutput, ANoteEndsATenthOfASecondLater) {
  unit_->outputMIDINote(60);
  around_.queue.runDue(0.09);
  EXPECT_THAT(sent_, ElementsAre(Bytes{144, 60, 127}));

  around_.queue.runDue(0.11);

  EXPECT_THAT(sent_, ElementsAre(Bytes{144, 60, 127}, Bytes{128, 60, 0}));
}

TEST_F(MidiOutput, ANoteHasTheVelocityAskedFor) {
  unit_->outputMIDINote(61, 33);

  EXPECT_THAT(sent_, ElementsAre(Bytes{144, 61, 33}));
}

TEST_F(MidiOutput, ANoteIsResetAtOnceOnDemand) {
  unit_->resetNote(62);
  unit_->resetNoteWith(63);

  EXPECT_THAT(sent_, ElementsAre(Bytes{128, 62, 0}, Bytes{128, 63, 0}));
}

TEST_F(MidiOutput, ANoteOffThatWaitsFallsAwayWithTheUnit) {
  unit_->outputMIDINote(60);
  unit_.reset();

  around_.queue.runDue(1.0);

  EXPECT_EQ(sent_.size(), 1U);
}

}  // namespace
}  // namespace morv
