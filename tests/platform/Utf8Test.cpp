#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "platform/Utf8.h"

namespace morv {
namespace {

TEST(Utf8, ReadsCharactersOfEveryLength) {
  struct Case {
    std::string_view text;
    char32_t character;
    std::size_t bytes;
  };
  for (const Case& each : std::vector<Case>{{"a", U'a', 1},
                                            {std::string_view("\0", 1), 0, 1},
                                            {"\x7F", 0x7F, 1},
                                            {"\xC2\x80", 0x80, 2},
                                            {"\xDF\xBF rest", 0x7FF, 2},
                                            {"\xE0\xA0\x80", 0x800, 3},
                                            {"\xED\x9F\xBF", 0xD7FF, 3},
                                            {"\xEE\x80\x80", 0xE000, 3},
                                            {"\xEF\xBF\xBF", 0xFFFF, 3},
                                            {"\xF0\x90\x80\x80", 0x10000, 4},
                                            {"\xF4\x8F\xBF\xBF", 0x10FFFF, 4}}) {
    const auto first = firstUtf8Character(each.text);
    ASSERT_TRUE(first) << std::hex << static_cast<unsigned>(each.character);
    EXPECT_EQ(first->character, each.character);
    EXPECT_EQ(first->bytes, each.bytes);
  }
}

TEST(Utf8, RefusesWhatIsCutLongerThanNeedBeOrNoCharacter) {
  for (const std::string_view text : {"", "\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3",
                                      "\xC3"
                                      "a",
                                      "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80", "\xED\xBF\xBF",
                                      "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
    EXPECT_FALSE(firstUtf8Character(text)) << text;
  }
}

}  // namespace
}  // namespace morv
