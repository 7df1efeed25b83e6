#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hosts/cli/PresetCategories.h"
#include "hosts/cli/PresetChoice.h"
#include "tests/hosts/TemporaryFolder.h"

namespace morv::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

const std::vector<std::string> kNames = {"[FACTORY]_BS_Deep", "[FACTORY]_LD_Deep", "[FACTORY]_PL_Glass Bell",
                                         "[USER]_My_Sound", "Bare"};

TEST(PresetCategories, AreTheBuiltInOnesWithoutAFile) {
  EXPECT_THAT(PresetCategories::of("").entries(),
              ElementsAre(Pair("ALL", "All"), Pair("PL", "Poly"), Pair("LD", "Lead"), Pair("BS", "Bass"),
                          Pair("PD", "Pad"), Pair("RT", "Rhythmic"), Pair("AT", "Atmospheric"),
                          Pair("INIT", "Templates"), Pair("USER", "User")));
}

TEST(PresetCategories, ComeFromTheFile) {
  const TemporaryFolder folder;
  folder.write("Categories.plist",
               std::string("<plist version=\"1.0\"><dict><key>ZZ</key><string>Noises</string><key>bad</key>"
                           "<integer>1</integer></dict></plist>"));
  const std::string path = folder.path("");

  const auto categories = PresetCategories::of(path);

  EXPECT_THAT(categories.entries(), ElementsAre(Pair("ZZ", "Noises")));
  EXPECT_EQ(categories.titleFor("[USER]_ZZ_Storm"), "Noises");
  EXPECT_EQ(categories.titleFor("[FACTORY]_BS_Deep"), "");
}

TEST(PresetCategories, FindThePrefixAnywhereBetweenUnderscores) {
  const auto categories = PresetCategories::of("");

  EXPECT_EQ(categories.prefixFor("[FACTORY]_BS_Deep"), "BS");
  EXPECT_EQ(categories.prefixFor("[USER]_Old_PD_Sound"), "PD");
  EXPECT_EQ(categories.prefixFor("[USER]_Sound"), "");
  EXPECT_EQ(categories.prefixFor("BS_Deep"), "");
}

TEST(PresetCategories, LeaveTheShortName) {
  const auto categories = PresetCategories::of("");

  EXPECT_EQ(categories.shortNameOf("[FACTORY]_BS_Deep"), "Deep");
  EXPECT_EQ(categories.shortNameOf("[USER]_INIT_A_B"), "A_B");
  EXPECT_EQ(categories.shortNameOf("[USER]_My_Sound"), "My_Sound");
  EXPECT_EQ(categories.shortNameOf("Bare"), "Bare");
}

TEST(PresetChoice, TakesFullNamesFirstThenCapitalsAsSmallLettersThenShortNames) {
  const auto categories = PresetCategories::of("");

  EXPECT_EQ(*choosePreset("[FACTORY]_LD_Deep", kNames, categories), "[FACTORY]_LD_Deep");
  EXPECT_EQ(*choosePreset("[factory]_bs_DEEP", kNames, categories), "[FACTORY]_BS_Deep");
  EXPECT_EQ(*choosePreset("glass bell", kNames, categories), "[FACTORY]_PL_Glass Bell");
  EXPECT_EQ(*choosePreset("my_sound", kNames, categories), "[USER]_My_Sound");
}

TEST(PresetChoice, RefusesWhatFitsSeveralOrNone) {
  const auto categories = PresetCategories::of("");

  EXPECT_THAT(choosePreset("Deep", kNames, categories).reason(),
              HasSubstr("several presets: [FACTORY]_BS_Deep, [FACTORY]_LD_Deep"));
  EXPECT_THAT(choosePreset("Glas Bell", kNames, categories).reason(),
              HasSubstr("unknown preset 'Glas Bell'; the nearest are Glass Bell"));
  EXPECT_THAT(choosePreset("[FACTORY]_BS_Dep", kNames, categories).reason(),
              HasSubstr("the nearest are [FACTORY]_BS_Deep"));
  EXPECT_THAT(choosePreset("x", {}, categories).reason(), HasSubstr("there are none"));
}

TEST(PresetChoice, TellsFilesFromNames) {
  EXPECT_TRUE(meansPresetFile("./x"));
  EXPECT_TRUE(meansPresetFile("x.aupreset"));
  EXPECT_FALSE(meansPresetFile("[FACTORY]_BS_Deep"));
}

}  // namespace
}  // namespace morv::cli
