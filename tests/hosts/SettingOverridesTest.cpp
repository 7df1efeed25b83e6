#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "hosts/cli/SettingOverrides.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv::cli {
namespace {

using testing::HasSubstr;

TEST(SettingOverrides, ReadsKeyAndValue) {
  const auto setting = parseSettingOverride("midiMPEBendRange=24.5");

  ASSERT_TRUE(setting) << setting.reason();
  EXPECT_EQ(setting->key, "midiMPEBendRange");
  EXPECT_EQ(setting->value, 24.5);
}

TEST(SettingOverrides, KnowsTheSettingsOfTheUnit) {
  for (const char* text : {"midiNotePriority=0", "midiNotePriority=2", "midiMPEBendRange=0", "midiMode=1",
                           "midiChannel=-1", "midiChannel=15"}) {
    EXPECT_TRUE(parseSettingOverride(text)) << text;
  }
}

TEST(SettingOverrides, RefusesUnknownKeysAndNamesTheNearest) {
  EXPECT_THAT(parseSettingOverride("midiNotePrio=1").reason(),
              HasSubstr("unknown setting 'midiNotePrio'; the nearest are midiNotePriority"));
  EXPECT_THAT(parseSettingOverride("didInitAUPrefs=1").reason(), HasSubstr("unknown setting"));
}

TEST(SettingOverrides, RefusesBadValues) {
  EXPECT_THAT(parseSettingOverride("midiNotePriority").reason(), HasSubstr("KEY=VALUE"));
  EXPECT_THAT(parseSettingOverride("midiNotePriority=").reason(), HasSubstr("is no number"));
  EXPECT_THAT(parseSettingOverride("midiNotePriority=last").reason(), HasSubstr("'last' is no number"));
  EXPECT_THAT(parseSettingOverride("midiNotePriority=1.5").reason(), HasSubstr("is no whole number"));
  EXPECT_THAT(parseSettingOverride("midiNotePriority=3").reason(), HasSubstr("out of range (0 to 2)"));
  EXPECT_THAT(parseSettingOverride("midiMPEBendRange=-1").reason(), HasSubstr("out of range"));
  EXPECT_THAT(parseSettingOverride("midiChannel=16").reason(), HasSubstr("out of range"));
}

TEST(SettingOverrides, ReachTheInstrumentThroughItsUnit) {
  UnitSurroundings around;
  OpenUnit unit(around);
  around.queue.runDue(0);

  applySetting({"midiMPEBendRange", 12.0}, unit);
  applySetting({"midiNotePriority", 2}, unit);
  applySetting({"midiMode", 0}, unit);
  applySetting({"midiChannel", 5}, unit);
  around.queue.runDue(1);

  EXPECT_EQ(unit.instrument().mpeBendRange.load(), 12.0F);
  EXPECT_EQ(unit.instrument().notePriority.load(), 2);
  EXPECT_EQ(around.standard.integerForKey("midiMode"), 0);
  EXPECT_EQ(around.standard.integerForKey("midiChannel"), 5);
}

}  // namespace
}  // namespace morv::cli
