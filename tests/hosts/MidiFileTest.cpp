#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "hosts/cli/MidiFile.h"
#include "tests/hosts/MidiBytes.h"

namespace morv::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using Data = std::array<std::uint8_t, 3>;

std::vector<Data> dataOf(const MidiFile& file) {
  std::vector<Data> list;
  for (const auto& event : file.events()) list.push_back(event.data);
  return list;
}

std::vector<double> timesOf(const MidiFile& file) {
  std::vector<double> list;
  for (const auto& event : file.events()) list.push_back(event.seconds);
  return list;
}

std::string reasonFor(const Bytes& bytes) {
  const auto file = MidiFile::parse(bytes);
  return file ? "it was read" : file.reason();
}

TEST(MidiFile, ReadsNotesOfASingleTrackWithTheirTimes) {
  // 96 ticks are a quarter note of half a second.
  const auto file = MidiFile::parse(singleTrack({0, 0x90, 60, 100, 96, 0x80, 60, 64}));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(dataOf(*file), ElementsAre(Data{0x90, 60, 100}, Data{0x80, 60, 64}));
  EXPECT_THAT(timesOf(*file), ElementsAre(0.0, 0.5));
  EXPECT_EQ(file->events()[0].length, 3);
}

TEST(MidiFile, ReadsEveryKindOfChannelMessageWithItsLength) {
  const auto file = MidiFile::parse(singleTrack({0, 0x81, 1, 2,    0, 0x92, 3,    4,  0, 0xA3, 5,  6, 0, 0xB4,
                                                 7, 8,    0, 0xC5, 9, 0,    0xD6, 10, 0, 0xE7, 11, 12}));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(dataOf(*file),
              ElementsAre(Data{0x81, 1, 2}, Data{0x92, 3, 4}, Data{0xA3, 5, 6}, Data{0xB4, 7, 8},
                          Data{0xC5, 9, 0}, Data{0xD6, 10, 0}, Data{0xE7, 11, 12}));
  EXPECT_EQ(file->events()[4].length, 2);
  EXPECT_EQ(file->events()[5].length, 2);
  EXPECT_EQ(file->events()[6].length, 3);
}

TEST(MidiFile, KeepsARunningStatus) {
  const auto file = MidiFile::parse(singleTrack({0, 0x90, 60, 100, 10, 64, 90, 10, 60, 0, 0, 0xC0, 5, 0, 6}));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(dataOf(*file), ElementsAre(Data{0x90, 60, 100}, Data{0x90, 64, 90}, Data{0x90, 60, 0},
                                         Data{0xC0, 5, 0}, Data{0xC0, 6, 0}));
}

TEST(MidiFile, KeepsARunningStatusOverAMetaEvent) {
  const auto file = MidiFile::parse(singleTrack({0, 0x90, 60, 100, 0, 0xFF, 0x01, 1, 'x', 0, 64, 90}));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(dataOf(*file), ElementsAre(Data{0x90, 60, 100}, Data{0x90, 64, 90}));
}

TEST(MidiFile, ReadsTimesOfUpToFourBytes) {
  // 0x81 0x48 is 200; 0x81 0x80 0x00 is 16384; 0x81 0x80 0x80 0x00 is 2097152 ticks.
  const auto file = MidiFile::parse(
      singleTrack({0x81, 0x48, 0x90, 60, 1, 0x81, 0x80, 0x00, 60, 2, 0x81, 0x80, 0x80, 0x00, 60, 3}, 500));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(timesOf(*file), ElementsAre(0.2, 16.584, 2113.736));
}

TEST(MidiFile, SkipsSystemExclusiveMessagesAndEscapes) {
  const auto file = MidiFile::parse(singleTrack(
      {48, 0xF0, 3, 0x7E, 0x90, 0xF7, 48, 0xF7, 2, 0xF3, 1, 0, 0x90, 60, 100, 0, 0xF0, 0, 0, 0x90, 61, 1}));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(dataOf(*file), ElementsAre(Data{0x90, 60, 100}, Data{0x90, 61, 1}));
  EXPECT_THAT(timesOf(*file), ElementsAre(0.5, 0.5));
}

