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

std::vector<PresetEntry> entriesOf(const std::vector<std::string>& names) {
  std::vector<PresetEntry> entries;
  for (const std::string& name : names) entries.push_back({name, PresetEntry::Source::factory, "", false});
  return entries;
}

std::string chosenOf(const std::string& wanted, const std::vector<PresetEntry>& entries) {
  const auto chosen = choosePreset(wanted, entries, PresetCategories::of(""));
  return chosen ? chosen->name : chosen.reason();
}

std::string refusalOf(const std::string& wanted, const std::vector<PresetEntry>& entries) {
  const auto chosen = choosePreset(wanted, entries, PresetCategories::of(""));
  return chosen ? "chosen: " + chosen->name : chosen.reason();
}

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
  EXPECT_EQ(chosenOf("[FACTORY]_LD_Deep", entriesOf(kNames)), "[FACTORY]_LD_Deep");
  EXPECT_EQ(chosenOf("[factory]_bs_DEEP", entriesOf(kNames)), "[FACTORY]_BS_Deep");
  EXPECT_EQ(chosenOf("glass bell", entriesOf(kNames)), "[FACTORY]_PL_Glass Bell");
  EXPECT_EQ(chosenOf("my_sound", entriesOf(kNames)), "[USER]_My_Sound");
}

TEST(PresetChoice, RefusesWhatFitsSeveralOrNone) {
  EXPECT_THAT(refusalOf("Deep", entriesOf(kNames)),
              HasSubstr("several presets: [FACTORY]_BS_Deep, [FACTORY]_LD_Deep"));
  EXPECT_THAT(refusalOf("Glas Bell", entriesOf(kNames)),
              HasSubstr("unknown preset 'Glas Bell'; the nearest are Glass Bell"));
  EXPECT_THAT(refusalOf("[FACTORY]_BS_Dep", entriesOf(kNames)),
              HasSubstr("the nearest are [FACTORY]_BS_Deep"));
  EXPECT_THAT(refusalOf("x", {}), HasSubstr("there are none"));
}

TEST(PresetChoice, AFullNameToTheLetterWinsOverShortNamesOfOthers) {
  const auto entries = entriesOf({"[FACTORY]_BS_Bare", "[USER]_Bare", "Bare"});

  EXPECT_EQ(chosenOf("Bare", entries), "Bare");
  EXPECT_THAT(refusalOf("bare", entries),
              HasSubstr("'bare' is the name of several presets: [FACTORY]_BS_Bare, [USER]_Bare, Bare"));
}

TEST(PresetChoice, RefusesAFullNameThatFitsSeveralButForCapitals) {
  const auto entries = entriesOf({"[USER]_Pad", "[USER]_PAD"});

  EXPECT_EQ(chosenOf("[USER]_PAD", entries), "[USER]_PAD");
  EXPECT_THAT(refusalOf("[user]_pad", entries), HasSubstr("several presets: [USER]_Pad, [USER]_PAD"));
}

TEST(PresetChoice, TellsPresetsOfOneNameApartByWhereTheyComeFrom) {
  using Source = PresetEntry::Source;
  const std::vector<PresetEntry> entries = {
      {"[FACTORY]_PD_Cello", Source::pack, "/r/Packs/Strings/[FACTORY]_PD_Cello.aupreset"},
      {"[FACTORY]_PD_Cello", Source::pack, "/r/Packs/Bows/[FACTORY]_PD_Cello.aupreset", true},
      {"[USER]_Cello", Source::user, ""}};

  EXPECT_EQ(refusalOf("cello", entries),
            "'cello' is the name of several presets: [FACTORY]_PD_Cello (pack 'Strings'), "
            "[FACTORY]_PD_Cello (pack 'Bows', only by its file "
            "'/r/Packs/Bows/[FACTORY]_PD_Cello.aupreset'), [USER]_Cello");
  const auto chosen = choosePreset("[FACTORY]_PD_Cello", entries, PresetCategories::of(""));
  ASSERT_TRUE(chosen);
  EXPECT_EQ(chosen->file, "/r/Packs/Strings/[FACTORY]_PD_Cello.aupreset");
}

TEST(PresetChoice, TellsTheFactorysAndTheUsersFromAPacks) {
  using Source = PresetEntry::Source;
  const std::vector<PresetEntry> entries = {{"[FACTORY]_A", Source::factory, "/r/a.aupreset"},
                                            {"[FACTORY]_A", Source::pack, "/r/Packs/P/a.aupreset", true},
                                            {"[USER]_B", Source::user, ""},
                                            {"[USER]_B", Source::pack, "/r/Packs/P/b.aupreset", true}};

  EXPECT_THAT(refusalOf("a", entries), HasSubstr("[FACTORY]_A (the factory's), [FACTORY]_A (pack 'P', only"));
  EXPECT_THAT(refusalOf("b", entries), HasSubstr("[USER]_B (the user's), [USER]_B (pack 'P', only"));
}

TEST(PresetChoice, NamesEachOfTheNearestOnce) {
  const auto entries = entriesOf({"[FACTORY]_BS_Deep", "[USER]_Deep", "[USER]_Deer", "[USER]_High"});

  EXPECT_EQ(refusalOf("Deepp", entries), "unknown preset 'Deepp'; the nearest are Deep, Deer, High");
}

TEST(PresetChoice, TellsFilesFromNames) {
  EXPECT_TRUE(meansPresetFile("./x"));
  EXPECT_TRUE(meansPresetFile("x.aupreset"));
  EXPECT_FALSE(meansPresetFile("[FACTORY]_BS_Deep"));
}

}  // namespace
}  // namespace morv::cli
