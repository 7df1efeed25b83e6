#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "effects/ZREcoVerb.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

// A further effect behind those of the instrument.
class TwoKnobEffect : public ZRDSPEffect {
 public:
  explicit TwoKnobEffect(float sampleRateHz) : ZRDSPEffect(sampleRateHz) {
    identifier = "twoknob";
    name = "Two Knobs";
    initParameter("held", "Held", -1, 0, 1, {}, ZRDSPParameterUnit::generic, 0.5F, &held);
    initParameter("free", "Free", -1, 0, 1, {}, ZRDSPParameterUnit::generic, 0.5F, &free);
  }
  void runEffect(const float*, const float*, float*, float*, int, float) noexcept override {}
  void reset() override {}

  ZRDSPParameter held;
  ZRDSPParameter free;
};

class ZQ3UnitTree : public testing::Test {
 protected:
  // Adds the effect and builds the tree anew.
  std::shared_ptr<AUParameterTree> treeWithEffect() {
    unit_.instrument().addEffect<TwoKnobEffect>(44100.0F, 0);
    effect_ = static_cast<TwoKnobEffect*>(unit_.instrument().effects.back().get());
    return unit_.generateParameterTree();
  }
  AUParameter& parameter(const std::string& identifier) {
    return *unit_.parameterTree()->parameterForKeyPath("morv." + identifier);
  }

  UnitSurroundings around_;
  OpenUnit unit_{around_};
  TwoKnobEffect* effect_ = nullptr;
};

TEST_F(ZQ3UnitTree, BeginsWithTheInstrumentsGroup) {
  const auto& group = *unit_.parameterTree()->children().front();
  const auto records = unit_.instrument().parameters();

  EXPECT_EQ(group.identifier(), "morv");
  EXPECT_EQ(group.displayName(), "MORV");
  ASSERT_EQ(group.children().size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    const AUParameter& shown = *group.children()[i];
    EXPECT_EQ(shown.identifier(), records[i]->identifier);
    EXPECT_EQ(shown.displayName(), records[i]->name);
    EXPECT_EQ(static_cast<std::int64_t>(shown.address()), records[i]->address);
    EXPECT_EQ(shown.minValue(), records[i]->minValue);
    EXPECT_EQ(shown.maxValue(), records[i]->maxValue);
    EXPECT_EQ(shown.unit(), static_cast<std::int32_t>(records[i]->unit));
    EXPECT_EQ(shown.flags(), records[i]->flags);
    EXPECT_EQ(shown.value(), records[i]->value.load());
  }
}

TEST_F(ZQ3UnitTree, HoldsEachAddressOnce) {
  std::set<AUParameterAddress> addresses;

  for (const AUParameter* each : unit_.parameterTree()->allParameters()) addresses.insert(each->address());

  EXPECT_EQ(addresses.size(), unit_.parameterTree()->allParameters().size());
}

TEST_F(ZQ3UnitTree, KnowsTheOutputVolume) { EXPECT_EQ(unit_.outputVolumeParameter(), &parameter("volume")); }

TEST_F(ZQ3UnitTree, ShowsTheStringsOfTheVoiceMode) {
  EXPECT_THAT(parameter("voiceMode").valueStrings(), testing::ElementsAre("Poly", "Unison"));
}

TEST_F(ZQ3UnitTree, WritesAVoiceParameterToEveryVoice) {
  AUParameter& cutoff = parameter("filterCutoff");

  cutoff.setValue(432.0F);

  for (const auto& voice : unit_.instrument().voices) {
    EXPECT_EQ(voice->parameterValueForAddress(static_cast<int>(cutoff.address())), 432.0F);
  }
}

TEST_F(ZQ3UnitTree, WritesGlobalsToTheInstrument) {
  parameter("volume").setValue(0.125F);
  parameter("midiMode").setValue(0.0F);

  EXPECT_EQ(unit_.instrument().volume.value.load(), 0.125F);
  EXPECT_EQ(unit_.instrument().midiMode.intValue(), 0);
}

TEST_F(ZQ3UnitTree, ReadsWhatTheEngineHolds) {
  parameter("volume").setValue(0.5F);
  unit_.instrument().volume = 0.25F;

  EXPECT_EQ(parameter("volume").value(), 0.25F);
}

TEST_F(ZQ3UnitTree, ShowsTheVoiceNumberThatTheEngineCutDown) {
  parameter("voiceNumber").setValue(99.0F);

  EXPECT_EQ(parameter("voiceNumber").value(), 8.0F);
}

TEST_F(ZQ3UnitTree, HasOneGroupForEachEffectBehindTheInstrument) {
  const auto tree = treeWithEffect();

  ASSERT_EQ(tree->children().size(), unit_.instrument().effects.size() + 1);
  EXPECT_EQ(tree->children().back()->identifier(), "twoknob");
  EXPECT_EQ(tree->children().back()->displayName(), "Two Knobs");
  EXPECT_NE(tree->parameterForKeyPath("twoknob.held"), nullptr);
}

TEST_F(ZQ3UnitTree, WritesEffectParametersToTheEffect) {
  const auto tree = treeWithEffect();

  tree->parameterForKeyPath("twoknob.free")->setValue(0.7F);

  EXPECT_EQ(effect_->free.value.load(), 0.7F);
}

