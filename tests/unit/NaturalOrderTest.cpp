#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "unit/NaturalOrder.h"

namespace morv {
namespace {

TEST(NaturalOrder, ComparesNumbersAsNumbersAndLettersWithoutCase) {
  std::vector<std::string> names = {"Pad 10", "pad 2",    "Pad 2b",  "bass",
                                    "Pad",    "Bass 007", "Bass 7a", "Pad 1"};

  std::sort(names.begin(), names.end(), isNaturallyBefore);

  EXPECT_THAT(names, testing::ElementsAre("bass", "Bass 007", "Bass 7a", "Pad", "Pad 1", "pad 2", "Pad 2b",
                                          "Pad 10"));
}

TEST(NaturalOrder, PutsPunctuationAheadOfDigitsAheadOfLetters) {
  std::vector<std::string> names = {"Pada", "Pad\u00BB", "Pad9", "Pad|", "Pad",
                                    "Pad_", "Pad[",      "Pad-", "Pad "};

  std::sort(names.begin(), names.end(), isNaturallyBefore);

  EXPECT_THAT(names, testing::ElementsAre("Pad", "Pad ", "Pad_", "Pad-", "Pad[", "Pad|", "Pad\u00BB", "Pad9",
                                          "Pada"));
}

TEST(NaturalOrder, ListsLettersWithAccentsAmongThePlainOnes) {
  std::vector<std::string> names = {
      "Zither", "\u00C4ther 10", "\u00E4ther 9",  "Bell", "Abend",       "\u0141\u00F3d\u017A",
      "Lodge",  "\u0152uvre",    "Odyssey",       "Oft",  "Stra\u00DFe", "Strasse 2",
      "Strata", "Aux",           "A\u0308ther 9b"};

  std::sort(names.begin(), names.end(), isNaturallyBefore);

  EXPECT_THAT(names, testing::ElementsAre("Abend", "\u00E4ther 9", "A\u0308ther 9b", "\u00C4ther 10", "Aux",
                                          "Bell", "Lodge", "\u0141\u00F3d\u017A", "Odyssey", "\u0152uvre",
                                          "Oft", "Stra\u00DFe", "Strasse 2", "Strata", "Zither"));
}

TEST(NaturalOrder, LeavesAlphabetsBeyondBehindLatinAndWhatIsNoTextAtTheEnd) {
  std::vector<std::string> names = {"\xFF", "\u0414", "Zebra", "\xC3", "\u03B1", "\u2013 dash"};

  std::sort(names.begin(), names.end(), isNaturallyBefore);

  EXPECT_THAT(names, testing::ElementsAre("\u2013 dash", "Zebra", "\u03B1", "\u0414", "\xC3", "\xFF"));
}

// Every letter of the two Latin blocks with an accent stands between the plain letters around it.
TEST(NaturalOrder, KnowsEachAccentedLetter) {
  const std::string plain =
      "aaaaaaaceeeeiiiidnooooo ouuuuytsaaaaaaaceeeeiiiidnooooo ouuuuyty"
      "aaaaaaccccccccddddeeeeeeeeeegggggggghhhhiiiiiiiiiiiijjkkqllllllllllnnnnnnnnnoooooooorrrrrrss"
      "ssssssttttttuuuuuuuuuuuuwwyyyzzzzzzs";
  ASSERT_EQ(plain.size(), 192U);
  for (std::size_t i = 0; i < plain.size(); ++i) {
    if (plain[i] == ' ') continue;
    const auto code = static_cast<unsigned>(0xC0 + i);
    const std::string letter = {static_cast<char>(0xC0U | code >> 6U),
                                static_cast<char>(0x80U | (code & 0x3FU))};
    const std::string before = {static_cast<char>(plain[i] - 1), 'z'};
    const std::string behind = plain[i] == 'z' ? "\u03B1" : std::string(1, static_cast<char>(plain[i] + 1));
    EXPECT_TRUE(isNaturallyBefore(before, letter)) << i;
    EXPECT_TRUE(isNaturallyBefore(letter, behind)) << i;
    EXPECT_TRUE(isNaturallyBefore(std::string(1, plain[i]), letter)) << i;
  }
}

TEST(NaturalOrder, IsAnOrder) {
  EXPECT_FALSE(isNaturallyBefore("a", "a"));
  EXPECT_TRUE(isNaturallyBefore("A", "a"));
  EXPECT_FALSE(isNaturallyBefore("a", "A"));
  EXPECT_TRUE(isNaturallyBefore("", "a"));
  EXPECT_TRUE(isNaturallyBefore("7", "07") != isNaturallyBefore("07", "7"));
  EXPECT_TRUE(isNaturallyBefore("99999999999999999999998", "99999999999999999999999"));
}

}  // namespace
}  // namespace morv
