// What a unit saves, and what comes back.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/PropertyList.h"
#include "platform/Random.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

class UnitState : public testing::Test {
 protected:
  UnitState() {
    around_.services.log = [this](const std::string& line) { log_.push_back(line); };
    unit_ = std::make_unique<OpenUnit>(around_);
    log_.clear();
  }
  AUParameter& parameter(const std::string& keyPath) {
    return *unit_->parameterTree()->parameterForKeyPath(keyPath);
  }
  // The one that the empty identifier stands for.
  modMatrixRow* lastRow() {
    return unit_->getModMatrix()->getRowAtIndex(unit_->getModMatrix()->rowCount - 1);
  }
  // A state with one value and nothing else.
  static PropertyListDictionary stateWith(const std::string& group, const std::string& identifier,
                                          PropertyListValue value) {
    return {{"parameters",
             PropertyListDictionary{{group, PropertyListDictionary{{identifier, std::move(value)}}}}}};
  }
  static const PropertyListDictionary& dictionaryAt(const PropertyListDictionary& in,
                                                    const std::string& key) {
    return *in.find(key)->dictionary();
  }

  UnitSurroundings around_;
  std::vector<std::string> log_;
  std::unique_ptr<OpenUnit> unit_;
};

TEST_F(UnitState, HoldsCodesVersionAndEveryParameterByGroup) {
  parameter("morv.filterCutoff").setValue(432.1F);
  parameter("ecoverb.reverbDecay").setValue(0.7F);

  const PropertyListDictionary state = unit_->fullState();

  EXPECT_EQ(state.find("version")->integer(), 1);
  EXPECT_EQ(state.find("type")->integer(), 0x61756D75);          // aumu
  EXPECT_EQ(state.find("subtype")->integer(), 0x6D6F7276);       // morv
  EXPECT_EQ(state.find("manufacturer")->integer(), 0x4D4F5256);  // MORV
  const auto& parameters = dictionaryAt(state, "parameters");
  EXPECT_EQ(parameters.size(), 4U);
  std::size_t count = 0;
  for (const auto& [group, values] : parameters.entries()) count += values.dictionary()->size();
  EXPECT_EQ(count, unit_->parameterTree()->allParameters().size());
  EXPECT_EQ(dictionaryAt(parameters, "morv").find("filterCutoff")->real(), static_cast<double>(432.1F));
  EXPECT_EQ(dictionaryAt(parameters, "ecoverb").find("reverbDecay")->real(), static_cast<double>(0.7F));
  EXPECT_EQ(unit_->fullStateForDocument(), state);
}

// The rows of this instrument have no identifier and collapse to the last of them.
TEST_F(UnitState, HoldsTheRowsOfTheMatrixByTheirIdentifiers) {
  ZRDSPModMatrix& matrix = *unit_->getModMatrix();
  modMatrixRow* last = matrix.getRowAtIndex(matrix.rowCount - 1);
  last->modSource = 4;
  last->modAmount = 0.25F;
  modMatrixRow* named = matrix.addRow("7 > 20", 7, 20, nullptr, 1.0F, 0, false);
  named->modSource = 6;

  const PropertyListDictionary state = unit_->fullState();

  const auto& rows = dictionaryAt(state, "modMatrixDict");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(dictionaryAt(rows, "").find("modSourceIndex")->integer(), 4);
  EXPECT_EQ(dictionaryAt(rows, "").find("modAmount")->real(), 0.25);
  EXPECT_EQ(dictionaryAt(rows, "").find("value") != nullptr, last->depth != nullptr);
  EXPECT_EQ(dictionaryAt(rows, "7 > 20").find("modSourceIndex")->integer(), 6);
  EXPECT_EQ(dictionaryAt(rows, "7 > 20").find("value"), nullptr);
}