TEST(MidiFile, EndsARunningStatusAtASystemExclusiveMessage) {
  EXPECT_THAT(reasonFor(singleTrack({0, 0x90, 60, 100, 0, 0xF0, 1, 0xF7, 0, 61, 1})),
              HasSubstr("a data byte where a status is due"));
}

TEST(MidiFile, FollowsTheTempoMapInItsTimes) {
  // A quarter of 0.5 s, then quarters of 1 s, then of 0.25 s.
  const auto file = MidiFile::parse(singleTrack({
      96, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40,  // 1000000 microseconds
      96, 0x90, 60,   1,                    //
      0,  0xFF, 0x51, 3, 0x03, 0xD0, 0x90,  // 250000 microseconds
      96, 0x90, 61,   1,
  }));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(timesOf(*file), ElementsAre(1.5, 1.75));
  ASSERT_EQ(file->tempoChanges().size(), 3U);
  EXPECT_EQ(file->tempoChanges()[0].seconds, 0.0);
  EXPECT_EQ(file->tempoChanges()[0].tempo, 120.0);
  EXPECT_EQ(file->tempoChanges()[1].seconds, 0.5);
  EXPECT_EQ(file->tempoChanges()[1].tempo, 60.0);
  EXPECT_EQ(file->tempoChanges()[2].seconds, 1.5);
  EXPECT_EQ(file->tempoChanges()[2].tempo, 240.0);
}

TEST(MidiFile, MergesTheTracksOfFormatOneInTimeAndTrackOrder) {
  const Bytes conductor = trackChunk({0, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40});
  const Bytes first = trackChunk({0, 0x90, 60, 1, 96, 0x90, 61, 1});
  const Bytes second = trackChunk({48, 0x91, 70, 1, 48, 0x91, 71, 1});

  const auto file = MidiFile::parse(headerChunk(1, 3, 96) + conductor + first + second);

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(dataOf(*file),
              ElementsAre(Data{0x90, 60, 1}, Data{0x91, 70, 1}, Data{0x90, 61, 1}, Data{0x91, 71, 1}));
  EXPECT_THAT(timesOf(*file), ElementsAre(0.0, 0.5, 1.0, 1.0));
}

TEST(MidiFile, CountsFramesAndTheirPartsUnderASmpteDivision) {
  // 25 frames of 40 ticks are 1000 ticks per second, whatever the tempo.
  const Bytes events = {0, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40, 100, 0x90, 60, 1};

  const auto file = MidiFile::parse(singleTrack(events, (0xE7U << 8U) | 40U));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_THAT(timesOf(*file), ElementsAre(0.1));
  EXPECT_EQ(file->tempoChanges().back().tempo, 60.0);
}

TEST(MidiFile, KnowsTheFourFrameRates) {
  const Bytes events = {100, 0x90, 60, 1};
  const auto at = [&events](std::uint32_t highByte) {
    const auto file = MidiFile::parse(singleTrack(events, (highByte << 8U) | 10U));
    return file ? file->events()[0].seconds : -1.0;
  };

  EXPECT_DOUBLE_EQ(at(0xE8), 100.0 / 240.0);
  EXPECT_DOUBLE_EQ(at(0xE7), 100.0 / 250.0);
  EXPECT_DOUBLE_EQ(at(0xE3), 100.0 / (10.0 * 30000.0 / 1001.0));
  EXPECT_DOUBLE_EQ(at(0xE2), 100.0 / 300.0);
}

TEST(MidiFile, RefusesAnUnknownFrameRateAndEmptyDivisions) {
  const Bytes events = {0, 0x90, 60, 1};

  EXPECT_THAT(reasonFor(singleTrack(events, (0xE0U << 8U) | 40U)), HasSubstr("frame rate of 32"));
  EXPECT_THAT(reasonFor(singleTrack(events, 0xE700U)), HasSubstr("0 ticks per frame"));
  EXPECT_THAT(reasonFor(singleTrack(events, 0)), HasSubstr("0 ticks per quarter note"));
}

TEST(MidiFile, MayHoldNoMessage) {
  const auto file = MidiFile::parse(singleTrack({}));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_TRUE(file->events().empty());
  EXPECT_EQ(file->tempoChanges().size(), 1U);
}