// The last parameter of the reverb stands at address 896 if the unit's first one stands at 0.
TEST_F(ZQ3UnitTree, StoresZeroAtEffectAddress896WhateverIsAsked) {
  UnitSurroundings elsewhere;
  OpenUnit unit(elsewhere.services, 0);
  AUParameter* highpass = unit.parameterTree()->parameterForKeyPath("ecoverb.highpass");
  const auto& reverb = dynamic_cast<const ZREcoVerb&>(*unit.instrument().effects[1]);
  ASSERT_EQ(highpass->address(), 896U);

  highpass->setValue(0.7F);

  EXPECT_EQ(reverb.highpass.value.load(), 0.0F);
  EXPECT_EQ(highpass->value(), 0.7F);
}

// An instrument of two parameters that writes down what it is told.
class TellingInstrument : public ZRDSPInstrument {
 public:
  TellingInstrument() : ZRDSPInstrument(44100.0F) {
    initParameter("midiMode", "MIDI Mode", 895, 0, 1, {}, ZRDSPParameterUnit::indexed, 0.0F, &mode);
    initParameter("held", "Held", 896, 0, 1, {}, ZRDSPParameterUnit::generic, 0.0F, &held);
  }
  void setParameterValueForAddress(int address, float value) noexcept override {
    told.emplace_back(address, value);
    ZRDSPInstrument::setParameterValueForAddress(address, value);
  }

  ZRDSPParameter mode;
  ZRDSPParameter held;
  std::vector<std::pair<int, float>> told;
};

TEST_F(ZQ3UnitTree, SetsTheMidiModeTwiceAndAllElseOnce) {
  const auto instrument = std::make_shared<TellingInstrument>();
  unit_.kernel().instrument = instrument;
  const auto tree = unit_.generateParameterTree();

  tree->parameterWithAddress(895)->setValue(1.0F);
  tree->parameterWithAddress(896)->setValue(0.7F);

  EXPECT_THAT(instrument->told,
              testing::ElementsAre(std::pair(895, 1.0F), std::pair(895, 1.0F), std::pair(896, 0.7F)));
}

TEST_F(ZQ3UnitTree, StoresWhatIsAskedAtTheInstrumentsAddress896) {
  const auto instrument = std::make_shared<TellingInstrument>();
  unit_.kernel().instrument = instrument;
  const auto tree = unit_.generateParameterTree();

  tree->parameterWithAddress(896)->setValue(0.7F);

  EXPECT_EQ(instrument->held.value.load(), 0.7F);
  EXPECT_EQ(tree->parameterWithAddress(896)->value(), 0.7F);
}

TEST_F(ZQ3UnitTree, ShowsTheInstrumentAndItsThreeEffectsAsGroups) {
  std::vector<std::string> groups;
  for (const auto& group : unit_.parameterTree()->children()) {
    groups.push_back(group->identifier() + "/" + group->displayName());
  }

  EXPECT_THAT(groups,
              testing::ElementsAre("morv/MORV", "vachorus/Chorus", "ecoverb/EcoVerb", "basicdelay/Echo"));
}

TEST_F(ZQ3UnitTree, SwitchesAnEffectOn) {
  unit_.parameterTree()->parameterForKeyPath("basicdelay.echoBypass")->setValue(0.0F);

  EXPECT_EQ(unit_.instrument().effects[2]->bypass.value.load(), 0.0F);
}

TEST_F(ZQ3UnitTree, ReadsEffectParametersFromTheTreeItself) {
  const auto tree = treeWithEffect();
  AUParameter& free = *tree->parameterForKeyPath("twoknob.free");
  free.setValue(0.7F);

  effect_->free = 0.1F;

  EXPECT_EQ(free.value(), 0.7F);
}

TEST_F(ZQ3UnitTree, OutlivesItsUnitWithTheEngineThatItDrives) {
  auto unit = std::make_unique<OpenUnit>(around_);
  const auto tree = unit->generateParameterTree();
  unit.reset();

  tree->parameterForKeyPath("morv.volume")->setValue(0.375F);

  EXPECT_EQ(tree->parameterForKeyPath("morv.volume")->value(), 0.375F);
}

std::vector<AUParameterAddress> addressesOf(const ZQ3Unit& unit) {
  std::vector<AUParameterAddress> addresses;
  for (const AUParameter* each : unit.parameterTree()->allParameters()) addresses.push_back(each->address());
  return addresses;
}

TEST_F(ZQ3UnitTree, CanTakeTheAddressesOfAUnitThatItReplaces) {
  UnitSurroundings elsewhere;
  const ZQ3Unit second(elsewhere.services);
  const std::uint32_t next = ZRDSPEntity::addr;

  const ZQ3Unit again(elsewhere.services, second.firstAddress());

  EXPECT_GT(second.firstAddress(), unit_.firstAddress());
  EXPECT_NE(addressesOf(second), addressesOf(unit_));
  EXPECT_EQ(addressesOf(again), addressesOf(second));
  EXPECT_EQ(ZRDSPEntity::addr, next);
}

TEST_F(ZQ3UnitTree, AddressesBeyondTheCounterTakeItAlong) {
  UnitSurroundings elsewhere;
  const std::uint32_t before = ZRDSPEntity::addr;
  { const ZQ3Unit measured(elsewhere.services); }
  const std::uint32_t drawn = ZRDSPEntity::addr - before;
  const std::uint32_t first = ZRDSPEntity::addr - 10;

  const ZQ3Unit unit(elsewhere.services, first);

  EXPECT_EQ(unit.firstAddress(), first);
  EXPECT_EQ(ZRDSPEntity::addr, first + drawn);
}

}  // namespace
}  // namespace morv