TEST_F(UnitState, RestoresRowsByTheirIdentifier) {
  ZRDSPModMatrix& matrix = *unit_->getModMatrix();
  ZRDSPParameter depth;
  depth.minValue = -1;
  depth.maxValue = 1;
  modMatrixRow* row = matrix.addRow("7 > 20", 7, 20, &depth, 1.0F, 0, false);
  const PropertyListDictionary state{
      {"modMatrixDict",
       PropertyListDictionary{
           {"7 > 20", PropertyListDictionary{{"modSourceIndex", 5}, {"modAmount", 0.5}, {"value", -0.5}}}}}};

  unit_->setFullState(&state);

  EXPECT_EQ(row->modSource.load(), 5);
  EXPECT_EQ(row->modAmount.load(), 0.5F);
  EXPECT_EQ(depth.value.load(), -0.5F);
  EXPECT_EQ(depth.normalizedValueCache.load(), -0.5F);
}

TEST_F(UnitState, PassesOverRowsAndNumbersThatAreNone) {
  modMatrixRow* row = lastRow();
  row->modSource = 2;
  row->modAmount = 0.5F;
  const PropertyListDictionary state{
      {"modMatrixDict",
       PropertyListDictionary{
           {"no such row", PropertyListDictionary{{"modAmount", 1.0}}},
           {row->identifier,
            PropertyListDictionary{{"modSourceIndex", 475}, {"modAmount", std::nan("")}, {"value", "loud"}}},
           {"7 > 20", "not a row"}}}};

  unit_->setFullState(&state);

  EXPECT_EQ(row->modSource.load(), 2);
  EXPECT_EQ(row->modAmount.load(), 0.5F);
}

TEST_F(UnitState, WithoutAMatrixDictionaryLeavesTheRows) {
  modMatrixRow* row = lastRow();
  row->modSource = 6;
  row->modAmount = -0.5F;
  PropertyListDictionary state = unit_->fullState();
  state.remove("modMatrixDict");

  unit_->setFullState(&state);

  EXPECT_EQ(row->modSource.load(), 6);
  EXPECT_EQ(row->modAmount.load(), -0.5F);
}

TEST_F(UnitState, CarriesValuesIntoTheEngine) {
  const auto cutoff = stateWith("morv", "filterCutoff", 777.0);
  const auto echo = stateWith("basicdelay", "echoBypass", 0);

  unit_->setFullState(&cutoff);
  unit_->setFullState(&echo);

  for (const auto& voice : unit_->instrument().voices) {
    EXPECT_EQ(voice->parameterValueForAddress(static_cast<int>(parameter("morv.filterCutoff").address())),
              777.0F);
  }
  EXPECT_EQ(unit_->instrument().effects[2]->bypass.value.load(), 0.0F);
}

TEST_F(UnitState, DrivesWhatTheTreeHoldsIntoAnEngineThatHasMovedAway) {
  parameter("ecoverb.reverbDecay").setValue(0.75F);
  unit_->instrument().effects[1]->setParameterValueForAddress(
      static_cast<int>(parameter("ecoverb.reverbDecay").address()), 0.1F);

  unit_->reloadParameters();

  EXPECT_EQ(unit_->instrument().effects[1]->parameterValueForAddress(
                static_cast<int>(parameter("ecoverb.reverbDecay").address())),
            0.75F);
}

TEST_F(UnitState, NothingAtAllStillDrivesTheTreeIntoTheEngine) {
  parameter("ecoverb.reverbDecay").setValue(0.75F);
  unit_->instrument().effects[1]->setParameterValueForAddress(
      static_cast<int>(parameter("ecoverb.reverbDecay").address()), 0.1F);

  unit_->setFullState(nullptr);

  EXPECT_EQ(unit_->instrument().effects[1]->parameterValueForAddress(
                static_cast<int>(parameter("ecoverb.reverbDecay").address())),
            0.75F);
  EXPECT_TRUE(log_.empty());
}

TEST_F(UnitState, TheUsersMidiSettingsWinOverTheState) {
  around_.standard.setInteger("midiMode", 0);
  around_.standard.setInteger("midiChannel", 7);
  const PropertyListDictionary state{
      {"parameters",
       PropertyListDictionary{
           {"morv", PropertyListDictionary{{"midiMode", 1}, {"midiChannel", 3}, {"volume", 0.5}}}}}};

  unit_->setFullState(&state);

  EXPECT_EQ(parameter("morv.midiMode").value(), 0.0F);
  EXPECT_EQ(parameter("morv.midiChannel").value(), 7.0F);
  EXPECT_EQ(parameter("morv.volume").value(), 0.5F);
}

