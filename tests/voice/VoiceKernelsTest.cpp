#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "platform/Random.h"
#include "tests/voice/VoiceTesting.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

using testing::at;
using testing::Signal;

constexpr double kRelative = 4e-7;    // what the header promises
constexpr float kTwoSteps = 2.5e-7F;  // of a float above one
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr int kLengths[] = {0, 1, 2, 3, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 1001};

std::vector<const VoiceKernels*> allKernels() {
  std::vector<const VoiceKernels*> list = {&baselineVoiceKernels()};
  if (avx2VoiceKernels() != nullptr) list.push_back(avx2VoiceKernels());
  return list;
}

class VoiceKernelsTest : public ::testing::TestWithParam<const VoiceKernels*> {
 protected:
  const VoiceKernels& k = *GetParam();

  // Largest relative error of `actual` against a function in double.
  template <typename F>
  static double worstError(const Signal& in, const Signal& actual, F&& exact) {
    double worst = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
      const double expected = exact(static_cast<double>(in[i]));
      const double error = std::abs(static_cast<double>(actual[i]) - expected);
      const double relative = expected == 0.0 ? error : error / std::abs(expected);
      if (!(relative <= worst)) worst = relative;
    }
    return worst;
  }

  // Magnitudes from tiny to `most` on a logarithmic scale, both signs.
  static Signal magnitudes(double least, double most, int count) {
    Signal x;
    for (int i = 0; i < count; ++i) {
      const auto v = static_cast<float>(least * std::pow(most / least, i / (count - 1.0)));
      x.push_back(v);
      x.push_back(-v);
    }
    return x;
  }
  static Signal span(double low, double high, int count) {
    Signal x;
    for (int i = 0; i < count; ++i) x.push_back(static_cast<float>(low + (high - low) * i / (count - 1)));
    return x;
  }
};

std::string kernelName(const ::testing::TestParamInfo<const VoiceKernels*>& info) {
  return info.index == 0 ? "Baseline" : "Avx2";
}

INSTANTIATE_TEST_SUITE_P(Machines, VoiceKernelsTest, ::testing::ValuesIn(allKernels()), kernelName);

TEST_P(VoiceKernelsTest, TanhHoldsItsErrorOverAllValues) {
  for (Signal x : {magnitudes(1e-30, 1e30, 20001), span(-12, 12, 200001)}) {
    const Signal in = x;
    k.tanhInPlace(x.data(), static_cast<int>(x.size()));
    EXPECT_LT(worstError(in, x, [](double v) { return std::tanh(v); }), kRelative);
  }
}

TEST_P(VoiceKernelsTest, TanhOfTheEndsOfTheScale) {
  Signal x = {0.0F, kInfinity, -kInfinity, kNaN, 3e38F};
  k.tanhInPlace(x.data(), 5);

  EXPECT_EQ(x[0], 0.0F);
  EXPECT_NEAR(x[1], 1.0F, kTwoSteps);
  EXPECT_NEAR(x[2], -1.0F, kTwoSteps);
  EXPECT_TRUE(std::isnan(x[3]));
  EXPECT_NEAR(x[4], 1.0F, kTwoSteps);
}

TEST_P(VoiceKernelsTest, TanhLeavesOneByRoundingsOnly) {
  Signal x = span(0, 20, 100001);
  k.tanhInPlace(x.data(), static_cast<int>(x.size()));

  for (const float v : x) ASSERT_LE(v, 1.0F + kTwoSteps);
}

TEST_P(VoiceKernelsTest, SoftLimitHoldsItsErrorAtAnyGain) {
  for (const float gain : {1.0F, 3.7F, 21.0F}) {
    const auto exact = [&](double v) {
      const auto y = static_cast<double>(static_cast<float>(v) * gain);
      return y < 0 ? std::expm1(y) : -std::expm1(-y);
    };
    for (const Signal& in : {magnitudes(1e-25, 1e6, 20001), span(-6, 6, 200001)}) {
      Signal out(in.size());
      k.softLimit(in.data(), gain, out.data(), static_cast<int>(in.size()));
      EXPECT_LT(worstError(in, out, exact), kRelative);
      Signal same = in;
      k.softLimit(same.data(), gain, same.data(), static_cast<int>(in.size()));
      EXPECT_EQ(same, out);
    }
  }
}

