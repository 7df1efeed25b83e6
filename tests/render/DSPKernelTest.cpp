#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "render/DSPKernel.h"

namespace morv {
namespace {

using Log = std::vector<std::string>;

class LoggingKernel : public DSPKernel {
 public:
  using DSPKernel::handleOneEvent;
  using DSPKernel::performAllSimultaneousEvents;

  void process(std::uint32_t frameCount, std::uint32_t bufferOffset) noexcept override {
    log.push_back("process " + std::to_string(frameCount) + " " + std::to_string(bufferOffset));
    timestampInside = timestamp;
  }
  void startRamp(std::uint64_t address, float value, std::uint32_t duration) noexcept override {
    log.push_back("ramp " + std::to_string(address) + " " + std::to_string(static_cast<int>(value)) + " " +
                  std::to_string(duration));
  }
  void handleMIDIEvent(const AUMIDIEvent& event) noexcept override {
    log.push_back("midi " + std::to_string(event.data[1]));
  }
  const AudioTimeStamp* timestampNow() const { return timestamp; }

  Log log;
  const AudioTimeStamp* timestampInside = nullptr;
};

// A kernel that leaves MIDI to the base class.
class SilentKernel : public DSPKernel {
 public:
  void process(std::uint32_t /*frameCount*/, std::uint32_t /*bufferOffset*/) noexcept override {
    ++processed;
  }
  void startRamp(std::uint64_t /*address*/, float /*value*/, std::uint32_t /*duration*/) noexcept override {
    ++ramps;
  }
  int processed = 0;
  int ramps = 0;
};

// A list of events as a host brings it.
class Events {
 public:
  Events& parameter(AURenderEventType type, std::int64_t time, std::uint64_t address, float value,
                    std::uint32_t duration) {
    AURenderEvent event{};
    event.parameter = {nullptr, time, type, duration, address, value};
    return append(event);
  }
  Events& midi(std::int64_t time, std::uint8_t second, AURenderEventType type = AURenderEventMIDI) {
    AURenderEvent event{};
    event.MIDI = {nullptr, time, type, 3, 0, {0x90, second, 100}};
    return append(event);
  }
  const AURenderEvent* first() const { return list_.empty() ? nullptr : &list_.front(); }
  const AURenderEvent* at(std::size_t i) const { return &list_[i]; }

 private:
  Events& append(const AURenderEvent& event) {
    list_.push_back(event);
    if (list_.size() > 1) list_[list_.size() - 2].head.next = &list_.back();
    return *this;
  }
  std::deque<AURenderEvent> list_;
};

constexpr AudioTimeStamp kBlockAt1000{1000.0};

TEST(DSPKernel, AllEventsOfABlockRunInListOrderAheadOfOneProcess) {
  LoggingKernel kernel;
  Events events;
  events.midi(1000, 1)
      .midi(1000, 2)
      .midi(1063, 3)
      .parameter(AURenderEventParameter, 1010, 7, 5.0F, 0)
      .midi(900, 4);

  kernel.processWithEvents(&kBlockAt1000, 64, events.first());

  EXPECT_EQ(kernel.log, (Log{"midi 1", "midi 2", "midi 3", "ramp 7 5 0", "midi 4", "process 64 0"}));
}

TEST(DSPKernel, AnEventBehindTheBlockIsCarriedOutInIt) {
  LoggingKernel kernel;
  Events events;
  events.midi(5'000'000, 1);

  kernel.processWithEvents(&kBlockAt1000, 64, events.first());

  EXPECT_EQ(kernel.log, (Log{"midi 1", "process 64 0"}));
}

TEST(DSPKernel, ABlockWithoutEventsIsRendered) {
  LoggingKernel kernel;

  kernel.processWithEvents(&kBlockAt1000, 4096, nullptr);

  EXPECT_EQ(kernel.log, (Log{"process 4096 0"}));
}

TEST(DSPKernel, NoFramesLeaveTheEventsUnhandledAndRenderNothing) {
  LoggingKernel kernel;
  Events events;
  events.midi(1000, 1);

  kernel.processWithEvents(&kBlockAt1000, 0, events.first());

  EXPECT_EQ(kernel.log, Log{});
}

TEST(DSPKernel, TheTimestampIsReachableInsideProcessOnly) {
  LoggingKernel kernel;

  kernel.processWithEvents(&kBlockAt1000, 64, nullptr);

  EXPECT_EQ(kernel.timestampInside, &kBlockAt1000);
  EXPECT_EQ(kernel.timestampNow(), nullptr);
}

TEST(DSPKernel, ParameterAndRampEventsBothStartARampWithTheirDuration) {
  LoggingKernel kernel;
  Events events;
  events.parameter(AURenderEventParameter, 1000, 0x1'0000'0002ULL, 3.0F, 9)
      .parameter(AURenderEventParameterRamp, 1000, 4, -2.0F, 4410);

  kernel.processWithEvents(&kBlockAt1000, 64, events.first());

  EXPECT_EQ(kernel.log, (Log{"ramp 4294967298 3 9", "ramp 4 -2 4410", "process 64 0"}));
}

TEST(DSPKernel, EventsOfOtherTypesArePassedOver) {
  LoggingKernel kernel;
  Events events;
  for (const int type : {0, 3, 4, 5, 6, 7, 9, 10, 255}) {
    events.midi(1000, 1, static_cast<AURenderEventType>(type));
  }

  kernel.processWithEvents(&kBlockAt1000, 64, events.first());

  EXPECT_EQ(kernel.log, (Log{"process 64 0"}));
}

TEST(DSPKernel, TypesBearThePlatformsNumbers) {
  EXPECT_EQ(AURenderEventParameter, 1);
  EXPECT_EQ(AURenderEventParameterRamp, 2);
  EXPECT_EQ(AURenderEventMIDI, 8);
}

TEST(DSPKernel, MIDIDoesNothingInTheBaseClass) {
  SilentKernel kernel;
  Events events;
  events.midi(1000, 1);

  kernel.processWithEvents(&kBlockAt1000, 64, events.first());

  EXPECT_EQ(kernel.processed, 1);
  EXPECT_EQ(kernel.ramps, 0);
}

TEST(DSPKernel, SimultaneousEventsAreTheOneAtHandAndThoseBehindItWithTheTime) {
  LoggingKernel kernel;
  Events events;
  events.midi(1001, 1).midi(1000, 2).midi(1000, 3).midi(1002, 4).midi(1000, 5);
  const AURenderEvent* event = events.first();

  kernel.performAllSimultaneousEvents(1000, event);

  EXPECT_EQ(kernel.log, (Log{"midi 1", "midi 2", "midi 3"}));
  EXPECT_EQ(event, events.at(3));
}

TEST(DSPKernel, TheWalkOfSimultaneousEventsEndsWithTheList) {
  LoggingKernel kernel;
  Events events;
  events.midi(1000, 1).midi(1000, 2);
  const AURenderEvent* event = events.first();

  kernel.performAllSimultaneousEvents(1000, event);

  EXPECT_EQ(kernel.log, (Log{"midi 1", "midi 2"}));
  EXPECT_EQ(event, nullptr);
}

}  // namespace
}  // namespace morv