TEST(MidiFile, SkipsChunksOfOtherKindsAndLongerHeaders) {
  const Bytes header =
      chunk("MThd", 8, bigEndian(0, 2) + bigEndian(1, 2) + bigEndian(96, 2) + Bytes{0xAB, 0xCD});
  const Bytes foreign = chunk("XFIH", 3, {1, 2, 3});

  const auto file = MidiFile::parse(header + foreign + trackChunk({0, 0x90, 60, 1}) + Bytes{9, 9, 9});

  ASSERT_TRUE(file) << file.reason();
  EXPECT_EQ(file->events().size(), 1U);
}

TEST(MidiFile, IgnoresWhatStandsBehindTheEndOfATrack) {
  const Bytes content = {0, 0x90, 60, 1, 0, 0xFF, 0x2F, 0, 0xFF, 0xFF, 0xFF};

  const auto file = MidiFile::parse(headerChunk(0, 1, 96) +
                                    chunk("MTrk", static_cast<std::uint32_t>(content.size()), content));

  ASSERT_TRUE(file) << file.reason();
  EXPECT_EQ(file->events().size(), 1U);
}

TEST(MidiFile, RefusesWhatIsNoMidiFile) {
  EXPECT_EQ(reasonFor({}), "is empty");
  EXPECT_EQ(reasonFor({'R', 'I', 'F', 'F', 0, 0, 0, 0}), "is not a Standard MIDI File");
  EXPECT_EQ(reasonFor({'M', 'T'}), "is not a Standard MIDI File");
  EXPECT_EQ(reasonFor(Bytes(1000, 0)), "is not a Standard MIDI File");
}

TEST(MidiFile, RefusesFormatTwoAndOddHeaders) {
  const Bytes track = trackChunk({0, 0x90, 60, 1});

  EXPECT_THAT(reasonFor(headerChunk(2, 1, 96) + track), HasSubstr("format 2"));
  EXPECT_THAT(reasonFor(headerChunk(0, 2, 96) + track + track), HasSubstr("format 0 but promises 2 tracks"));
  EXPECT_THAT(reasonFor(headerChunk(1, 0, 96)), HasSubstr("no track"));
  EXPECT_THAT(reasonFor(chunk("MThd", 4, bigEndian(0, 4) + bigEndian(96, 2)) + track),
              HasSubstr("header claims 4 bytes"));
  EXPECT_THAT(reasonFor(chunk("MThd", 4000000000U, bigEndian(1, 4) + bigEndian(96, 2)) + track),
              HasSubstr("header claims more bytes"));
}

TEST(MidiFile, RefusesFewerTracksThanPromised) {
  EXPECT_EQ(reasonFor(headerChunk(1, 3, 96) + trackChunk({0, 0x90, 60, 1})),
            "promises 3 tracks but ends behind 1");
}

TEST(MidiFile, RefusesATrackThatClaimsMoreThanTheFileHolds) {
  const Bytes good = trackChunk({0, 0x90, 60, 1});  // bytes 14 to 29
  const Bytes content = {0, 0x90, 61, 1, 0, 0xFF, 0x2F, 0};

  EXPECT_EQ(reasonFor(headerChunk(1, 2, 96) + good + chunk("MTrk", 4000, content)),
            "track 2 ends at byte 46 but claims 4000 bytes from byte 38");
  EXPECT_THAT(reasonFor(headerChunk(0, 1, 96) + chunk("MTrk", 0xFFFFFFFFU, content)),
              HasSubstr("claims 4294967295"));
  EXPECT_THAT(reasonFor(headerChunk(0, 1, 96) + chunk("junk", 100, content)),
              HasSubstr("chunk at byte 14 ends at byte 30 but claims 100"));
}

TEST(MidiFile, RefusesATrackThatClaimsLessThanItHolds) {
  const Bytes content = {0, 0x90, 61, 1, 0, 0xFF, 0x2F, 0};

  EXPECT_THAT(reasonFor(headerChunk(0, 1, 96) + chunk("MTrk", 3, content)),
              HasSubstr("track 1 ends inside the event at byte 22"));
  EXPECT_THAT(reasonFor(headerChunk(0, 1, 96) + chunk("MTrk", 4, content)),
              HasSubstr("track 1 ends at byte 26 without an end-of-track event"));
  EXPECT_THAT(reasonFor(headerChunk(0, 1, 96) + chunk("MTrk", 0, {})),
              HasSubstr("without an end-of-track event"));
}

