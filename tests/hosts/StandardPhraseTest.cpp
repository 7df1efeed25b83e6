#include <gtest/gtest.h>

#include <array>
#include <map>
#include <set>
#include <string>

#include "hosts/cli/StandardPhrase.h"

namespace morv::cli {
namespace {

constexpr std::array kPrefixes = {"PL", "LD", "BS", "PD", "RT", "AT", "INIT"};

TEST(StandardPhrase, LastsSevenToEightSecondsOnChannelOneAndLetsNoKeyHang) {
  for (const std::string prefix : kPrefixes) {
    const MidiFile phrase = standardPhrase(prefix);
    std::map<int, int> held;
    for (const auto& event : phrase.events()) {
      ASSERT_EQ(event.length, 3);
      ASSERT_TRUE(event.data[0] == 0x90 || event.data[0] == 0x80) << prefix;
      held[event.data[1]] += event.data[0] == 0x90 ? 1 : -1;
      ASSERT_GE(held[event.data[1]], 0) << prefix << ' ' << event.seconds;
      ASSERT_LE(held[event.data[1]], 1) << prefix << ' ' << event.seconds;
    }
    for (const auto& [number, count] : held) EXPECT_EQ(count, 0) << prefix << ' ' << number;
    EXPECT_GE(phrase.events().back().seconds, 7.0) << prefix;
    EXPECT_LE(phrase.events().back().seconds, 8.0) << prefix;
    EXPECT_EQ(phrase.events().front().seconds, 0.0) << prefix;
  }
}

TEST(StandardPhrase, DiffersFromKindToKindAndIsChordsForAnyOther) {
  std::set<std::pair<std::size_t, int>> kinds;
  for (const std::string prefix : kPrefixes) {
    const MidiFile phrase = standardPhrase(prefix);
    kinds.emplace(phrase.events().size(), phrase.events().front().data[1]);
  }
  EXPECT_EQ(kinds.size(), kPrefixes.size());
  EXPECT_EQ(standardPhrase("").events().size(), standardPhrase("PL").events().size());
  EXPECT_EQ(standardPhrase("USER").events().size(), standardPhrase("PL").events().size());
}

}  // namespace
}  // namespace morv::cli