TEST_F(UnitState, WithoutThatRuleTheStateWins) {
  unit_->overridesMIDISettingParametersWithPrefs = false;
  around_.standard.setInteger("midiMode", 0);
  const PropertyListDictionary state{
      {"parameters",
       PropertyListDictionary{{"morv", PropertyListDictionary{{"midiMode", 1}, {"midiChannel", 3}}}}}};

  unit_->setFullState(&state);

  EXPECT_EQ(parameter("morv.midiMode").value(), 1.0F);
  EXPECT_EQ(parameter("morv.midiChannel").value(), 3.0F);
}

TEST_F(UnitState, AMissingMidiSettingReadsAsNothing) {
  around_.standard.remove("midiMode");
  parameter("morv.midiChannel").setValue(5.0F);

  unit_->setFullState(nullptr);

  EXPECT_EQ(parameter("morv.midiMode").value(), 0.0F);
  EXPECT_EQ(parameter("morv.midiChannel").value(), 0.0F);
}

TEST_F(UnitState, HoldsValuesInsideTheirRangesAndPassesOverWhatIsNoNumber) {
  const auto high = stateWith("morv", "filterCutoff", 1e30);
  const auto low = stateWith("basicdelay", "echoTime", -5);
  const auto none = stateWith("ecoverb", "reverbDecay", std::nan(""));
  const auto word = stateWith("ecoverb", "reverbSize", "big");
  const auto truth = stateWith("vachorus", "chorusBypass", true);

  for (const auto* state : {&high, &low, &none, &word, &truth}) unit_->setFullState(state);

  EXPECT_EQ(parameter("morv.filterCutoff").value(), parameter("morv.filterCutoff").maxValue());
  EXPECT_EQ(parameter("basicdelay.echoTime").value(), 0.0F);
  EXPECT_EQ(parameter("ecoverb.reverbDecay").value(), 0.5F);
  EXPECT_EQ(parameter("ecoverb.reverbSize").value(), 0.25F);
  EXPECT_EQ(parameter("vachorus.chorusBypass").value(), 1.0F);
}

TEST_F(UnitState, KeepsWhatItDoesNotKnow) {
  PropertyListDictionary state = unit_->fullState();
  state.set("tags", PropertyListValue::Array{"warm", "wide"});
  state.set("version", 9);
  PropertyListDictionary parameters = dictionaryAt(state, "parameters");
  parameters.set("granular", PropertyListDictionary{{"density", 0.3}});
  PropertyListDictionary reverb = dictionaryAt(parameters, "ecoverb");
  reverb.set("shimmer", 0.9);
  parameters.set("ecoverb", reverb);
  state.set("parameters", parameters);
  PropertyListDictionary rows = dictionaryAt(state, "modMatrixDict");
  rows.set("900 > 901", PropertyListDictionary{{"modAmount", 0.1}});
  state.set("modMatrixDict", rows);

  unit_->setFullState(&state);
  const PropertyListDictionary again = unit_->fullState();

  EXPECT_EQ(*again.find("tags"), *state.find("tags"));
  EXPECT_EQ(again.find("version")->integer(), 1);
  EXPECT_EQ(dictionaryAt(dictionaryAt(again, "parameters"), "granular").find("density")->real(), 0.3);
  EXPECT_EQ(dictionaryAt(dictionaryAt(again, "parameters"), "ecoverb").find("shimmer")->real(), 0.9);
  EXPECT_NE(dictionaryAt(again, "modMatrixDict").find("900 > 901"), nullptr);
}

TEST_F(UnitState, ForgetsTheForeignPartsOfTheStateBefore) {
  const PropertyListDictionary first{{"tags", "warm"}};
  const PropertyListDictionary second{{"author", "somebody"}};

  unit_->setFullState(&first);
  unit_->setFullState(&second);

  EXPECT_EQ(unit_->fullState().find("tags"), nullptr);
  EXPECT_NE(unit_->fullState().find("author"), nullptr);
}