TEST(MidiFile, RefusesEveryFileThatIsCutShort) {
  const Bytes whole = headerChunk(1, 2, 96) +
                      trackChunk({0, 0xFF, 0x51, 3, 7, 0xA1, 0x20, 0, 0xF0, 2, 1, 0xF7}) +
                      trackChunk({0x81, 0x00, 0x90, 60, 100, 10, 60, 0, 0, 0xC0, 1});
  ASSERT_EQ(reasonFor(whole), "it was read");

  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_NE(reasonFor(cut), "it was read") << size;
    EXPECT_FALSE(reasonFor(cut).empty()) << size;
  }
}

TEST(MidiFile, SurvivesEveryDamageToASingleByte) {
  const Bytes whole = headerChunk(1, 2, 96) + trackChunk({0, 0xFF, 0x51, 3, 7, 0xA1, 0x20}) +
                      trackChunk({0x81, 0x00, 0x90, 60, 100, 10, 60, 0, 0, 0xC0, 1});

  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (int value = 0; value < 256; ++value) {
      Bytes damaged = whole;
      damaged[at] = static_cast<std::uint8_t>(value);
      const auto file = MidiFile::parse(damaged);
      if (!file) {
        EXPECT_FALSE(file.reason().empty());
        continue;
      }
      for (const auto& event : file->events()) {
        EXPECT_GE(event.seconds, 0.0);
        EXPECT_GE(event.data[0], 0x80);
        EXPECT_LT(event.data[0], 0xF0);
        EXPECT_LT(event.data[1], 0x80);
        EXPECT_LT(event.data[2], 0x80);
      }
    }
  }
}

TEST(MidiFile, RefusesBytesThatAreNoMessage) {
  EXPECT_THAT(reasonFor(singleTrack({0, 60, 100})),
              HasSubstr("a data byte where a status is due at byte 23"));
  EXPECT_THAT(reasonFor(singleTrack({0, 0x90, 60, 0x90})), HasSubstr("a status byte where data are due"));
  EXPECT_THAT(reasonFor(singleTrack({0, 0xF4})), HasSubstr("a system message that no file may hold"));
  EXPECT_THAT(reasonFor(singleTrack({0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x90, 60, 1})),
              HasSubstr("a time of more than four bytes"));
  EXPECT_THAT(reasonFor(singleTrack({0, 0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0x01})),
              HasSubstr("a length of more than four bytes"));
  EXPECT_THAT(reasonFor(singleTrack({0, 0xFF, 0x01, 0xFF, 0xFF, 0xFF, 0xFF})),
              HasSubstr("a length of more than four bytes"));
}

TEST(MidiFile, RefusesLengthsThatReachPastTheTrack) {
  EXPECT_THAT(reasonFor(singleTrack({0, 0xF0, 0x87, 0x68, 1})), HasSubstr("ends inside the event"));
  EXPECT_THAT(reasonFor(singleTrack({0, 0xFF, 0x01, 0x87, 0x68, 1})), HasSubstr("ends inside the event"));
}

TEST(MidiFile, RefusesTempiThatMakeNoSense) {
  EXPECT_THAT(reasonFor(singleTrack({0, 0xFF, 0x51, 3, 0, 0, 0})), HasSubstr("a quarter note of no length"));
  EXPECT_THAT(reasonFor(singleTrack({0, 0xFF, 0x51, 2, 1, 1})), HasSubstr("a tempo of 2 bytes"));
}

TEST(MidiFile, NamesTheFileThatCannotBeRead) {
  const auto missing = MidiFile::read("/nowhere/at/all.mid");
  const auto folder = MidiFile::read("/tmp");

  EXPECT_FALSE(missing);
  EXPECT_THAT(missing.reason(), testing::StartsWith("/nowhere/at/all.mid: cannot be opened: "));
  EXPECT_FALSE(folder);
  EXPECT_THAT(folder.reason(), testing::StartsWith("/tmp: "));
}

TEST(MidiFile, ReadsNoEndlessFile) {
  const auto endless = MidiFile::read("/dev/zero");

  EXPECT_FALSE(endless);
  EXPECT_EQ(endless.reason(), "/dev/zero: is larger than 64 MiB");
}

}  // namespace
}  // namespace morv::cli
