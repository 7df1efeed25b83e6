#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <stdexcept>

#include "platform/DiagnosticRing.h"
#include "render/ZRDSPEntity.h"

namespace morv {
namespace {

class Entity : public ZRDSPEntity {
 public:
  using ZRDSPEntity::ZRDSPEntity;
  void add(const char* id, int address, float maximum, float value, ZRDSPParameter* p,
           bool doRegister = true) {
    initParameter(id, "Name", address, 0, maximum, {}, ZRDSPParameterUnit::generic, value, p, doRegister);
  }
};

TEST(ZRDSPEntity, NewEntityHasNoParametersAndNoIndexSuffix) {
  Entity entity(48000.0F);

  EXPECT_EQ(entity.numberOfParameters(), 0);
  EXPECT_EQ(entity.indexSuffix, "");
  EXPECT_FLOAT_EQ(entity.sampleRate, 48000.0F);
}

TEST(ZRDSPEntity, IndexAboveZeroBecomesASuffix) {
  EXPECT_EQ(Entity(44100.0F, 0, 2).indexSuffix, " 2");
  EXPECT_EQ(Entity(44100.0F, 0, 0).indexSuffix, "");
}

TEST(ZRDSPEntity, InitParameterFillsEveryField) {
  Entity entity(44100.0F);
  ZRDSPParameter p;

  entity.initParameter("cut", "Cutoff", 7, 20, 20000, {"A", "B"}, ZRDSPParameterUnit::hertz, 1000, &p);

  EXPECT_EQ(p.identifier, "cut");
  EXPECT_EQ(p.name, "Cutoff");
  EXPECT_EQ(p.address, 7);
  EXPECT_FLOAT_EQ(p.minValue, 20);
  EXPECT_FLOAT_EQ(p.maxValue, 20000);
  EXPECT_EQ(p.valueStrings, (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(p.unit, ZRDSPParameterUnit::hertz);
  EXPECT_FLOAT_EQ(p.value, 1000);
  EXPECT_FLOAT_EQ(p.normalizedValueCache, 0.05F);
  EXPECT_EQ(p.flags, 0xC2000000U);
  EXPECT_EQ(p.dependsOnAddress, -1);
  EXPECT_FLOAT_EQ(p.dependsOnValue, -1);
}

TEST(ZRDSPEntity, NegativeAddressTakesTheProcessCounter) {
  Entity entity(44100.0F);
  ZRDSPParameter a;
  const auto before = ZRDSPEntity::addr;

  entity.add("a", -1, 1, 0, &a);

  EXPECT_EQ(a.address, static_cast<int>(before));
  EXPECT_EQ(ZRDSPEntity::addr, before + 1);
}

TEST(ZRDSPEntity, ExplicitAddressMovesTheProcessCounterToo) {
  Entity entity(44100.0F);
  ZRDSPParameter a;
  const auto before = ZRDSPEntity::addr;

  entity.add("a", 300, 1, 0, &a);

  EXPECT_EQ(a.address, 300);
  EXPECT_EQ(ZRDSPEntity::addr, before + 1);
}

TEST(ZRDSPEntity, UnregisteredRecordSharesItsAddressWithTheNextRegisteredOne) {
  Entity entity(44100.0F);
  ZRDSPParameter hidden;
  ZRDSPParameter shown;

  entity.add("hidden", -1, 1, 0.5F, &hidden, false);
  entity.add("shown", -1, 1, 0, &shown);

  EXPECT_EQ(hidden.address, shown.address);
  EXPECT_FLOAT_EQ(hidden.value, 0.5F);
  EXPECT_EQ(entity.parameterForAddress(shown.address), &shown);
  EXPECT_EQ(entity.numberOfParameters(), 1);
}

TEST(ZRDSPEntity, TakenAddressKeepsItsFirstRecordAndStillMovesTheCounter) {
  Entity entity(44100.0F);
  ZRDSPParameter first;
  ZRDSPParameter second;
  entity.add("first", 5, 1, 0, &first);
  const auto before = ZRDSPEntity::addr;

  entity.add("second", 5, 1, 0, &second);

  EXPECT_EQ(entity.parameterForAddress(5), &first);
  EXPECT_EQ(entity.parameters().size(), 1U);
  EXPECT_EQ(ZRDSPEntity::addr, before + 1);
}

TEST(ZRDSPEntity, ParametersComeInAscendingOrderOfAddress) {
  Entity entity(44100.0F);
  ZRDSPParameter high;
  ZRDSPParameter low;
  entity.add("high", 9, 1, 0, &high);
  entity.add("low", 3, 1, 0, &low);

  EXPECT_EQ(entity.parameters(), (std::vector<ZRDSPParameter*>{&low, &high}));
}

TEST(ZRDSPEntity, AddressesAreFoundBehindGapsAndNowhereElse) {
  Entity entity(44100.0F);
  std::array<ZRDSPParameter, 6> records;
  const std::array<int, 6> addresses = {4, 5, 9, 896, 897, std::numeric_limits<int>::max()};
  for (const std::size_t i : {3U, 0U, 5U, 2U, 1U, 4U}) entity.add("any", addresses[i], 1, 0, &records[i]);

  for (std::size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(entity.listedParameter(addresses[i]), &records[i]) << addresses[i];
  }
  for (const int address : {std::numeric_limits<int>::min(), -1, 0, 3, 6, 8, 10, 895, 898}) {
    EXPECT_EQ(entity.listedParameter(address), nullptr) << address;
  }
}

TEST(ZRDSPEntity, DependentParameterIsListedOnlyWhileItsConditionHolds) {
  Entity entity(44100.0F);
  ZRDSPParameter mode;
  ZRDSPParameter extra;
  entity.add("mode", 1, 4, 0, &mode);
  entity.add("extra", 2, 1, 0, &extra);
  extra.dependsOnAddress = 1;
  extra.dependsOnValue = 3;

  EXPECT_EQ(entity.parameters(), (std::vector<ZRDSPParameter*>{&mode}));
  EXPECT_EQ(entity.listedParameter(2), nullptr);

  mode = 3.0F;

  EXPECT_EQ(entity.parameters(), (std::vector<ZRDSPParameter*>{&mode, &extra}));
  EXPECT_EQ(entity.listedParameter(2), &extra);
}

TEST(ZRDSPEntity, RegisteringResetsADependence) {
  Entity entity(44100.0F);
  ZRDSPParameter p;
  p.address = 1;
  p.dependsOnAddress = 4;
  p.dependsOnValue = 2;

  entity.registerParameter(&p);

  EXPECT_EQ(p.dependsOnAddress, -1);
  EXPECT_FLOAT_EQ(p.dependsOnValue, -1);
}

TEST(ZRDSPEntity, AddressForUnknownIdentifierIsZero) {
  Entity entity(44100.0F);
  ZRDSPParameter p;
  entity.add("known", 12, 1, 0, &p);

  EXPECT_EQ(entity.addressForIdentifier("known"), 12);
  EXPECT_EQ(entity.addressForIdentifier("unknown"), 0);
}

TEST(ZRDSPEntity, SettingDoesNotClampAndKeepsTheQuotient) {
  Entity entity(44100.0F);
  ZRDSPParameter p;
  entity.add("p", 1, 4, 0, &p);

  entity.setParameterValueForAddress(1, 10);

  EXPECT_FLOAT_EQ(p.value, 10);
  EXPECT_FLOAT_EQ(p.normalizedValueCache, 2.5F);
  EXPECT_FLOAT_EQ(entity.parameterValueForAddress(1), 10);
}

TEST(ZRDSPEntity, SettingAnUnknownAddressPostsADiagnosticWithoutLineEnd) {
  Entity entity(44100.0F);
  DiagnosticRing::shared().drain(nullptr);

  entity.setParameterValueForAddress(4711, 1);

  DiagnosticRing::Line line;
  ASSERT_TRUE(DiagnosticRing::shared().take(&line));
  EXPECT_STREQ(line.format, "Error: no parameter with address %i");
  EXPECT_EQ(line.integers[0], 4711);
}

TEST(ZRDSPEntity, ReadingAnUnknownAddressThrows) {
  Entity entity(44100.0F);

  EXPECT_THROW(entity.parameterForAddress(1), std::out_of_range);
  EXPECT_THROW(entity.parameterValueForAddress(1), std::out_of_range);
}

TEST(ZRDSPEntity, ClearingEmptiesTheRegistry) {
  Entity entity(44100.0F);
  ZRDSPParameter p;
  entity.add("p", 1, 1, 0, &p);

  entity.clearParamters();

  EXPECT_EQ(entity.numberOfParameters(), 0);
  EXPECT_TRUE(entity.parameters().empty());
}

TEST(ZRDSPParameter, IntValueRoundsHalfAwayFromZero) {
  ZRDSPParameter p;
  p.maxValue = 10;

  p = 2.5F;
  EXPECT_EQ(p.intValue(), 3);
  p = -2.5F;
  EXPECT_EQ(p.intValue(), -3);
  p = 0.49F;
  EXPECT_EQ(p.intValue(), 0);
}

TEST(ZRDSPParameter, NormalizedValueIsTheQuotientByTheMaximumAlone) {
  ZRDSPParameter p;
  p.minValue = -1;
  p.maxValue = 1;

  p = -1.0F;
  EXPECT_FLOAT_EQ(p.normalizedValue(), -1);
  p = 0.5F;
  EXPECT_FLOAT_EQ(p.normalizedValue(), 0.5F);
  p.minValue = 0;
  p.maxValue = 255;
  p = 20.0F;
  EXPECT_NEAR(p.normalizedValue(), 0.0784F, 5e-5F);
}

TEST(ZRDSPEntity, ClampLimitsToBothBounds) {
  EXPECT_FLOAT_EQ(ZRDSPEntity::clamp(5, 0, 1), 1);
  EXPECT_FLOAT_EQ(ZRDSPEntity::clamp(-5, 0, 1), 0);
  EXPECT_FLOAT_EQ(ZRDSPEntity::clamp(0.25F, 0, 1), 0.25F);
}

TEST(ZRDSPEntity, TimeDivisionsFollowTheFourBeatBar) {
  EXPECT_FLOAT_EQ(ZRDSPEntity::timeDivisionToPeriod(4, 4, 120), 2.0F);
  EXPECT_FLOAT_EQ(ZRDSPEntity::timeDivisionToPeriod(1, 4, 120), 0.5F);
  EXPECT_FLOAT_EQ(ZRDSPEntity::timeDivisionToFrequency(4, 4, 120), 0.5F);
  EXPECT_FLOAT_EQ(ZRDSPEntity::msToHz(0.25F), 4.0F);
}

TEST(ZRDSPEntity, PitchHelpersAreInverse) {
  EXPECT_FLOAT_EQ(ZRDSPEntity::pitchShift(12), 2.0F);
  EXPECT_FLOAT_EQ(ZRDSPEntity::pitchShift(-12), 0.5F);
  EXPECT_FLOAT_EQ(ZRDSPEntity::semitonesBetweenFrequencies(220, 440), 12.0F);
}

}  // namespace
}  // namespace morv
