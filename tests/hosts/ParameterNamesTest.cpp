#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "hosts/cli/ParameterNames.h"

namespace morv::cli {
namespace {

std::shared_ptr<AUParameterGroup> group(const std::string& name,
                                        const std::vector<std::string>& identifiers) {
  std::vector<std::unique_ptr<AUParameter>> children;
  for (const auto& identifier : identifiers) {
    children.push_back(
        std::make_unique<AUParameter>(AUParameter::Description{identifier, "", 0, 0, 1, 0, 0, {}}));
  }
  return std::make_shared<AUParameterGroup>(name, name, std::move(children));
}

const auto kTree = AUParameterTree::createTreeWithChildren(
    {group("morv", {"filterCutoff", "filterMode", "mix"}), group("ecoverb", {"mix", "reverbMix"})});

TEST(ParameterNames, FindsThePlainNameInTheMainGroup) {
  const auto mix = findParameter(*kTree, "mix");

  ASSERT_TRUE(mix) << mix.reason();
  EXPECT_EQ((*mix)->group()->identifier(), "morv");
}

TEST(ParameterNames, FindsOtherGroupsByTheirName) {
  const auto mix = findParameter(*kTree, "ecoverb.mix");

  ASSERT_TRUE(mix) << mix.reason();
  EXPECT_EQ((*mix)->group()->identifier(), "ecoverb");
  EXPECT_TRUE(findParameter(*kTree, "morv.filterMode"));
}

TEST(ParameterNames, FindsNoEffectWithoutItsGroup) { EXPECT_FALSE(findParameter(*kTree, "reverbMix")); }

TEST(ParameterNames, TellsTheNearestNames) {
  EXPECT_THAT(
      findParameter(*kTree, "filterCutof").reason(),
      testing::StartsWith("unknown parameter 'filterCutof'; the nearest are filterCutoff, filterMode, "));
  EXPECT_THAT(findParameter(*kTree, "ecoverb.reverbmix").reason(),
              testing::HasSubstr("the nearest are ecoverb.reverbMix"));
}

TEST(ParameterNames, NamesParametersAsTheyAreFound) {
  for (const AUParameter* each : kTree->allParameters()) {
    EXPECT_EQ(*findParameter(*kTree, nameOfParameter(*each)), each);
  }
}

TEST(ParameterNames, RemarksOnValuesOutsideTheRange) {
  const AUParameter& mix = **findParameter(*kTree, "ecoverb.mix");

  EXPECT_EQ(rangeRemark(mix, 0.0F), "");
  EXPECT_EQ(rangeRemark(mix, 1.0F), "");
  EXPECT_EQ(rangeRemark(mix, 1.5F), "ecoverb.mix=1.5 lies outside 0 to 1");
  EXPECT_EQ(rangeRemark(mix, -1.0F), "ecoverb.mix=-1 lies outside 0 to 1");
}

}  // namespace
}  // namespace morv::cli
