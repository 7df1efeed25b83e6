#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "hosts/cli/Score.h"
#include "tests/hosts/MidiBytes.h"

namespace morv::cli {
namespace {

using testing::ElementsAre;

constexpr double kRate = 1000.0;  // one sample per millisecond

// 500 ticks per quarter of half a second: one tick per millisecond.
MidiFile fileOf(const Bytes& events) { return *MidiFile::parse(singleTrack(events, 500)); }

std::vector<AUEventSampleTime> timesOf(std::span<const AURenderEvent> events) {
  std::vector<AUEventSampleTime> times;
  for (const auto& event : events) times.push_back(event.head.eventSampleTime);
  return times;
}

TEST(Score, PutsATimeOnTheNearestSample) {
  EXPECT_EQ(Score::sampleAt(0.0, 44100.0), 0);
  EXPECT_EQ(Score::sampleAt(0.5, 44100.0), 22050);
  EXPECT_EQ(Score::sampleAt(1.4 / 44100.0, 44100.0), 1);
  EXPECT_EQ(Score::sampleAt(1.6 / 44100.0, 44100.0), 2);
  EXPECT_EQ(Score::sampleAt(1e300, 44100.0), AUEventSampleTime{1} << 53);
}

TEST(Score, HandsOutEachEventWithTheBlockThatHoldsItsSample) {
  Score score(fileOf({0, 0x90, 60, 1, 63, 0x90, 61, 1, 1, 0x90, 62, 1, 63, 0x90, 63, 1, 1, 0x90, 64, 1}),
              kRate);

  EXPECT_THAT(timesOf(score.takeEvents(64)), ElementsAre(0, 63));
  EXPECT_THAT(timesOf(score.takeEvents(128)), ElementsAre(64, 127));
  EXPECT_THAT(timesOf(score.takeEvents(192)), ElementsAre(128));
  EXPECT_TRUE(score.takeEvents(1000).empty());
}

TEST(Score, MakesMidiEventsOfTheFilesMessages) {
  Score score(fileOf({7, 0xC3, 5}), kRate);

  const AURenderEvent event = score.takeEvents(64)[0];

  EXPECT_EQ(event.head.eventType, AURenderEventMIDI);
  EXPECT_EQ(event.MIDI.length, 2);
  EXPECT_EQ(event.MIDI.cable, 0);
  EXPECT_THAT(event.MIDI.data, ElementsAre(0xC3, 5, 0));
  EXPECT_EQ(event.head.eventSampleTime, 7);
}

TEST(Score, HandsOutMovesLikeEventsInTheOrderOfTheirTimesAndAdding) {
  Score score(fileOf({}), kRate);
  score.addMove(0.064, nullptr, 4);
  score.addMove(0.010, nullptr, 1);
  score.addMove(0.0634, nullptr, 2);
  score.addMove(0.0626, nullptr, 3);

  std::vector<float> values;
  for (const auto& move : score.takeMoves(64)) values.push_back(move.value);

  EXPECT_THAT(values, ElementsAre(1, 2, 3));
  EXPECT_EQ(score.takeMoves(128).size(), 1U);
}

TEST(Score, TellsTheTempoInForceAtASample) {
  Score score(fileOf({100, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40}), kRate);

  EXPECT_EQ(score.tempoAt(0), 120.0);
  EXPECT_EQ(score.tempoAt(99), 120.0);
  EXPECT_EQ(score.tempoAt(100), 60.0);
  EXPECT_EQ(score.tempoAt(5000), 60.0);
}

TEST(Score, TellsTheTempoOfABlockThatBeginsBehindSeveralChanges) {
  Score score(fileOf({10, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40, 10, 0xFF, 0x51, 3, 0x07, 0xA1, 0x20}), kRate);

  EXPECT_EQ(score.tempoAt(0), 120.0);
  EXPECT_EQ(score.tempoAt(64), 120.0);
  EXPECT_EQ(score.lastEventSeconds(), 0.0);
}

TEST(Score, LastsFromTheLastEventOverTheTailInWholeBlocks) {
  const Score score(fileOf({0x83, 0x74, 0x90, 60, 1}), kRate);  // 500 ticks

  EXPECT_EQ(score.lastEventSeconds(), 0.5);
  EXPECT_EQ(score.lengthInFrames(std::nullopt, 2.0, 64), 2560U);  // 2500 in blocks of 64
  EXPECT_EQ(score.lengthInFrames(std::nullopt, 2.0, 500), 2500U);
  EXPECT_EQ(score.lengthInFrames(std::nullopt, 2.0, 1), 2500U);
  EXPECT_EQ(score.lengthInFrames(std::nullopt, 0.0, 64), 512U);
}

TEST(Score, LastsAsLongAsToldInWholeBlocks) {
  const Score score(fileOf({0x83, 0x74, 0x90, 60, 1}), kRate);

  EXPECT_EQ(score.lengthInFrames(0.1, 2.0, 64), 128U);
  EXPECT_EQ(score.lengthInFrames(0.128, 2.0, 64), 128U);
  EXPECT_EQ(score.lengthInFrames(9.0, 2.0, 100), 9000U);
}

TEST(Score, LastsOverTheTailAloneWithoutEvents) {
  EXPECT_EQ(Score(fileOf({}), kRate).lengthInFrames(std::nullopt, 2.0, 1), 2000U);
}

}  // namespace
}  // namespace morv::cli
