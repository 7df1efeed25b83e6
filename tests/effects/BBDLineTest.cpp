#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "effects/BBDLine.h"
#include "platform/DiagnosticRing.h"
#include "platform/Random.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
constexpr double kNoisePeak = 3.16227766e-4;  // 70 dB below 1

// The two sections of the anti-alias filter, in double precision and written out.
struct PlainLowPass {
  double a1 = 0;
  double a2 = 0;
  double b1 = 0;

  double run(double x) {
    const double w = 0.1802950360421434 * x + 0.6693926343017952 * a1 - 0.390572778470369 * a2;
    const double y = w + 2.0 * a1 + a2;
    a2 = a1;
    a1 = w;
    const double v = 0.37173571487665386 * y + 0.2565285702466924 * b1;
    const double z = v + b1;
    b1 = v;
    return z;
  }
};

double firstBucket(double d) {
  if (std::abs(d) > 1) return d > 0 ? 1 : -1;
  return 1.125 * d - 0.125 * d * d - d * d * d / 18;
}

double lastBucket(double e) {
  if (std::abs(e) > 1) return e > 0 ? 2.0 / 3 : -2.0 / 3;
  return e - e * e * e / 3;
}

int messagesOf(const std::string& text) {
  int count = 0;
  DiagnosticRing::Line line;
  while (DiagnosticRing::shared().take(&line)) count += text == line.format ? 1 : 0;
  return count;
}

TEST(BBDLine, StartsSilentWithItsTables) {
  bbd line;

  initBBDLine(&line, 512, 0.01001F, kRate);

  EXPECT_EQ(line.size, 441);  // 441.441
  EXPECT_EQ(line.delayBuffer.size(), 441U);
  EXPECT_EQ(line.stages, 512);
  EXPECT_EQ(line.stageBuffer.size(), 512U);
  EXPECT_EQ(line.maxDelay, 0.01001F);
  EXPECT_EQ(line.sampleRate, kRate);
  EXPECT_EQ(line.writeIndex, 0);
  EXPECT_EQ(line.feedbackOut, 0.0F);
  EXPECT_EQ(line.clockPhase, 0.0);
  for (std::size_t i = 0; i < 441; ++i) EXPECT_EQ(line.delayBuffer[i], 0.0F);
  EXPECT_EQ(line.inputFilter.sections, 2);
  EXPECT_EQ(line.outputFilter.sections, 2);
  EXPECT_EQ(line.compressor.sections, 1);
  EXPECT_EQ(line.expander.sections, 1);
  EXPECT_EQ(line.inputFilter.coefficients, BBD_AA_COEFF.data());
  EXPECT_EQ(line.outputFilter.coefficients, BBD_AA_COEFF.data());
  EXPECT_EQ(line.compressor.coefficients, BBD_COMP_COEFF.data());
  EXPECT_EQ(line.expander.coefficients, BBD_COMP_COEFF.data());
}

TEST(BBDLine, CoefficientsRowByRow) {
  EXPECT_EQ(BBD_AA_COEFF,
            (std::array<double, 14>{0.1802950360421434, 1.0, -0.6693926343017952, 0.390572778470369, 1.0, 2.0,
                                    1.0, 0.37173571487665386, 1.0, -0.2565285702466924, 0.0, 1.0, 1.0, 0.0}));
  EXPECT_EQ(BBD_COMP_COEFF, (std::array<double, 7>{1.0, 1.0, -0.997238488321194, 0.0, 1.0, 0.0028, 0.0}));
}

