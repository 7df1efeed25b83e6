#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tests/voice/BiquadTesting.h"
#include "tests/voice/FilterTesting.h"
#include "voice/ZRBiquadFilter.h"

namespace morv {
namespace {

using testing::bilinear;
using testing::coefficientsOf;
using testing::filterGainDb;
using testing::makeNoise;
using testing::runInBlocks;
using testing::Section;
using testing::sectionsOf;
using testing::takeSettings;

constexpr double kPi = std::numbers::pi;
constexpr double kRate = 44100.0;
constexpr float kRateF = 44100.0F;
constexpr double kDbTolerance = 0.02;

// A cascade of direct-form sections in double whose coefficients may move.
struct PlainCascade {
  explicit PlainCascade(std::vector<Section> start) : now(start), target(std::move(start)) {
    delays.assign(now.size(), {0, 0, 0, 0});
  }
  double next(double x) {
    for (std::size_t s = 0; s < now.size(); ++s) {
      for (std::size_t i = 0; i < 5; ++i) {
        now[s][i] = (now[s][i] + target[s][i]) / 2.0;
        if (std::abs(target[s][i] - now[s][i]) < 0.005) now[s][i] = target[s][i];
      }
    }
    for (std::size_t s = 0; s < now.size(); ++s) {
      auto& d = delays[s];
      const Section& c = now[s];
      const double y = c[0] * x + c[1] * d[0] + c[2] * d[1] - c[3] * d[2] - c[4] * d[3];
      d = {x, d[0], y, d[2]};
      x = y;
    }
    return x;
  }
  std::vector<Section> now;
  std::vector<Section> target;
  std::vector<std::array<double, 4>> delays;
};

TEST(ZRBiquadFilterRun, TypeNoneIsSilent) {
  const auto in = makeNoise(256);
  for (const int channels : {1, 2}) {
    ZRBiquadFilter filter(ZRBiquadType::none, 1000, 2, channels, kRateF);

    const auto out = runInBlocks(filter, in, in, 64);

    EXPECT_EQ(out.left, std::vector<float>(256, 0.0F));
    EXPECT_EQ(out.right, std::vector<float>(256, 0.0F));
  }
}

TEST(ZRBiquadFilterRun, OneChannelRunsItsSectionsInOrderAndCopiesToTheSecondOutput) {
  constexpr double kTolerance = 1e-5;  // delays are floats
  ZRBiquadFilter filter(ZRBiquadType::lowpass, 3000, 3, 1, kRateF);
  PlainCascade plain(sectionsOf(filter));
  const auto in = makeNoise(500, 1.0F, 1);
  const auto other = makeNoise(500, 1.0F, 2);

  const auto out = runInBlocks(filter, in, other, 64);

  for (std::size_t i = 0; i < in.size(); ++i)
    ASSERT_NEAR(out.left[i], plain.next(static_cast<double>(in[i])), kTolerance) << i;
  EXPECT_EQ(out.left, out.right);
}

TEST(ZRBiquadFilterRun, OneChannelNeedsNeitherSecondInputNorSecondOutput) {
  ZRBiquadFilter filter(ZRBiquadType::lowpass, 3000, 1, 1, kRateF);
  ZRBiquadFilter same(ZRBiquadType::lowpass, 3000, 1, 1, kRateF);
  auto in = makeNoise(64);
  const auto expected = runInBlocks(same, in, in, 64);

  filter.runFilter(in.data(), nullptr, in.data(), nullptr, 64);

  EXPECT_EQ(in, expected.left);
}

TEST(ZRBiquadFilterRun, OneChannelKeepsTheCoefficientsOfItsConstruction) {
  ZRBiquadFilter changed(ZRBiquadType::lowpass, 1000, 2, 1, kRateF);
  ZRBiquadFilter left(ZRBiquadType::lowpass, 1000, 2, 1, kRateF);
  changed.filterCutoff = 8000.0F;
  changed.gain = 6;
  changed.setSampleRate(96000);
  const auto in = makeNoise(300);

  EXPECT_EQ(runInBlocks(changed, in, in, 64).left, runInBlocks(left, in, in, 64).left);
}

TEST(ZRBiquadFilterRun, TwoChannelsAreFilteredApart) {
  constexpr double kTolerance = 1e-6;
  ZRBiquadFilter filter(ZRBiquadType::highpass, 500, 2, 2, kRateF);
  PlainCascade first(sectionsOf(filter));
  PlainCascade second(sectionsOf(filter));
  const auto in1 = makeNoise(500, 1.0F, 1);
  const auto in2 = makeNoise(500, 1.0F, 2);

  const auto out = runInBlocks(filter, in1, in2, 64);

  for (std::size_t i = 0; i < in1.size(); ++i) {
    ASSERT_NEAR(out.left[i], first.next(static_cast<double>(in1[i])), kTolerance) << i;
    ASSERT_NEAR(out.right[i], second.next(static_cast<double>(in2[i])), kTolerance) << i;
  }
}

TEST(ZRBiquadFilterRun, WithoutASecondOutputOnlyTheFirstChannelRuns) {
  ZRBiquadFilter filter(ZRBiquadType::highpass, 500, 1, 2, kRateF);
  ZRBiquadFilter both(ZRBiquadType::highpass, 500, 1, 2, kRateF);
  const auto in = makeNoise(64);
  std::vector<float> out(64);

  filter.runFilter(in.data(), in.data(), out.data(), nullptr, 64);
  EXPECT_EQ(out, runInBlocks(both, in, in, 64).left);

  // The second channel's delays have not moved.
  const std::vector<float> silence(64, 0.0F);
  EXPECT_EQ(runInBlocks(filter, silence, silence, 64).right, silence);
}

TEST(ZRBiquadFilterRun, CoefficientsGoHalfOfTheWayPerSampleUntilTheySitOnTheirTargets) {
  constexpr double kTolerance = 1e-6;
  ZRBiquadFilter filter(ZRBiquadType::peaking, 1000, 2, 2, kRateF);
  PlainCascade first(sectionsOf(filter));
  PlainCascade second(sectionsOf(filter));
  const auto in1 = makeNoise(256, 1.0F, 1);
  const auto in2 = makeNoise(256, 1.0F, 2);
  Section target{};
  for (int change = 0; change < 3; ++change) {
    filter.filterCutoff = 3500.0F;
    filter.gain = change == 1 ? -12.0F : 12.0F;
    filter.bandwidth = 2000;

    const auto out = runInBlocks(filter, in1, in2, 64);

    const double V = change == 1 ? std::pow(10.0, -0.6) : std::pow(10.0, 0.6);
    const double K = std::tan(kPi * 3500.0 / kRate);
    const double Q = 3500.0 / 2000.0;
    target =
        change == 1 ? bilinear(K, 1, 1 / Q, 1, 1, 1 / (V * Q), 1) : bilinear(K, 1, V / Q, 1, 1, 1 / Q, 1);
    first.target = {target, target};
    second.target = {target, target};
    for (std::size_t i = 0; i < in1.size(); ++i) {
      ASSERT_NEAR(out.left[i], first.next(static_cast<double>(in1[i])), 20 * kTolerance)
          << change << " " << i;
      ASSERT_NEAR(out.right[i], second.next(static_cast<double>(in2[i])), 20 * kTolerance);
    }
  }
}

// What its input and output still differ by when the gain has just gone is given up 200 dB below full scale.
TEST(ZRBiquadFilterRun, AMonoBellWithoutGainFollowsThePlainFormAtAnyBlockSize) {
  constexpr double kRounding = 1.2e-7;  // of the floats that come out, below 2
  for (const int block : {1, 7, 64, 500}) {
    ZRBiquadFilter filter(ZRBiquadType::peaking, 1000, 1, 2, kRateF);
    PlainCascade plain(sectionsOf(filter));
    const auto in = makeNoise(4000, 1.0F, 1);
    std::vector<float> out(in.size());
    for (int n = 0; n < 4000; n += block) {
      const int frames = std::min(block, 4000 - n);
      filter.gain = n < 1000 || n >= 3000 ? 0.0F : 9.0F;
      filter.filterCutoff = 3500.0F;
      filter.runFilter(in.data() + n, nullptr, out.data() + n, nullptr, frames);
      plain.target = sectionsOf(filter);
      for (int i = n; i < n + frames; ++i) {
        const auto at = static_cast<std::size_t>(i);
        ASSERT_NEAR(out[at], plain.next(static_cast<double>(in[at])), kRounding) << block << ": " << i;
      }
    }
  }
}

TEST(ZRBiquadFilterRun, ThreeStereoFiltersInOnePassGiveTheBitsOfThreePasses) {
  const auto make = [] {
    return std::array{ZRBiquadFilter(ZRBiquadType::highpass, 40, 1, 2, kRateF),
                      ZRBiquadFilter(ZRBiquadType::highpass, 100, 1, 2, kRateF),
                      ZRBiquadFilter(ZRBiquadType::lowpass, 15000, 1, 2, kRateF)};
  };
  auto together = make();
  auto apart = make();
  const auto inL = makeNoise(6000, 1.0F, 1);
  const auto inR = makeNoise(6000, 1.0F, 2);
  std::vector<float> outL(64), outR(64), expectedL(64), expectedR(64);
  int n = 0;
  for (int block = 0; n + 64 <= 6000; ++block) {
    const int frames = 1 + (block * 7) % 64;
    const float cutoff = block < 40 ? 40.0F : 900.0F;
    together[0].filterCutoff = cutoff;
    apart[0].filterCutoff = cutoff;

    ZRBiquadFilter::runThree(together[0], together[1], together[2], inL.data() + n, inR.data() + n,
                             outL.data(), outR.data(), frames);
    apart[0].runFilter(inL.data() + n, inR.data() + n, expectedL.data(), expectedR.data(), frames);
    apart[1].runFilter(expectedL.data(), expectedR.data(), expectedL.data(), expectedR.data(), frames);
    apart[2].runFilter(expectedL.data(), expectedR.data(), expectedL.data(), expectedR.data(), frames);

    ASSERT_EQ(outL, expectedL) << block;
    ASSERT_EQ(outR, expectedR) << block;
    n += frames;
  }
}

TEST(ZRBiquadFilterRun, RampSpansBlocksOfAnySize) {
  const auto in = makeNoise(128);
  const auto runWith = [&](int frames) {
    ZRBiquadFilter filter(ZRBiquadType::lowpass, 200, 2, 2, kRateF);
    filter.filterCutoff = 9000.0F;
    return runInBlocks(filter, in, in, frames);
  };
  const auto expected = runWith(128);

  for (const int frames : {1, 7, 64}) {
    EXPECT_EQ(runWith(frames).left, expected.left) << frames;
    EXPECT_EQ(runWith(frames).right, expected.right) << frames;
  }
}

TEST(ZRBiquadFilterRun, EachSettingIsSeenAtTheNextRun) {
  const auto changesCoefficients = [](ZRBiquadType type, auto&& change) {
    ZRBiquadFilter filter(type, 1000, 1, 2, kRateF);
    filter.gain = 3;
    filter.filterResonance = 1.0F;
    takeSettings(filter);
    const Section before = coefficientsOf(filter, 0);
    change(filter);
    takeSettings(filter);
    return coefficientsOf(filter, 0) != before;
  };

  EXPECT_TRUE(changesCoefficients(ZRBiquadType::lowpass, [](auto& f) { f.filterCutoff = 2000.0F; }));
  EXPECT_TRUE(changesCoefficients(ZRBiquadType::lowShelf, [](auto& f) { f.gain = 4; }));
  EXPECT_TRUE(changesCoefficients(ZRBiquadType::peaking, [](auto& f) { f.bandwidth = 300; }));
  EXPECT_TRUE(changesCoefficients(ZRBiquadType::resonantBandpass, [](auto& f) { f.filterResonance = 2.0F; }));
  EXPECT_TRUE(changesCoefficients(ZRBiquadType::lowpass, [](auto& f) { f.setSampleRate(48000); }));
  EXPECT_FALSE(changesCoefficients(ZRBiquadType::lowpass, [](auto&) {}));
  EXPECT_FALSE(changesCoefficients(ZRBiquadType::lowpass, [](auto& f) { f.setSampleRate(kRateF); }));
}

TEST(ZRBiquadFilterRun, ANewSampleRateMovesACutoffToItsPlaceAtThatRate) {
  ZRBiquadFilter filter(ZRBiquadType::lowpass, 1000, 1, 2, kRateF);

  filter.setSampleRate(96000);

  EXPECT_EQ(filter.sampleRate, 96000.0F);
  EXPECT_NEAR(filterGainDb(filter, 1000, 96000), -3.01, kDbTolerance);
}

TEST(ZRBiquadFilterRun, ResetLeavesTheDelays) {
  ZRBiquadFilter filter(ZRBiquadType::lowpass, 1000, 1, 2, kRateF);
  const auto in = makeNoise(64);
  const std::vector<float> silence(64, 0.0F);
  runInBlocks(filter, in, in, 64);

  filter.reset();

  EXPECT_NE(runInBlocks(filter, silence, silence, 64).left, silence);
}

TEST(ZRBiquadFilterRun, HighPassOfOneHertzHoldsNoDriftAfterSixSeconds) {
  ZRBiquadFilter filter(ZRBiquadType::highpass, 1, 1, 2, kRateF);
  const std::vector<float> in(264600, 1.0F);

  const auto out = runInBlocks(filter, in, in, 4096);

  EXPECT_LT(std::abs(out.left.back()), 1e-4F);  // its own ringing has died, rounding is not amplified
}

TEST(ZRBiquadFilterRun, LongCascadesStayFinite) {
  const auto in = makeNoise(8192);
  for (const int type : {0, 1, 4}) {
    ZRBiquadFilter filter(static_cast<ZRBiquadType>(type), 1000, 50, 1, kRateF);

    EXPECT_TRUE(testing::allFinite(runInBlocks(filter, in, in, 64).left)) << type;
  }
}

}  // namespace
}  // namespace morv
