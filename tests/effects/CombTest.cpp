#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "effects/Comb.h"
#include "platform/Random.h"

namespace morv {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr std::array<float, 12> kHostileDelays = {0.0F,   -1.0F,    0.5F, 9.0F,  10.0F,      11.0F,
                                                  500.0F, -1000.0F, kNaN, 1e30F, -kInfinity, kInfinity};

TEST(Comb, StartsSilentWithRoomForTwoMore) {
  comb filter;

  initComb(&filter, 5);

  EXPECT_EQ(filter.size, 5);
  EXPECT_EQ(filter.buffer.size(), 7U);
  for (std::size_t i = 0; i < filter.buffer.size(); ++i) EXPECT_EQ(filter.buffer[i], 0.0F);
  EXPECT_EQ(filter.writeIndex, 0);
  EXPECT_EQ(filter.lastOutput, 0.0F);
  EXPECT_EQ(filter.filterState, 0.0F);
}

TEST(Comb, InitialisingAgainStartsAfresh) {
  comb filter;
  initComb(&filter, 5);
  runLPFBComb(&filter, kCombLinear, 1.0F, 1.0F, 0.5F, 0.5F, 1.0F);
  runLPFBComb(&filter, kCombLinear, 1.0F, 1.0F, 0.5F, 0.5F, 1.0F);

  initComb(&filter, 4);

  EXPECT_EQ(filter.size, 4);
  EXPECT_EQ(filter.writeIndex, 0);
  EXPECT_EQ(filter.lastOutput, 0.0F);
  EXPECT_EQ(filter.filterState, 0.0F);
  for (std::size_t i = 0; i < filter.buffer.size(); ++i) EXPECT_EQ(filter.buffer[i], 0.0F);
}

TEST(Comb, ReturnsTheDelayedSampleAndFeedsItBack) {
  comb filter;
  initComb(&filter, 20);
  std::vector<float> out;

  // 0.035 s at 100 Hz is 3.5 samples, cut to 3.
  for (int n = 0; n < 10; ++n) out.push_back(runComb(&filter, 0, n == 0 ? 1.0F : 0.0F, 0.035F, 0.5F, 100.0F));

  EXPECT_EQ(out, (std::vector<float>{0, 0, 0, 1, 0, 0, 0.5F, 0, 0, 0.25F}));
}

TEST(Comb, WritesTwoElementsPastTheSizeBeforeItTurnsRound) {
  comb filter;
  initComb(&filter, 3);
  std::vector<int> indices;

  for (int n = 1; n <= 6; ++n) {
    runComb(&filter, 0, static_cast<float>(n), 1.0F, 0.0F, 1.0F);
    indices.push_back(filter.writeIndex);
  }

  EXPECT_EQ(indices, (std::vector<int>{1, 2, 3, 4, 0, 1}));
  // The sixth sample stands on the first.
  EXPECT_EQ(std::vector<float>(filter.buffer.data(), filter.buffer.data() + 5),
            (std::vector<float>{6, 2, 3, 4, 5}));
}

TEST(Comb, ReadsTurnRoundAtTheSize) {
  comb filter;
  initComb(&filter, 3);
  std::vector<float> out;

  for (int n = 1; n <= 7; ++n) out.push_back(runComb(&filter, 0, static_cast<float>(n), 2.0F, 0.0F, 1.0F));

  // Elements 1, 2, 0, 1, 2, then 1 and 2 again while the line holds 5 elements.
  EXPECT_EQ(out, (std::vector<float>{0, 0, 1, 2, 3, 2, 3}));
}

TEST(Comb, NoDelayLeavesTheLine) {
  for (const int size : {0, 1, 10}) {
    for (const float delay : kHostileDelays) {
      comb filter;
      initComb(&filter, size);
      for (int n = 0; n < 50; ++n) {
        EXPECT_TRUE(std::isfinite(runComb(&filter, 0, 1.0F, delay, 0.5F, 1.0F)));
        EXPECT_GE(filter.writeIndex, 0);
        EXPECT_LE(filter.writeIndex, size + 1);
      }
    }
  }
}

TEST(LPFBComb, StepByHand) {
  comb filter;
  initComb(&filter, 8);
  runLPFBComb(&filter, kCombWholeSamples, 1.0F, 1.0F, 0.5F, 0.25F, 1.0F);

  const float out = runLPFBComb(&filter, kCombWholeSamples, 2.0F, 1.0F, 0.5F, 0.25F, 1.0F);

  // d = 0.95; low-pass 0.25 d = 0.2375; w = 1.9 + 0.11875; out = 0.665 + w.
  EXPECT_FLOAT_EQ(filter.lastOutput, 0.95F);
  EXPECT_FLOAT_EQ(filter.filterState, 0.2375F);
  EXPECT_FLOAT_EQ(filter.buffer[1], 2.01875F);
  EXPECT_FLOAT_EQ(out, 2.68375F);
  EXPECT_EQ(filter.writeIndex, 2);
}

TEST(LPFBComb, ReadsBetweenSamplesInThreeWays) {
  // Elements 1 and 2 hold 1 and 3; a delay of 2.75 from element 4 reads a quarter of the way.
  const auto readAt = [](int interpolation) {
    comb filter;
    initComb(&filter, 8);
    filter.buffer[1] = 1.0F;
    filter.buffer[2] = 3.0F;
    filter.writeIndex = 4;
    runLPFBComb(&filter, interpolation, 0.0F, 2.75F, 0.0F, 1.0F, 1.0F);
    return filter.lastOutput;
  };

  EXPECT_EQ(readAt(kCombWholeSamples), 1.0F);
  EXPECT_EQ(readAt(kCombLinear), 1.5F);
  EXPECT_FLOAT_EQ(readAt(kCombCosine), 1.2928932F);  // 1 + 2 (1 - cos 45 degrees) / 2
  EXPECT_EQ(readAt(7), 1.0F);
}

TEST(LPFBComb, TheLastElementIsFollowedByTheFirst) {
  comb filter;
  initComb(&filter, 4);
  filter.buffer[3] = 1.0F;
  filter.buffer[0] = 5.0F;
  filter.buffer[4] = 100.0F;

  runLPFBComb(&filter, kCombLinear, 0.0F, 0.5F, 0.0F, 1.0F, 1.0F);

  EXPECT_EQ(filter.lastOutput, 3.0F);
}

TEST(LPFBComb, ADelayTooSmallToBeToldFromTheSizeReadsTheFirstElement) {
  comb filter;
  initComb(&filter, 1000);
  filter.buffer[0] = 5.0F;
  filter.buffer[1000] = 100.0F;

  runLPFBComb(&filter, kCombLinear, 0.0F, 1e-9F, 0.0F, 1.0F, 1.0F);

  EXPECT_EQ(filter.lastOutput, 5.0F);
}

TEST(LPFBComb, WritesOneElementPastTheSizeBeforeItTurnsRound) {
  comb filter;
  initComb(&filter, 3);
  std::vector<int> indices;

  for (int n = 1; n <= 5; ++n) {
    runLPFBComb(&filter, kCombWholeSamples, 1.0F, 1.0F, 0.0F, 1.0F, 1.0F);
    indices.push_back(filter.writeIndex);
  }

  EXPECT_EQ(indices, (std::vector<int>{1, 2, 3, 0, 1}));
  EXPECT_EQ(filter.buffer[3], 0.95F);
  EXPECT_EQ(filter.buffer[4], 0.0F);
}

TEST(LPFBComb, FollowsAPlainSecondForm) {
  // Positions are single precision, so a read between samples may differ by 2^-18 of a step at 50 samples;
  // the feedback of 0.7 adds such errors up to about three times as much.
  constexpr double kTolerance = 5e-5;
  for (const int interpolation : {0, 1, 2}) {
    SCOPED_TRACE(testing::Message() << "interpolation " << interpolation);
    constexpr int kSize = 50;
    comb filter;
    initComb(&filter, kSize);
    std::vector<double> line(kSize + 1);
    int write = 0;
    double lowPass = 0;
    Random random(3);
    for (int n = 0; n < 1000; ++n) {
      const float in = 2.0F * random.unit31() - 1.0F;
      // Eighths of samples are exact in both precisions, so the whole part agrees.
      const double delay = std::floor(random.unitDouble() * 8.0 * kSize) / 8.0;
      double p = write - delay;
      if (p < 0) p += kSize;
      const auto i = static_cast<std::size_t>(p);
      const double f = p - std::floor(p);
      const double t =
          interpolation == 0 ? 0 : (interpolation == 1 ? f : (1 - std::cos(std::numbers::pi * f)) / 2);
      const double next = i + 1 >= kSize ? line[0] : line[i + 1];
      const double d = line[i] + t * (next - line[i]);
      lowPass = 0.3 * d + 0.7 * lowPass;
      const double w = 0.95 * static_cast<double>(in) + 0.7 * lowPass;
      line[static_cast<std::size_t>(write)] = w;
      write = write < kSize ? write + 1 : 0;

      const float out =
          runLPFBComb(&filter, interpolation, in, static_cast<float>(delay / 128.0), 0.7F, 0.3F, 128.0F);

      ASSERT_NEAR(out, 0.7 * d + w, kTolerance) << n;
    }
  }
}

TEST(LPFBComb, NoDelayLeavesTheLine) {
  for (const int size : {0, 1, 10}) {
    for (const float delay : kHostileDelays) {
      for (const int interpolation : {0, 1, 2}) {
        comb filter;
        initComb(&filter, size);
        for (int n = 0; n < 50; ++n) {
          EXPECT_TRUE(std::isfinite(runLPFBComb(&filter, interpolation, 1.0F, delay, 0.5F, 0.5F, 1.0F)));
          EXPECT_GE(filter.writeIndex, 0);
          EXPECT_LE(filter.writeIndex, size);
        }
      }
    }
  }
}

TEST(LPFBComb, ALengthBelowZeroIsNoLength) {
  comb filter;

  initComb(&filter, -5);

  EXPECT_EQ(filter.size, 0);
  EXPECT_EQ(filter.buffer.size(), 2U);
}

}  // namespace
}  // namespace morv