TEST(BBDLine, FollowsAPlainSecondForm) {
  // Positions and the line are single precision: 2^-16 of a step between samples at 200 of them, and rounding
  // below 1e-6, in a loop whose gain is below 1.
  constexpr double kTolerance = 1e-4;
  constexpr int kSize = 200;
  constexpr float kTestRate = 1024.0F;  // eighths of a sample are exact seconds
  constexpr double kBlend = 0.25;
  constexpr double kFeedback = 0.5;
  constexpr double kForward = 0.75;
  bbd line;
  initBBDLine(&line, 16, kSize / kTestRate, kTestRate);
  reseedBBDLine(&line, 7);
  Random noise(7);
  Random input(8);
  std::vector<double> buffer(kSize);
  PlainLowPass before;
  PlainLowPass behind;
  int write = 0;
  for (int n = 0; n < 3000; ++n) {
    const float in = 3.0F * (2.0F * input.unit31() - 1.0F);  // loud enough for both limits
    const double delay = std::floor(input.unitDouble() * 8 * (kSize - 1)) / 8;
    const double a = before.run(static_cast<double>(in));
    const double hiss = (2 * noise.unitDouble() - 1) * kNoisePeak;
    double p = write - delay;
    if (p < 0) p += kSize;
    const auto i = static_cast<std::size_t>(p);
    const double next = i + 1 < kSize - 1 ? buffer[i + 1] : buffer[0];
    const double d = buffer[i] + (p - std::floor(p)) * (next - buffer[i]);
    const double s = lastBucket(behind.run(firstBucket(d)));
    const double expected = kForward * s + kBlend * static_cast<double>(in);
    buffer[static_cast<std::size_t>(write)] = kFeedback * expected + hiss + a;
    write = write + 1 < kSize - 1 ? write + 1 : 0;

    const float out = runBBDLine(&line, in, static_cast<float>(delay / 1024), 0.25F, 0.5F, 0.75F, kTestRate);

    ASSERT_NEAR(out, expected, kTolerance) << n;
    ASSERT_NEAR(line.feedbackOut, kFeedback * s, kTolerance) << n;
  }
  EXPECT_NEAR(line.clockPhase, 3000.0 / 1024.0, 1e-12);
}

TEST(BBDLine, ForwardAloneDelaysFiltersAndSaturatesTwice) {
  // What the noise leaves of a filtered, saturated signal: its peak times the first bucket's 1.125 and the
  // low pass's greatest gain for any signal, which is below 1.5.
  constexpr double kTolerance = kNoisePeak * 1.125 * 1.5;
  constexpr int kDelay = 100;
  bbd line;
  initBBDLine(&line, 16, 0.1F, kRate);
  PlainLowPass before;
  PlainLowPass behind;
  Random input(2);
  std::vector<double> filtered;
  for (int n = 0; n < 2000; ++n) {
    const float in = 2.0F * input.unit31() - 1.0F;
    filtered.push_back(before.run(static_cast<double>(in)));
    const double d = n < kDelay ? 0.0 : filtered[static_cast<std::size_t>(n - kDelay)];

    const float out = runBBDLine(&line, in, kDelay / kRate, 0.0F, 0.0F, 1.0F, kRate);

    ASSERT_NEAR(out, lastBucket(behind.run(firstBucket(d))), kTolerance) << n;
  }
}

TEST(BBDLine, ASteadyInputSettlesOnBothCurves) {
  // 0.5 through 1.125 d - 0.125 d^2 - d^3 / 18 gives 0.5243056; that less a third of its cube, 0.4762630.
  bbd line;
  initBBDLine(&line, 16, 1.0F, kRate);
  float settled = 0;

  for (int n = 0; n < 1000; ++n) settled = runBBDLine(&line, 0.5F, 0.005F, 0.0F, 0.0F, 1.0F, kRate);

  EXPECT_NEAR(settled, 0.4762630, 2 * kNoisePeak);
}

TEST(BBDLine, LoudInputsStopAtTwoThirds) {
  for (const float level : {5.0F, -5.0F}) {
    bbd line;
    initBBDLine(&line, 16, 1.0F, kRate);
    float settled = 0;

    for (int n = 0; n < 1000; ++n) settled = runBBDLine(&line, level, 0.005F, 0.0F, 0.0F, 1.0F, kRate);

    EXPECT_NEAR(settled, level > 0 ? 2.0 / 3.0 : -2.0 / 3.0, 1e-6);
  }
}