TEST_P(VoiceKernelsTest, SoftLimitOfSilenceIsSilence) {
  Signal x = {0.0F, -0.0F};
  k.softLimit(x.data(), 21.0F, x.data(), 2);

  EXPECT_EQ(x, Signal(2, 0.0F));
}

TEST_P(VoiceKernelsTest, SinePiHoldsItsErrorOverTheTurn) {
  const Signal in = span(-1, 1, 200001);
  Signal out(in.size());
  k.sinPi(in.data(), out.data(), static_cast<int>(in.size()));
  // The turn's ends are worked from their distance to a half turn, which is exact.
  const auto exact = [](double p) {
    if (p > 0.5) return std::sin(std::numbers::pi * (1 - p));
    return p < -0.5 ? -std::sin(std::numbers::pi * (1 + p)) : std::sin(std::numbers::pi * p);
  };

  EXPECT_LT(worstError(in, out, exact), kRelative);
  const Signal far = {1.5F, -1.25F, 7.75F, -1000.5F, 3.0F, 1e30F, -kInfinity};
  Signal turned(far.size());
  k.sinPi(far.data(), turned.data(), static_cast<int>(far.size()));
  for (std::size_t i = 0; i < 5; ++i)
    EXPECT_NEAR(turned[i], std::sin(std::numbers::pi * static_cast<double>(far[i])), 1e-6) << i;
  EXPECT_LE(std::abs(turned[5]), 1.0F);
  EXPECT_LE(std::abs(turned[6]), 1.0F);
  Signal same = in;
  k.sinPi(same.data(), same.data(), static_cast<int>(in.size()));
  EXPECT_EQ(same, out);
}

TEST_P(VoiceKernelsTest, CentsFactorsHoldTheirErrorOverTenOctavesUpAndDown) {
  for (const Signal& in : {span(-12000, 12000, 200001), span(-100, 100, 10001)}) {
    Signal out(in.size());
    k.centsFactors(in.data(), 1.0F, out.data(), static_cast<int>(in.size()));
    EXPECT_LT(worstError(in, out, [](double v) { return std::exp2(v / 1200.0); }), kRelative);
    Signal same = in;
    k.centsFactors(same.data(), 1.0F, same.data(), static_cast<int>(in.size()));
    EXPECT_EQ(same, out);
  }
}

TEST_P(VoiceKernelsTest, CentsFactorsMultiplyTheBaseAndStayNormal) {
  const Signal in = {0.0F, 1200.0F, -2400.0F, 1e9F, -1e9F, kInfinity, -kInfinity, kNaN};
  Signal out(in.size());
  k.centsFactors(in.data(), 0.75F, out.data(), static_cast<int>(in.size()));

  EXPECT_EQ(out[0], 0.75F);
  EXPECT_NEAR(out[1], 1.5F, 1e-6F);
  EXPECT_NEAR(out[2], 0.1875F, 1e-7F);
  for (std::size_t i = 3; i < 7; ++i) EXPECT_TRUE(std::isnormal(out[i])) << i;
  EXPECT_TRUE(std::isnan(out[7]));
}

TEST_P(VoiceKernelsTest, OscillatorStepsFollowTheFrequencyLaw) {
  OscillatorStepSettings s;
  s.base = 100;
  s.octave = 2;
  s.semitone = 1.5F;
  s.cents = 1.25F;
  s.size = 1024;
  s.rate = 44100;
  s.scale = 1.5F;
  s.subDivisor = 4;
  s.subDetune = 1.3F;
  const Signal modulation = {0, 50, -99, -100, -500, 9000, 20000, kInfinity, 10, 10, 3};
  const Signal cents = {1, 1.1F, 1, 1, 1, 0.5F, 1, 1, kNaN, 1e30F, 0.25F};
  const int n = static_cast<int>(modulation.size());
  Signal steps(at(n)), subSteps(at(n));

  k.oscillatorSteps(s, modulation.data(), cents.data(), steps.data(), subSteps.data(), n);

  for (int i = 0; i < n; ++i) {
    float f = 100.0F + modulation[at(i)];
    if (f <= 0.0F) f = 1.0F;
    float c = 1.25F * cents[at(i)];
    if (std::isnan(c)) c = 1.0F;
    f = f * 2.0F * 1.5F * c;
    if (f > 20000.0F) f = 20000.0F;
    EXPECT_EQ(steps[at(i)], f * 1024.0F / 44100.0F * 1.5F) << i;
    EXPECT_EQ(subSteps[at(i)], f / 4.0F * 1.3F * 1024.0F / 44100.0F) << i;
  }
}

