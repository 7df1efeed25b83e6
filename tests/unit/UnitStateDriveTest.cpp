// Which values a state's loading drives into the engine, and what it prints on the way.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/DiagnosticRing.h"
#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// A shell over a tree of five parameters that writes down what reaches its engine.
class DrivenUnit : public ZRAudioUnit {
 public:
  explicit DrivenUnit(UnitSurroundings& around) : ZRAudioUnit(around.services) {
    std::vector<std::unique_ptr<AUParameter>> children;
    float value = 0.0F;
    for (const char* identifier : {"midiMode", "midiChannel", "7 > 20", "volume", ">"}) {
      AUParameter::Description description;
      description.identifier = identifier;
      description.address = children.size();
      description.maxValue = 100;
      children.push_back(std::make_unique<AUParameter>(std::move(description)));
      children.back()->setValue(value += 0.125F);
    }
    auto group = std::make_shared<AUParameterGroup>("g", "G", std::move(children));
    group->setImplementorValueObserver([this](const AUParameter& parameter, AUValue written) {
      driven.emplace_back(parameter.identifier(), written);
    });
    setParameterTree(AUParameterTree::createTreeWithChildren({group}));
  }
  AUInternalRenderBlock internalRenderBlock() override { return {nullptr, this}; }
  const AUAudioUnitBusArray* outputBusses() const override { return &busses_; }

  std::vector<std::pair<std::string, float>> driven;

 private:
  AUAudioUnitBusArray busses_{AUAudioUnitBusType::output, {}};
};

class UnitStateDrive : public testing::Test {
 protected:
  UnitStateDrive() {
    around_.standard.setInteger("midiMode", 1);
    around_.standard.setInteger("midiChannel", 9);
  }
  UnitSurroundings around_;
  DrivenUnit unit_{around_};
};

TEST_F(UnitStateDrive, LeavesOutTheDepthsOfRoutings) {
  unit_.setFullState(nullptr);

  EXPECT_THAT(unit_.driven,
              ElementsAre(Pair("midiMode", 1.0F), Pair("midiChannel", 9.0F), Pair("volume", 0.5F)));
}

TEST_F(UnitStateDrive, WithoutTheUsersRuleDrivesEveryParametersOwnValue) {
  unit_.overridesMIDISettingParametersWithPrefs = false;

  unit_.setFullState(nullptr);

  EXPECT_THAT(unit_.driven, ElementsAre(Pair("midiMode", 0.125F), Pair("midiChannel", 0.25F),
                                        Pair("7 > 20", 0.375F), Pair("volume", 0.5F), Pair(">", 0.625F)));
}

std::vector<std::string> waitingLines() {
  std::vector<std::string> lines;
  for (DiagnosticRing::Line line; DiagnosticRing::shared().take(&line);) lines.emplace_back(line.format);
  return lines;
}

class UnitStatePrinting : public testing::Test {
 protected:
  UnitStatePrinting() {
    depth_.minValue = -1;
    depth_.maxValue = 1;
    row_ = unit_.getModMatrix()->addRow("7 > 20", 7, 20, &depth_, 1.0F, 0, false);
    for (int i = 0; i < unit_.getModMatrix()->rowCount; ++i)
      unit_.getModMatrix()->getRowAtIndex(i)->modSource = 0;
    waitingLines();
  }
  void load(int source, double value) {
    const PropertyListDictionary state{
        {"modMatrixDict", PropertyListDictionary{{"7 > 20", PropertyListDictionary{{"modSourceIndex", source},
                                                                                   {"modAmount", 0.5},
                                                                                   {"value", value}}}}}};
    unit_.setFullState(&state);
  }

  UnitSurroundings around_;
  OpenUnit unit_{around_};
  ZRDSPParameter depth_;
  modMatrixRow* row_ = nullptr;
};

TEST_F(UnitStatePrinting, SavesAWordForEachSecondSource) {
  unit_.fullState();
  EXPECT_THAT(waitingLines(), IsEmpty());
  row_->modSource = 3;

  unit_.fullState();

  EXPECT_THAT(waitingLines(), ElementsAre("sdfdsf\n"));
}

TEST_F(UnitStatePrinting, LoadsAWordForASecondSource) {
  load(4, 0.0);

  EXPECT_THAT(waitingLines(), ElementsAre("sdfdsf\n"));
}

TEST_F(UnitStatePrinting, LoadsAnotherWordForADepth) {
  load(0, -0.5);

  EXPECT_THAT(waitingLines(), ElementsAre("asfs\n"));
}

TEST_F(UnitStatePrinting, LoadsNothingAndPrintsNothing) {
  load(0, 0.0);

  EXPECT_THAT(waitingLines(), IsEmpty());
  EXPECT_EQ(row_->modAmount.load(), 0.5F);
}

}  // namespace
}  // namespace morv