TEST(BBDLine, NoiseFloorLies70dBDown) {
  constexpr int kFrames = 200000;
  bbd line;
  initBBDLine(&line, 16, 10.0F, kRate);
  for (int n = 0; n < kFrames; ++n) runBBDLine(&line, 0.0F, 1.0F, 0.0F, 0.0F, 1.0F, kRate);

  double peak = 0;
  double linePower = 0;
  for (std::size_t n = 0; n < kFrames; ++n) {
    const auto x = static_cast<double>(line.delayBuffer[n]);
    peak = std::max(peak, std::abs(x));
    linePower += x * x / kFrames;
  }
  double outputPower = 0;
  for (int n = 0; n < kFrames; ++n) {
    const auto out = static_cast<double>(runBBDLine(&line, 0.0F, 1.0F, 0.0F, 0.0F, 1.0F, kRate));
    outputPower += out * out / kFrames;
  }

  double filterPower = 0;  // what the low-pass leaves of white noise
  PlainLowPass lowPass;
  for (int n = 0; n < 1000; ++n) {
    const double h = lowPass.run(n == 0 ? 1.0 : 0.0);
    filterPower += h * h;
  }
  // In the line: the peak at -70 dB, and a uniform distribution's power a third of its peak's square, -74.8
  // dB.
  EXPECT_NEAR(20 * std::log10(peak), -70.0, 0.01);
  EXPECT_NEAR(10 * std::log10(linePower), -70.0 - 4.771, 0.03);
  // At the output: that power through the first bucket's slope and the low-pass.
  EXPECT_NEAR(10 * std::log10(outputPower),
              -70.0 - 4.771 + 20 * std::log10(1.125) + 10 * std::log10(filterPower), 0.1);
}

TEST(BBDLine, TheSameSeedRepeatsTheNoise) {
  bbd first;
  bbd second;
  bbd other;
  for (bbd* line : {&first, &second, &other}) initBBDLine(line, 16, 1.0F, kRate);
  reseedBBDLine(&first, 5);
  reseedBBDLine(&second, 5);
  reseedBBDLine(&other, 6);
  int differences = 0;

  for (int n = 0; n < 1000; ++n) {
    const float y = runBBDLine(&first, 0.0F, 0.001F, 0.0F, 0.5F, 1.0F, kRate);
    ASSERT_EQ(y, runBBDLine(&second, 0.0F, 0.001F, 0.0F, 0.5F, 1.0F, kRate));
    differences += y != runBBDLine(&other, 0.0F, 0.001F, 0.0F, 0.5F, 1.0F, kRate) ? 1 : 0;
  }

  EXPECT_GT(differences, 900);
}

TEST(BBDLine, ResetAndReseedEqualFresh) {
  bbd used;
  bbd fresh;
  initBBDLine(&used, 16, 0.01F, kRate);
  initBBDLine(&fresh, 16, 0.01F, kRate);
  for (int n = 0; n < 1000; ++n) runBBDLine(&used, 0.7F, 0.003F, 0.5F, 0.8F, 1.0F, kRate);

  resetBBDLine(&used);
  reseedBBDLine(&used, 1);

  EXPECT_EQ(used.writeIndex, 0);
  EXPECT_EQ(used.feedbackOut, 0.0F);
  EXPECT_EQ(used.clockPhase, 0.0);
  for (int n = 0; n < 1000; ++n) {
    ASSERT_EQ(runBBDLine(&used, 0.3F, 0.003F, 0.5F, 0.8F, 1.0F, kRate),
              runBBDLine(&fresh, 0.3F, 0.003F, 0.5F, 0.8F, 1.0F, kRate));
  }
}

TEST(BBDLine, WritesLeaveOutTheLastElement) {
  bbd line;
  initBBDLine(&line, 4, 5.0F, 1.0F);
  std::vector<int> indices;

  for (int n = 0; n < 6; ++n) {
    runBBDLine(&line, 1.0F, 1.0F, 0.0F, 0.0F, 1.0F, 1.0F);
    indices.push_back(line.writeIndex);
  }

  EXPECT_EQ(indices, (std::vector<int>{1, 2, 3, 0, 1, 2}));
  EXPECT_EQ(line.delayBuffer[4], 0.0F);
}

// Plays one sample with a value in one element and the rest silent, and gives what was read, by undoing the
// last stages for a small signal's first sample.
double readFrom(int element, int writeIndex, float delaySamples) {
  bbd line;
  initBBDLine(&line, 4, 5.0F, 1.0F);
  line.delayBuffer[static_cast<std::size_t>(element)] = 0.001F;
  line.writeIndex = writeIndex;
  const auto out = static_cast<double>(runBBDLine(&line, 0.0F, delaySamples, 0.0F, 0.0F, 1.0F, 1.0F));
  return out / (1.125 * 0.1802950360421434 * 0.37173571487665386) / 0.001;
}

