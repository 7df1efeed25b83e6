// How controllers are learnt, and which parameters they then move by which law.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "platform/PropertyListFile.h"
#include "tests/unit/MapperFixture.h"

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class MidiMapperLearn : public MidiMapper {
 protected:
  // Opens with a file of these entries.
  void openWithFile(const PropertyListDictionary& entries) {
    ASSERT_TRUE(writePropertyListFile(filePath(), entries).ok());
    open();
  }
};

TEST_F(MidiMapperLearn, WritesTheFileThenNotifiesThenLogs) {
  mapper_->setParameterTree(tree_);
  std::int64_t onDisk = 0;
  std::size_t linesBefore = 99;
  bool wasWaiting = true;
  const auto token = notifications_.addObserver("midiMappingChanged", [&] {
    const auto file = readPropertyListFile(filePath());
    if (file.ok()) onDisk = file.value().dictionary()->find("74")->integer().value_or(0);
    linesBefore = log_.size();
    wasWaiting = mapper_->isWaitingForMapping();
  });
  mapper_->initiateMappingForParameter(12);

  mapper_->handleMidiCC(74, 127, 1);

  EXPECT_EQ(onDisk, 12);
  EXPECT_EQ(linesBefore, 0U);
  EXPECT_FALSE(wasWaiting);
  EXPECT_EQ(log_.size(), 1U);
  notifications_.removeObserver(token);
}

TEST_F(MidiMapperLearn, OfSeveralControllersOfAParameterTheLastLosesIt) {
  openWithFile({{"5", 12}, {"9", 12}, {"30", 10}});
  EXPECT_EQ(mapper_->controlForMapping(12), 5);
  mapper_->initiateMappingForParameter(12);

  mapper_->handleMidiCC(20, 0, 1);

  EXPECT_THAT(*mapper_->mapping(), ElementsAre(Pair(5, 12), Pair(9, -1), Pair(20, 12), Pair(30, 10)));
}

TEST_F(MidiMapperLearn, AssigningTakesAParameterFromAllItsControllers) {
  openWithFile({{"5", 12}, {"9", 12}, {"30", 10}});

  mapper_->setMapping(20, 12);

  EXPECT_THAT(*mapper_->mapping(), ElementsAre(Pair(20, 12), Pair(30, 10)));
}

TEST_F(MidiMapperLearn, WithoutATableBeginsOne) {
  ASSERT_FALSE(mapper_->mapping().has_value());
  mapper_->initiateMappingForParameter(12);

  EXPECT_TRUE(mapper_->handleMidiCC(74, 127, 1));

  EXPECT_THAT(*mapper_->mapping(), ElementsAre(Pair(74, 12)));
  EXPECT_EQ(changes_, 1);
  EXPECT_TRUE(readPropertyListFile(filePath()).ok());
}

TEST_F(MidiMapperLearn, RelearningTheSameControllerKeepsIt) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 12);
  mapper_->initiateMappingForParameter(12);

  mapper_->handleMidiCC(30, 0, 1);

  EXPECT_EQ(mapper_->controlForMapping(12), 30);
}

TEST_F(MidiMapperLearn, AFileIsReadWithoutATreeAndMovesNothingYet) {
  openWithFile({{"74", 12}});

  EXPECT_THAT(*mapper_->mapping(), ElementsAre(Pair(74, 12)));
  EXPECT_EQ(mapper_->controlForMapping(12), 74);
  EXPECT_FALSE(mapper_->handleMidiCC(74, 127, 1));
  mapper_->setParameterTree(tree_);

  EXPECT_TRUE(mapper_->handleMidiCC(74, 127, 1));
  EXPECT_EQ(value("other"), 1.0F);
}

TEST_F(MidiMapperLearn, AnotherTreeTakesThePlaceOfTheFirst) {
  mapper_->setParameterTree(tree_);
  mapper_->setMapping(30, 12);
  const auto second = smallTree();

  mapper_->setParameterTree(second);
  mapper_->handleMidiCC(30, 127, 1);

  EXPECT_EQ(value("other"), 0.0F);
  EXPECT_EQ(second->parameterForKeyPath("g.other")->value(), 1.0F);
}

// One parameter of each further unit, 0 to 26, all from -2 to 6 at address 20.
class MidiMapperUnits : public MidiMapper, public testing::WithParamInterface<int> {
 protected:
  AUParameter& mapped(int unit) {
    std::vector<std::unique_ptr<AUParameter>> children;
    AUParameter::Description description;
    description.identifier = "it";
    description.address = 20;
    description.minValue = -2;
    description.maxValue = 6;
    description.unit = unit;
    children.push_back(std::make_unique<AUParameter>(std::move(description)));
    AUParameterTree::Children groups;
    groups.push_back(std::make_shared<AUParameterGroup>("u", "U", std::move(children)));
    tree_ = AUParameterTree::createTreeWithChildren(std::move(groups));
    mapper_->setParameterTree(tree_);
    mapper_->setMapping(1, 20);
    return *tree_->parameterForKeyPath("u.it");
  }
};

TEST_P(MidiMapperUnits, EveryUnitButTwoIsLinear) {
  constexpr float kRounding = 1e-5F;  // of a few operations on numbers below 10
  AUParameter& parameter = mapped(GetParam());

  for (const int data : {0, 1, 63, 64, 127}) {
    mapper_->handleMidiCC(1, data, 1);

    EXPECT_NEAR(parameter.value(), -2.0 + data / 127.0 * 8.0, kRounding) << data;
  }
}

INSTANTIATE_TEST_SUITE_P(Units, MidiMapperUnits,
                         testing::Values(static_cast<int>(ZRDSPParameterUnit::generic),
                                         static_cast<int>(ZRDSPParameterUnit::boolean), 3, 4, 5, 6, 7, 9, 10,
                                         13, 26));

TEST_F(MidiMapperUnits, AnIndexedParameterBelowZeroBeginsAtZero) {
  AUParameter& parameter = mapped(static_cast<int>(ZRDSPParameterUnit::indexed));

  for (const auto& [data, index] : {std::pair(0, 0.0F), {21, 0.0F}, {22, 1.0F}, {126, 5.0F}, {127, 6.0F}}) {
    mapper_->handleMidiCC(1, data, 1);

    EXPECT_EQ(parameter.value(), index) << data;
  }
}

}  // namespace
}  // namespace morv
