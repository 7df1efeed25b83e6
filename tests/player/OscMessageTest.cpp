#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hosts/player/OscMessage.h"
#include "platform/Random.h"

namespace morv::player {
namespace {

using testing::ElementsAreArray;
using testing::Optional;
using namespace std::string_view_literals;
using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

TEST(OscMessage, PadsEveryPieceToWordsWithAtLeastOneZeroBehindTexts) {
  const OscMessage message("/abc", {std::int32_t{258}, "four", 1.0F});

  EXPECT_THAT(message.encode(), ElementsAreArray(bytesOf("/abc\0\0\0\0"
                                                         ",isf\0\0\0\0"
                                                         "\0\0\1\2"
                                                         "four\0\0\0\0"
                                                         "\x3f\x80\0\0"sv)));
}

TEST(OscMessage, WritesAnEmptyListOfTypesForNoArguments) {
  EXPECT_THAT(OscMessage("/is").encode(), ElementsAreArray(bytesOf("/is\0,\0\0\0"sv)));
}

TEST(OscMessage, CutsATextAtItsFirstZero) {
  EXPECT_THAT(OscMessage("/a", {std::string("b\0c", 3)}).encode(),
              ElementsAreArray(bytesOf("/a\0\0,s\0\0b\0\0\0"sv)));
}

TEST(OscMessage, ReadsWhatItWrites) {
  const OscMessage message("/reply", {"/nsm/server/announce", std::int32_t{-7}, -0.25F, ""});

  EXPECT_THAT(OscMessage::decode(message.encode()), Optional(message));
}

TEST(OscMessage, ReadsAMessageWithoutAListOfTypes) {
  EXPECT_THAT(OscMessage::decode(bytesOf("/old\0\0\0\0"sv)), Optional(OscMessage("/old")));
}

TEST(OscMessage, GivesArgumentsByPlaceAndTypeAndElseNothing) {
  const OscMessage message("/a", {"text", std::int32_t{5}});

  EXPECT_EQ(message.types(), "si");
  EXPECT_EQ(message.textAt(0), "text");
  EXPECT_EQ(message.integerAt(1), 5);
  EXPECT_EQ(message.textAt(1), "");
  EXPECT_EQ(message.integerAt(0), 0);
  EXPECT_EQ(message.textAt(2), "");
  EXPECT_EQ(message.integerAt(2), 0);
}

TEST(OscMessage, RefusesPacketsThatAreNoMessage) {
  const std::vector<std::string_view> packets = {
      ""sv,
      "/"sv,                            // no end
      "/abc"sv,                         // no zero behind the address
      "/ab\0,"sv,                       // types cut
      "/ab\0,i\0\0"sv,                  // argument missing
      "/ab\0,i\0\0\0\0\0"sv,            // argument cut
      "/ab\0,s\0\0text"sv,              // text without an end
      "/ab\0,s\0\0te\0"sv,              // padding cut
      "/ab\0,s\0\0t\0x\0"sv,            // padding not empty
      "/ab\0,i\0\0\0\0\0\1\0\0\0\1"sv,  // more than the message
      "/ab\0,b\0\0\0\0\0\0"sv,          // a type that is not known
      "/ab\0i\0\0\0\0\0\0\1"sv,         // types without their comma
      "ab\0\0,\0\0\0"sv,                // no address
      "#bundle\0\0\0\0\0\0\0\0\1"sv,
  };
  for (const auto packet : packets) {
    EXPECT_EQ(OscMessage::decode(bytesOf(packet)), std::nullopt) << testing::PrintToString(packet);
  }
}

TEST(OscMessage, RefusesEveryCutOfAMessage) {
  const Bytes whole = OscMessage("/nsm/client/open", {"/a/path", "name", "id"}).encode();

  for (std::size_t length = 0; length < whole.size(); ++length) {
    // Behind the address alone it is a whole message without a list of types.
    if (length == 20) continue;
    EXPECT_EQ(OscMessage::decode(std::span(whole).first(length)), std::nullopt) << length;
  }
}

TEST(OscMessage, TakesWhateverBytesComeAndWritesBackWhatItTook) {
  constexpr std::uint64_t kSeed = 5;
  Random random(kSeed);
  const Bytes whole = OscMessage("/nsm/client/open", {"/a/path", std::int32_t{3}, 2.0F}).encode();
  int taken = 0;

  for (int round = 0; round < 20000; ++round) {
    Bytes packet = whole;
    packet[random.nextBits() % packet.size()] = static_cast<std::uint8_t>(random.nextBits());
    const auto message = OscMessage::decode(packet);
    if (!message) continue;
    ++taken;
    ASSERT_EQ(message->encode(), packet) << "seed " << kSeed << ", round " << round;
  }

  EXPECT_GT(taken, 1000);
}

}  // namespace
}  // namespace morv::player
