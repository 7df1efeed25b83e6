#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "effects/EffectCatalogue.h"

namespace morv {
namespace {

TEST(EffectCatalogue, MakesEachKindByItsNameAndNoOther) {
  std::set<std::string_view> names;
  for (const EffectKind& kind : effectKinds()) {
    EXPECT_TRUE(names.insert(kind.name).second);
    EXPECT_FALSE(kind.title.empty());
    EXPECT_FALSE(kind.description.empty());
    EXPECT_NE(makeEffect(kind.name, 48000), nullptr) << kind.name;
  }
  EXPECT_EQ(makeEffect("nothing", 48000), nullptr);
}

TEST(EffectCatalogue, ShowsControlsWithNamesOfTheirOwnInsideTheirRanges) {
  for (const EffectKind& kind : effectKinds()) {
    const auto effect = makeEffect(kind.name, 48000);
    std::set<std::string> identifiers;
    for (const EffectControl& control : controlsOf(kind.name, *effect)) {
      SCOPED_TRACE(std::string(kind.name) + "." + control.identifier());
      EXPECT_TRUE(identifiers.insert(control.identifier()).second);
      ASSERT_TRUE(control.range().has_value());
      EXPECT_LE(control.range()->least, control.value());
      EXPECT_GE(control.range()->greatest, control.value());
    }
  }
}

TEST(EffectCatalogue, SetsParametersAndMembersAlike) {
  for (const EffectKind& kind : effectKinds()) {
    const auto effect = makeEffect(kind.name, 48000);
    for (EffectControl& control : controlsOf(kind.name, *effect)) {
      SCOPED_TRACE(std::string(kind.name) + "." + control.identifier());
      control.set(control.range()->greatest);
      EXPECT_EQ(control.value(), control.range()->greatest);
      control.set(control.range()->least);
      EXPECT_EQ(control.value(), control.range()->least);
    }
  }
}

TEST(EffectCatalogue, RoundsWhatAWholeMemberTakes) {
  const auto effect = makeEffect("digiverb", 48000);
  auto controls = controlsOf("digiverb", *effect);
  EffectControl& mode = controls.front();
  ASSERT_EQ(mode.identifier(), "mode");
  EXPECT_TRUE(mode.isWhole());
  EXPECT_FALSE(mode.isSwitch());
  mode.set(3.6F);
  EXPECT_EQ(mode.value(), 4.0F);
}

}  // namespace
}  // namespace morv
