#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/AUParameterTree.h"

namespace morv {
namespace {

std::unique_ptr<AUParameter> parameter(const std::string& identifier, AUParameterAddress address) {
  return std::make_unique<AUParameter>(
      AUParameter::Description{identifier, "Shown " + identifier, address, -1.0F, 2.0F, 8, 0xC2000000U, {}});
}

std::shared_ptr<AUParameterGroup> group(const std::string& identifier,
                                        const std::vector<std::pair<std::string, int>>& children) {
  std::vector<std::unique_ptr<AUParameter>> parameters;
  for (const auto& [name, address] : children) {
    parameters.push_back(parameter(name, static_cast<AUParameterAddress>(address)));
  }
  return std::make_shared<AUParameterGroup>(identifier, "Group " + identifier, std::move(parameters));
}

TEST(AUParameter, KeepsWhatDescribesIt) {
  const AUParameter shape({"lfoShape", "LFO Shape", 16, 0.0F, 4.0F, 1, 0x50000U, {"SIN", "SAW"}});

  EXPECT_EQ(shape.identifier(), "lfoShape");
  EXPECT_EQ(shape.displayName(), "LFO Shape");
  EXPECT_EQ(shape.address(), 16U);
  EXPECT_EQ(shape.minValue(), 0.0F);
  EXPECT_EQ(shape.maxValue(), 4.0F);
  EXPECT_EQ(shape.unit(), 1);
  EXPECT_EQ(shape.flags(), 0x50000U);
  EXPECT_THAT(shape.valueStrings(), testing::ElementsAre("SIN", "SAW"));
  EXPECT_EQ(shape.value(), 0.0F);
  EXPECT_EQ(shape.group(), nullptr);
}

TEST(AUParameter, StoresAValueOutsideItsRangeAsItIs) {
  const auto cutoff = parameter("cutoff", 3);

  cutoff->setValue(99.0F);

  EXPECT_EQ(cutoff->value(), 99.0F);
}

TEST(AUParameter, TellsTheObserverOfItsGroupOnTheCallingThread) {
  const auto morv = group("morv", {{"volume", 7}, {"cutoff", 8}});
  std::vector<std::pair<AUParameterAddress, AUValue>> seen;
  std::thread::id seenOn;
  morv->setImplementorValueObserver([&](const AUParameter& changed, AUValue value) {
    seen.emplace_back(changed.address(), value);
    seenOn = std::this_thread::get_id();
  });

  std::thread other([&] { morv->children()[1]->setValue(0.5F); });
  const auto otherId = other.get_id();
  other.join();

  EXPECT_THAT(seen, testing::ElementsAre(std::pair<AUParameterAddress, AUValue>(8U, 0.5F)));
  EXPECT_EQ(seenOn, otherId);
}

TEST(AUParameter, TellsTheObserverAlsoWhenTheValueStaysTheSame) {
  const auto morv = group("morv", {{"volume", 7}});
  int calls = 0;
  morv->setImplementorValueObserver([&](const AUParameter&, AUValue) { ++calls; });

  morv->children()[0]->setValue(0.5F);
  morv->children()[0]->setValue(0.5F);

  EXPECT_EQ(calls, 2);
}

TEST(AUParameter, ReadsThroughTheProviderOfItsGroup) {
  const auto morv = group("morv", {{"volume", 7}});
  morv->setImplementorValueProvider(
      [](const AUParameter& asked) { return static_cast<AUValue>(asked.address()) + 0.25F; });

  morv->children()[0]->setValue(0.5F);

  EXPECT_EQ(morv->children()[0]->value(), 7.25F);
}

TEST(AUParameterTree, WalksGroupsAndParametersInTheirOrder) {
  const auto tree =
      AUParameterTree::createTreeWithChildren({group("b", {{"z", 9}, {"y", 2}}), group("a", {{"x", 5}})});

  std::vector<std::string> walked;
  for (const auto* each : tree->allParameters()) {
    walked.push_back(each->group()->identifier() + "." + each->identifier());
  }

  EXPECT_THAT(walked, testing::ElementsAre("b.z", "b.y", "a.x"));
  EXPECT_EQ(tree->children().size(), 2U);
  EXPECT_EQ(tree->children()[0]->displayName(), "Group b");
}

TEST(AUParameterTree, FindsByAddress) {
  const auto tree =
      AUParameterTree::createTreeWithChildren({group("b", {{"z", 900}, {"y", 2}}), group("a", {{"x", 5}})});

  EXPECT_EQ(tree->parameterWithAddress(2)->identifier(), "y");
  EXPECT_EQ(tree->parameterWithAddress(5)->identifier(), "x");
  EXPECT_EQ(tree->parameterWithAddress(900)->identifier(), "z");
  EXPECT_EQ(tree->parameterWithAddress(3), nullptr);
  EXPECT_EQ(tree->parameterWithAddress(901), nullptr);
}

TEST(AUParameterTree, GivesTheFirstOfTwoParametersWithOneAddress) {
  const auto tree =
      AUParameterTree::createTreeWithChildren({group("b", {{"first", 4}}), group("a", {{"second", 4}})});

  EXPECT_EQ(tree->parameterWithAddress(4)->identifier(), "first");
}

TEST(AUParameterTree, FindsByGroupAndIdentifier) {
  const auto tree = AUParameterTree::createTreeWithChildren(
      {group("morv", {{"mix", 1}, {"with.dot", 3}}), group("ecoverb", {{"mix", 2}})});

  EXPECT_EQ(tree->parameterForKeyPath("morv.mix")->address(), 1U);
  EXPECT_EQ(tree->parameterForKeyPath("ecoverb.mix")->address(), 2U);
  EXPECT_EQ(tree->parameterForKeyPath("morv.with.dot")->address(), 3U);
  EXPECT_EQ(tree->parameterForKeyPath("mix"), nullptr);
  EXPECT_EQ(tree->parameterForKeyPath("morv.volume"), nullptr);
  EXPECT_EQ(tree->parameterForKeyPath("delay.mix"), nullptr);
}

TEST(AUParameterTree, MayBeEmpty) {
  const auto tree = AUParameterTree::createTreeWithChildren({});

  EXPECT_TRUE(tree->allParameters().empty());
  EXPECT_EQ(tree->parameterWithAddress(0), nullptr);
}

}  // namespace
}  // namespace morv
