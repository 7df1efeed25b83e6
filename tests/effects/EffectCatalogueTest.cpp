#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRDigiVerb.h"

namespace morv {
namespace {

template <typename Effect>
struct NamedMember {
  std::string identifier;
  std::variant<float Effect::*, int Effect::*, bool Effect::*> member;

  float of(const Effect& effect) const {
    return std::visit([&effect](auto pointer) { return static_cast<float>(effect.*pointer); }, member);
  }
};

// Each control moves the member of its name and no other.
template <typename Effect>
void expectToDrive(const std::string& kind, const std::vector<NamedMember<Effect>>& members) {
  const auto effect = makeEffect(kind, 48000);
  const auto& unit = static_cast<const Effect&>(*effect);
  auto controls = controlsOf(kind, *effect);
  const auto controlOf = [&controls](const std::string& identifier) {
    return std::find_if(controls.begin(), controls.end(),
                        [&identifier](const auto& each) { return each.identifier() == identifier; });
  };
  ASSERT_EQ(controls.size(), members.size());
  for (EffectControl& control : controls) control.set(control.range()->least);
  for (const auto& moved : members) {
    SCOPED_TRACE(moved.identifier);
    const auto control = controlOf(moved.identifier);
    ASSERT_NE(control, controls.end());
    control->set(control->range()->greatest);
    for (const auto& member : members) {
      const EffectControl::Range range = *controlOf(member.identifier)->range();
      const bool isMoved = member.identifier == moved.identifier;
      EXPECT_EQ(member.of(unit), isMoved ? range.greatest : range.least) << member.identifier;
    }
    control->set(control->range()->least);
  }
}

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

TEST(EffectCatalogue, DrivesTheMembersOfTheReverbByTheirNames) {
  using E = ZRDigiVerb;
  expectToDrive<E>("digiverb", {{"mode", &E::mode},
                                {"highShelfFrequency", &E::highShelfFrequency},
                                {"diffusion", &E::diffusion},
                                {"decay", &E::decay},
                                {"preDelay", &E::preDelay},
                                {"damping", &E::damping},
                                {"size", &E::size},
                                {"mix", &E::mix},
                                {"spread", &E::spread},
                                {"modDepth", &E::modDepth},
                                {"lfoRate", &E::lfoRate},
                                {"earlyGain", &E::earlyGain},
                                {"lateGain", &E::lateGain},
                                {"dryGain", &E::dryGain},
                                {"lowShelfGain", &E::lowShelfGain},
                                {"highShelfGain", &E::highShelfGain},
                                {"inputGain", &E::inputGain},
                                {"outputGain", &E::outputGain}});
}

TEST(EffectCatalogue, DrivesTheMembersOfTheDelayByTheirNames) {
  using E = ZRDigiDelay;
  expectToDrive<E>("digidelay", {{"time", &E::time},
                                 {"feedback", &E::feedback},
                                 {"mix", &E::mix},
                                 {"spread", &E::spread},
                                 {"modAmount", &E::modAmount},
                                 {"modRate", &E::modRate},
                                 {"modFeedback", &E::modFeedback},
                                 {"modType", &E::modType},
                                 {"modPosition", &E::modPosition},
                                 {"syncTempo", &E::syncTempo},
                                 {"syncType", &E::syncType},
                                 {"delayBypass", &E::delayBypass},
                                 {"lowpass", &E::lowpass},
                                 {"highpass", &E::highpass},
                                 {"modBase", &E::modBase},
                                 {"modDepth", &E::modDepth}});
}

TEST(EffectCatalogue, DrivesTheMembersOfThePhaserByTheirNames) {
  using E = ZRDigiPhaser;
  expectToDrive<E>("digiphaser",
                   {{"mix", &E::mix}, {"feedback", &E::feedback}, {"depth", &E::depth}, {"rate", &E::rate}});
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
