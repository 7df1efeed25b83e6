#include <gtest/gtest.h>

#include "tests/voice/FilterTesting.h"
#include "voice/ZRDSPFilter.h"

namespace morv {
namespace {

class PlainFilter : public ZRDSPFilter {
 public:
  using ZRDSPFilter::modulationOf;
  using ZRDSPFilter::scaledCutoff;
  using ZRDSPFilter::ZRDSPFilter;
  void reset() noexcept override {}
  void runFilter(const float*, const float*, float*, float*, int) noexcept override {}
};

TEST(ZRDSPFilter, DrawsThreeAddressesInOrderFromTheCounter) {
  int counter = 41;

  PlainFilter filter(44100.0F, &counter);

  EXPECT_EQ(filter.filterCutoff.address, 41);
  EXPECT_EQ(filter.filterMode.address, 42);
  EXPECT_EQ(filter.filterResonance.address, 43);
  EXPECT_EQ(counter, 44);
}

TEST(ZRDSPFilter, WithoutACounterAllThreeTakeTheProcessesNextAddress) {
  const int next = static_cast<int>(ZRDSPEntity::addr);

  PlainFilter filter(44100.0F);

  EXPECT_EQ(filter.filterCutoff.address, next);
  EXPECT_EQ(filter.filterMode.address, next);
  EXPECT_EQ(filter.filterResonance.address, next);
}

TEST(ZRDSPFilter, ParametersAreNotRegistered) {
  const auto before = ZRDSPEntity::addr;
  int counter = 0;

  PlainFilter filter(44100.0F, &counter);

  EXPECT_EQ(filter.numberOfParameters(), 0);
  EXPECT_TRUE(filter.parameters().empty());
  EXPECT_EQ(ZRDSPEntity::addr, before);
}

TEST(ZRDSPFilter, ParametersHaveTheirNamesRangesDefaultsUnitsAndFlags) {
  PlainFilter filter(44100.0F);

  const auto expectRow = [](const ZRDSPParameter& p, const char* identifier, const char* name, float minimum,
                            float maximum, float value, ZRDSPParameterUnit unit, ZRDSPParameterFlags flags) {
    EXPECT_EQ(p.identifier, identifier);
    EXPECT_EQ(p.name, name);
    EXPECT_EQ(p.minValue, minimum);
    EXPECT_EQ(p.maxValue, maximum);
    EXPECT_EQ(p.value, value);
    EXPECT_EQ(p.unit, unit);
    EXPECT_EQ(p.flags, flags);
    EXPECT_TRUE(p.valueStrings.empty());
  };
  expectRow(filter.filterCutoff, "filterCutoff", "Cutoff", 25, 20000, 220, ZRDSPParameterUnit::hertz,
            0x50000U);
  expectRow(filter.filterMode, "filterMode", "Mode", 0, 1, 0, ZRDSPParameterUnit::generic, 0xC2000000U);
  expectRow(filter.filterResonance, "filterResonance", "Q", 0, 1, 0, ZRDSPParameterUnit::generic,
            0xC2000000U);
}

TEST(ZRDSPFilter, StartsWithoutMatrixAtUnityGain) {
  PlainFilter filter(48000.0F);

  EXPECT_EQ(filter.modMatrix, nullptr);
  EXPECT_EQ(filter.outputGain, 1.0F);
  EXPECT_EQ(filter.sampleRate, 48000.0F);
}

TEST(ZRDSPFilter, TakingAMatrixRegistersNoSource) {
  ZRDSPModMatrix matrix(64);
  PlainFilter filter(44100.0F);

  filter.setModMatrix(&matrix);

  EXPECT_EQ(filter.modMatrix, &matrix);
  EXPECT_EQ(matrix.registeredSourceCount, 0);
  EXPECT_EQ(matrix.getNumRegisteredSources(), 8);
}

TEST(ZRDSPFilter, ScaledCutoffIsTheQuotientTimes095InsideTheRange) {
  PlainFilter filter(44100.0F);

  const auto scaledAt = [&](float hz) {
    filter.filterCutoff = hz;
    return filter.scaledCutoff();
  };
  EXPECT_FLOAT_EQ(scaledAt(10000), 0.475F);
  EXPECT_FLOAT_EQ(scaledAt(20000), 0.95F);
  EXPECT_FLOAT_EQ(scaledAt(20001), 1.0F);
  EXPECT_FLOAT_EQ(scaledAt(0), 0.001F);
  EXPECT_FLOAT_EQ(scaledAt(-100), 0.001F);
}

TEST(ZRDSPFilter, ModulationIsThereOnlyWhereARowFeedsTheParameter) {
  testing::TestMatrix test;
  int counter = 20;
  PlainFilter filter(44100.0F, &counter);
  EXPECT_EQ(filter.modulationOf(filter.filterMode), nullptr);
  filter.setModMatrix(&test.matrix);

  test.feed(filter.filterMode, {0.25F, 0.5F});

  EXPECT_EQ(filter.modulationOf(filter.filterCutoff), nullptr);
  ASSERT_NE(filter.modulationOf(filter.filterMode), nullptr);
  EXPECT_EQ(filter.modulationOf(filter.filterMode)[1], 0.5F);
}

}  // namespace
}  // namespace morv