TEST_F(UnitState, LogsAStateThatIsRefusedAndReloadsASecondLater) {
  parameter("ecoverb.reverbDecay").setValue(0.75F);
  const PropertyListDictionary state{{"parameters", "nonsense"}};

  unit_->setFullState(&state);
  unit_->instrument().effects[1]->setParameterValueForAddress(
      static_cast<int>(parameter("ecoverb.reverbDecay").address()), 0.1F);
  around_.queue.runDue(0.9);
  const float before = unit_->instrument().effects[1]->parameterValueForAddress(
      static_cast<int>(parameter("ecoverb.reverbDecay").address()));
  around_.queue.runDue(1.1);

  EXPECT_THAT(log_, testing::ElementsAre("expection: the state's \"parameters\" is no dictionary"));
  EXPECT_EQ(before, 0.1F);
  EXPECT_EQ(unit_->instrument().effects[1]->parameterValueForAddress(
                static_cast<int>(parameter("ecoverb.reverbDecay").address())),
            0.75F);
}

TEST_F(UnitState, ARefusedStateStillBringsItsRows) {
  modMatrixRow* row = lastRow();
  const PropertyListDictionary state{
      {"parameters", PropertyListDictionary{{"morv", 3}}},
      {"modMatrixDict",
       PropertyListDictionary{{row->identifier, PropertyListDictionary{{"modAmount", 0.75}}}}}};

  unit_->setFullState(&state);

  EXPECT_EQ(log_.size(), 1U);
  EXPECT_EQ(row->modAmount.load(), 0.75F);
}

TEST_F(UnitState, AReloadThatWaitsFallsAwayWithItsUnit) {
  const PropertyListDictionary state{{"parameters", 1}};
  unit_->setFullState(&state);

  unit_.reset();
  around_.queue.runDue(2.0);

  EXPECT_EQ(log_.size(), 1U);
}

// As text, as a file has it.
TEST_F(UnitState, PreparesAStateWithoutTouchingAValueAndAppliesItAsAWhole) {
  const auto value = [this] { return parameter("morv.filterCutoff").value(); };
  lastRow()->modAmount = 0.75F;
  lastRow()->modSource = 4;
  parameter("morv.filterCutoff").setValue(440.0F);
  const PropertyListDictionary state = unit_->fullState();
  parameter("morv.filterCutoff").setValue(8000.0F);
  lastRow()->modAmount = 0.0F;
  lastRow()->modSource = 0;
  parameter("morv.midiChannel").setValue(7.0F);
  around_.standard.setInteger("midiChannel", 3);

  const ZRStateChange change = unit_->prepareFullState(state);

  EXPECT_EQ(value(), 8000.0F);
  EXPECT_EQ(lastRow()->modSource.load(), 0);
  unit_->applyFullState(change);
  EXPECT_EQ(value(), 440.0F);
  EXPECT_EQ(lastRow()->modAmount.load(), 0.75F);
  EXPECT_EQ(lastRow()->modSource.load(), 4);
  EXPECT_EQ(parameter("morv.midiChannel").value(), 3.0F);
}

TEST_F(UnitState, RefusesToPrepareWhatThePlatformsFormRefuses) {
  const PropertyListDictionary state{{"parameters", 5}};

  EXPECT_THROW(unit_->prepareFullState(state), std::invalid_argument);
}

TEST_F(UnitState, AThousandRandomStatesComeBackExactly) {
  unit_->overridesMIDISettingParametersWithPrefs = false;
  UnitSurroundings elsewhere;
  OpenUnit other(elsewhere);
  other.overridesMIDISettingParametersWithPrefs = false;
  Random random(5);
  for (int round = 0; round < 1000; ++round) {
    for (AUParameter* each : unit_->parameterTree()->allParameters()) {
      each->setValue(each->minValue() + (each->maxValue() - each->minValue()) * random.unit31());
    }
    const PropertyListDictionary state = unit_->fullState();
    const auto text = writePropertyList(state);
    ASSERT_TRUE(text.ok());
    const auto read = readPropertyList(text.value());
    ASSERT_TRUE(read.ok());

    other.setFullState(read.value().dictionary());

    const auto& mine = unit_->parameterTree()->allParameters();
    const auto& theirs = other.parameterTree()->allParameters();
    ASSERT_EQ(mine.size(), theirs.size());
    for (std::size_t i = 0; i < mine.size(); ++i) {
      ASSERT_EQ(theirs[i]->value(), mine[i]->value()) << mine[i]->identifier() << " in round " << round;
    }
  }
}

}  // namespace
}  // namespace morv