TEST_P(VoiceKernelsTest, SecondPhasesLeadByWidthAndStepAndStayInside) {
  Random random(4);
  constexpr int kCount = 2000;
  Signal widths, one, steps, out(kCount);
  for (int i = 0; i < kCount; ++i) {
    widths.push_back(0.98F * random.unit31());
    one.push_back(1023.9F * random.unit31());
    steps.push_back(1023.9F * random.unit31());
  }

  k.secondPhases(widths.data(), one.data(), steps.data(), 1024.0F, out.data(), kCount);

  for (std::size_t i = 0; i < out.size(); ++i) {
    float expected = widths[i] * 1024.0F + one[i] + steps[i];
    while (expected >= 1024.0F) expected -= 1024.0F;
    ASSERT_EQ(out[i], expected);
  }
}

TEST_P(VoiceKernelsTest, SmoothingFollowsAndIsBoundedInItsState) {
  constexpr double kRecursionError = 1e-6;  // sums of eight terms instead of one step behind the other
  constexpr float kC = 0.85F;
  for (const int frames : kLengths) {
    Signal x(at(frames));
    for (int i = 0; i < frames; ++i) {
      const double burst = i % 50 > 30 ? 3.0 : 0.8;
      x[at(i)] = static_cast<float>(burst * std::sin(0.05 * i));
    }
    Signal expected = x;
    float state = 0.5F;
    double y = 0.5;
    for (float& v : expected) {
      const auto in = static_cast<double>(v);
      y = std::min(std::max(static_cast<double>(kC) * (y - in) + in, -1.0), 1.0);
      v = static_cast<float>(y);
    }

    k.smoothBounded(x.data(), kC, &state, frames);

    for (std::size_t i = 0; i < x.size(); ++i)
      ASSERT_NEAR(x[i], expected[i], kRecursionError) << frames << ":" << i;
    EXPECT_EQ(state, x.empty() ? 0.5F : x.back());
  }
}

TEST_P(VoiceKernelsTest, AmplifyingMultipliesInPlaceAndAddsTheVolume) {
  const AmpSettings s{0.5F, 0.25F, 0.6F, 0.8F};
  for (const int frames : kLengths) {
    Signal in, max, volumes, left(at(frames), 1.0F), right(at(frames), 2.0F);
    for (int i = 0; i < frames; ++i) {
      in.push_back(static_cast<float>(std::sin(0.3 * i)));
      max.push_back(static_cast<float>(0.2 * std::cos(0.7 * i)));
      volumes.push_back(static_cast<float>(0.3 * std::sin(0.11 * i)));
    }
    Signal once = in, onceVolumes = volumes, out(at(frames));
    Signal twice = in, twiceVolumes = volumes;
    k.amplify(s, max.data(), onceVolumes.data(), once.data(), out.data(), frames);
    k.amplifyTwicePanned(s, max.data(), twiceVolumes.data(), twice.data(), left.data(), right.data(), frames);
    for (int n = 0; n < frames; ++n) {
      const std::size_t i = at(n);
      const double g = 0.5 + static_cast<double>(max[i]);
      const double v = 0.25 + static_cast<double>(volumes[i]);
      const auto x = static_cast<double>(in[i]);
      ASSERT_NEAR(once[i], x * g, 2e-7);
      ASSERT_NEAR(out[i], x * g * v, 2e-7);
      ASSERT_NEAR(onceVolumes[i], v, 1e-7);
      ASSERT_EQ(twiceVolumes[i], onceVolumes[i]);
      ASSERT_NEAR(twice[i], x * g * g * v * v, 2e-7);
      ASSERT_NEAR(left[i], 1.0 + 0.6 * x * g * g * v * v, 3e-7);
      ASSERT_NEAR(right[i], 2.0 + 0.8 * x * g * g * v * v, 5e-7);
    }
  }
}

TEST(VoiceKernelsChoice, IsAvx2WhereTheMachineHasIt) {
  const VoiceKernels* best = avx2VoiceKernels() != nullptr ? avx2VoiceKernels() : &baselineVoiceKernels();

  EXPECT_EQ(&voiceKernels(), best);
  EXPECT_STRNE(baselineVoiceKernels().name, nullptr);
  EXPECT_STRNE(best->name, nullptr);
}

}  // namespace
}  // namespace morv
