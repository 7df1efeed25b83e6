#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "effects/UniComb.h"

namespace morv {
namespace {

// Ten samples a second make delays readable.
constexpr float kRate = 10.0F;

uniComb combOf(int size, int linear) {
  uniComb uc;
  initUniComb(&uc, size);
  uc.linear = linear;
  return uc;
}

// An impulse of 1 through the line, as a pure delay.
std::vector<float> delayedImpulse(uniComb* uc, float seconds, int frames) {
  std::vector<float> out;
  for (int i = 0; i < frames; ++i) {
    out.push_back(runUniComb(uc, i == 0 ? 1.0F : 0.0F, seconds, 0, 0, 1, kRate));
  }
  return out;
}

TEST(UniComb, StartsZeroedAndSaturating) {
  const uniComb uc = combOf(20, 0);

  EXPECT_EQ(uc.size, 20);
  EXPECT_EQ(uc.buffer.size(), 20U);
  EXPECT_EQ(uc.writeIndex, 0);
  EXPECT_EQ(uc.position, 0.0F);
  EXPECT_EQ(uc.state, 0.0F);
  EXPECT_EQ(uc.linear, 0);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(uc.buffer[i], 0.0F);
}

TEST(UniComb, ForwardAloneIsAPureDelay) {
  uniComb uc = combOf(40, 1);

  const std::vector<float> out = delayedImpulse(&uc, 0.7F, 12);

  for (std::size_t i = 0; i < out.size(); ++i) EXPECT_NEAR(out[i], i == 7 ? 1.0F : 0.0F, 1e-6F) << i;
}

TEST(UniComb, AFractionOfASampleIsReadBetweenNeighbours) {
  uniComb uc = combOf(40, 1);

  const std::vector<float> out = delayedImpulse(&uc, 0.725F, 12);

  EXPECT_NEAR(out[7], 0.75F, 1e-5F);
  EXPECT_NEAR(out[8], 0.25F, 1e-5F);
}

TEST(UniComb, LinearFormAddsTheInputAsItIsAndFeedsBack) {
  uniComb uc = combOf(40, 1);
  std::vector<float> out;
  for (int i = 0; i < 10; ++i) {
    out.push_back(runUniComb(&uc, i == 0 ? 1.0F : 0.0F, 0.3F, 0.5F, 0.25F, 2.0F, kRate));
  }

  EXPECT_FLOAT_EQ(out[0], 0.5F);                        // blend of what was written
  EXPECT_NEAR(out[3], 2.0F + 0.5F * 0.25F, 1e-5F);      // forward and the blend of the feedback
  EXPECT_NEAR(out[6], 0.25F * (2.0F + 0.125F), 1e-5F);  // once round
  EXPECT_NEAR(out[4], 0.0F, 1e-6F);
}

TEST(UniComb, SaturatingFormTakesLessOfItsInputAndLimitsTheSum) {
  uniComb uc = combOf(40, 0);
  std::vector<float> out;
  for (int i = 0; i < 7; ++i) {
    out.push_back(runUniComb(&uc, i == 0 ? 2.0F : 0.0F, 0.3F, 1.0F, 0.5F, 0.75F, kRate));
  }

  EXPECT_FLOAT_EQ(out[0], std::tanh(1.9F));
  EXPECT_NEAR(out[3], std::tanh(0.75F * 1.9F + 0.5F * 1.9F), 1e-5F);
  EXPECT_NEAR(out[6], std::tanh(0.75F * 0.95F + 0.5F * 0.95F), 1e-5F);
}

TEST(UniComb, FullFeedbackOfTheLinearFormNeitherGrowsNorDecays) {
  uniComb uc = combOf(8, 1);
  float last = 0;
  for (int i = 0; i <= 4 * 100000; ++i) last = runUniComb(&uc, i == 0 ? 1.0F : 0.0F, 0.4F, 0, 1, 1, kRate);

  EXPECT_EQ(last, 1.0F);
}

TEST(UniComb, ADelayOfNothingReadsTheOldestSample) {
  uniComb uc = combOf(5, 1);

  const std::vector<float> out = delayedImpulse(&uc, 0.0F, 12);

  // Written at element 0, which the position reaches again after five frames, and not a frame later.
  for (std::size_t i = 0; i < out.size(); ++i) EXPECT_EQ(out[i], i == 5 ? 1.0F : 0.0F) << i;
}

TEST(UniComb, PositionRunsOverAllElementsAndWriteIndexOverOneLess) {
  uniComb uc = combOf(5, 1);
  std::vector<float> positions;
  std::vector<int> writeIndices;
  for (int i = 0; i < 7; ++i) {
    runUniComb(&uc, 0, 0.1F, 0, 0, 1, kRate);
    positions.push_back(uc.position);
    writeIndices.push_back(uc.writeIndex);
  }

  EXPECT_EQ(positions, (std::vector<float>{1, 2, 3, 4, 0, 1, 2}));
  EXPECT_EQ(writeIndices, (std::vector<int>{1, 2, 3, 0, 1, 2, 3}));
}

TEST(UniComb, ReadsBetweenSkipTheLastElement) {
  uniComb uc = combOf(6, 1);
  for (std::size_t i = 0; i < 6; ++i) uc.buffer[i] = static_cast<float>(10 * (i + 1));
  uc.writeIndex = 5;

  // Position 3.5: elements 3 and 4. Position 4.5: element 4 runs on into element 0. Position 5.5 likewise.
  EXPECT_FLOAT_EQ(uniCombGetSampleWithDelay(&uc, 1.5F), 45.0F);
  EXPECT_FLOAT_EQ(uniCombGetSampleWithDelay(&uc, 0.5F), 30.0F);
  EXPECT_FLOAT_EQ(uniCombGetSampleWithDelay(&uc, 5.5F), 35.0F);
}

TEST(UniComb, SampleWithTimeDelayCountsWholeSamplesBackFromTheWriteIndex) {
  uniComb uc = combOf(6, 1);
  for (std::size_t i = 0; i < 6; ++i) uc.buffer[i] = static_cast<float>(i);
  uc.writeIndex = 2;

  EXPECT_EQ(uniCombGetSampleWithTimeDelay(&uc, 0.19F, kRate), 1.0F);
  EXPECT_EQ(uniCombGetSampleWithTimeDelay(&uc, 0.2F, kRate), 0.0F);
  EXPECT_EQ(uniCombGetSampleWithTimeDelay(&uc, 0.35F, kRate), 5.0F);
}

TEST(UniComb, SampleWithDelayKeepsItsFractionOnALongLine) {
  uniComb uc = combOf(4000000, 1);
  uc.writeIndex = 3000001;
  uc.buffer[3000000] = 1.0F;

  // A float position of this size would have steps of a quarter.
  EXPECT_FLOAT_EQ(uniCombGetSampleWithDelay(&uc, 0.9375F), 0.9375F);
}

TEST(UniComb, APositionBeyondTheEndIsHeldTwoSamplesShortOfIt) {
  uniComb uc = combOf(6, 1);
  for (std::size_t i = 0; i < 6; ++i) uc.buffer[i] = static_cast<float>(i);
  uc.position = 4;

  // Four elements ahead: 8 exceeds 6.
  EXPECT_FLOAT_EQ(runUniComb(&uc, 0, -0.4F, 0, 0, 1, kRate), 4.0F);
}

TEST(UniComb, APositionThatRoundsToTheLengthReadsElementZero) {
  uniComb uc = combOf(1000, 1);
  uc.buffer[0] = 7.0F;
  uc.buffer[999] = 3.0F;

  // -1e-6 + 1000 is 1000 in float.
  EXPECT_FLOAT_EQ(runUniComb(&uc, 0, 1e-7F, 0, 0, 1, kRate), 7.0F);
}

TEST(UniComb, AnIncrementResamplesTheLine) {
  uniComb uc = combOf(9, 1);
  std::vector<float> positions;
  for (int i = 0; i < 6; ++i) {
    runUniCombWithIncrement(&uc, 1.0F, 0.1F, 0, 0, 1, 1.5F, kRate);
    positions.push_back(uc.position);
  }

  EXPECT_EQ(positions, (std::vector<float>{1.5F, 3, 4.5F, 6, 7.5F, 9}));
  EXPECT_EQ(uc.writeIndex, 6);
  const std::vector<float> written = {1, 1, 0, 1, 1, 0, 1, 1, 0};
  for (std::size_t i = 0; i < written.size(); ++i) EXPECT_EQ(uc.buffer[i], written[i]) << i;
}

// Reads go from the whole part of the position.
TEST(UniComb, AReadBetweenTwoSamplesForgetsTheFractionOfThePosition) {
  uniComb uc = combOf(9, 1);
  for (std::size_t i = 0; i < 9; ++i) uc.buffer[i] = static_cast<float>(10 * i);
  uc.position = 4;

  runUniCombWithIncrement(&uc, 0, 0.1F, 0, 0, 1, 1.5F, kRate);

  EXPECT_EQ(uc.position, 5.5F);
  EXPECT_FLOAT_EQ(runUniCombWithIncrement(&uc, 0, 0.2F, 0, 0, 1, 1.5F, kRate), 30.0F);
}

TEST(UniComb, ALineHasAtLeastThreeSamples) {
  for (const int size : {-5, 0, 1, 2, 3}) {
    uniComb uc = combOf(size, 1);
    EXPECT_EQ(uc.size, 3) << size;
    EXPECT_EQ(uc.buffer.size(), 3U) << size;
    EXPECT_EQ(delayedImpulse(&uc, 0.1F, 3), (std::vector<float>{0, 1, 0})) << size;
  }
}

TEST(UniComb, NoDelayAndNoIncrementEverLeavesTheLine) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const std::vector<float> delays = {0,    1e30F, -1e30F, kInfinity, -kInfinity, std::nanf(""),
                                     0.6F, -0.6F, 123.4F};
  for (const float delay : delays) {
    for (const float increment : {1.0F, 0.25F, 7.5F, -3.0F}) {
      uniComb uc = combOf(7, 1);
      for (int i = 0; i < 50; ++i) {
        const float out = runUniCombWithIncrement(&uc, 0.5F, delay, 0.5F, 0.5F, 1, increment, kRate);
        ASSERT_TRUE(std::isfinite(out)) << delay << " " << increment;
        ASSERT_TRUE(std::isfinite(uniCombGetSampleWithDelay(&uc, delay)));
        ASSERT_TRUE(std::isfinite(uniCombGetSampleWithTimeDelay(&uc, delay, kRate)));
      }
    }
  }
}

TEST(UniComb, ResetEmptiesTheLineAndKeepsItsForm) {
  uniComb uc = combOf(7, 1);
  for (int i = 0; i < 12; ++i) runUniComb(&uc, 1.0F, 0.1F, 0, 0, 1, kRate);
  uc.state = 1;

  resetUniComb(&uc);

  EXPECT_EQ(uc.writeIndex, 0);
  EXPECT_EQ(uc.position, 0.0F);
  EXPECT_EQ(uc.state, 0.0F);
  EXPECT_EQ(uc.linear, 1);
  for (std::size_t i = 0; i < 7; ++i) EXPECT_EQ(uc.buffer[i], 0.0F);
}

TEST(UniComb, DeleteGivesTheMemoryBackAndTheRecordCanBeMadeAnew) {
  uniComb uc = combOf(7, 1);

  deleteUniComb(&uc);
  const bool isEmpty = uc.buffer.data() == nullptr && uc.size == 0;
  initUniComb(&uc, 9);

  EXPECT_TRUE(isEmpty);
  EXPECT_EQ(uc.size, 9);
  EXPECT_EQ(uc.linear, 0);
}

}  // namespace
}  // namespace morv