TEST(BBDLine, ReadsAtAndBetweenElements) {
  constexpr double kTolerance = 1e-3;  // the curves' bend at a thousandth
  EXPECT_NEAR(readFrom(1, 3, 2.0F), 1.0, kTolerance);
  EXPECT_NEAR(readFrom(1, 3, 1.75F), 0.75, kTolerance);
  EXPECT_NEAR(readFrom(2, 3, 1.75F), 0.25, kTolerance);
  EXPECT_NEAR(readFrom(4, 1, 2.0F), 1.0, kTolerance);     // turned round at the size
  EXPECT_NEAR(readFrom(0, 3, -0.25F), 0.25, kTolerance);  // behind element 3 stands the first
  EXPECT_NEAR(readFrom(4, 3, -0.25F), 0.0, kTolerance);
  EXPECT_NEAR(readFrom(0, 1, 1.5F), 0.5, kTolerance);  // and behind element 4 too
}

TEST(BBDLine, APositionAtTheSizeReadsTheFirstElement) {
  EXPECT_NEAR(readFrom(0, 3, -2.0F), 1.0, 1e-3);
  EXPECT_NEAR(readFrom(0, 0, 1e-9F), 1.0, 1e-3);
  EXPECT_EQ(messagesOf("***** NO\n"), 0);
}

TEST(BBDLine, APositionOutsideTheLineIsReportedAndReadsTheFirstElement) {
  for (const float delay :
       {-2.5F, -100.0F, 9.0F, 1e30F, std::numeric_limits<float>::infinity(),
        -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_NEAR(readFrom(0, 3, delay), 1.0, 1e-3) << delay;
    EXPECT_EQ(messagesOf("***** NO\n"), 1) << delay;
  }
}

TEST(BBDLine, NothingIsReportedInsideTheLine) {
  for (const float delay : {0.0F, 1.0F, 3.0F, 7.9F}) readFrom(0, 3, delay);

  EXPECT_EQ(messagesOf("***** NO\n"), 0);
}

TEST(BBDLine, StaysFiniteAtExtremesAndLengthsOfNearlyNothing) {
  for (const float maxDelay : {-1.0F, 0.0F, 1.0F, 2.0F, 3.0F, 50.0F}) {
    for (const float delay : {0.0F, 1e-9F, 0.5F, 1.0F, 49.0F, 50.0F, -49.0F, 1e30F, -1e30F}) {
      bbd line;
      initBBDLine(&line, -3, maxDelay, 1.0F);
      for (int n = 0; n < 200; ++n) {
        const float out = runBBDLine(&line, n % 2 == 0 ? 1e6F : -1e6F, delay, 1.0F, 1.0F, 1.0F, 1.0F);
        ASSERT_TRUE(std::isfinite(out));
        ASSERT_GE(line.writeIndex, 0);
        ASSERT_LT(line.writeIndex, std::max(line.size, 1));
      }
    }
  }
}

// The delay and the clock go by the rate that each sample is run at, not by the one at the start.
TEST(BBDLine, RunsAtTheRateThatItIsGiven) {
  bbd line;
  initBBDLine(&line, 16, 0.1F, 1000.0F);
  ASSERT_EQ(line.size, 100);
  line.writeIndex = 50;
  line.delayBuffer[30] = 0.5F;

  // 10 ms are 20 samples at 2000 Hz. A filter passes part of what it gets at once: both sections' first
  // coefficients.
  const float out = runBBDLine(&line, 0, 0.01F, 0, 0, 1, 2000.0F);

  const double e = 0.1802950360421434 * 0.37173571487665386 * firstBucket(0.5);
  EXPECT_NEAR(out, lastBucket(e), 1e-6);
  EXPECT_EQ(line.clockPhase, 1.0 / 2000.0);
  EXPECT_EQ(line.sampleRate, 1000.0F);
}

}  // namespace
}  // namespace morv
