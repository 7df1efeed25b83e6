#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/ZRDigiDelay.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
constexpr float kLowRate = 1000.0F;  // where seconds are cheap
// A coefficient near 1 and the steps of a follower, in single precision.
constexpr float kFollowerError = 1e-4F;
constexpr double kLevelError = 0.02;  // dB, of a sine over whole periods

int loudestFrame(const std::vector<float>& x, int from, int to) {
  const auto louder = [](float a, float b) { return std::abs(a) < std::abs(b); };
  return static_cast<int>(std::max_element(x.begin() + from, x.begin() + to, louder) - x.begin());
}

// Wet alone, without modulation, and all of the band.
void makeBare(ZRDigiDelay* delay) {
  delay->mix = 1.0F;
  delay->modPosition = ZRDigiDelay::kNowhere;
}

TEST(ZRDigiDelay, StartsWithItsSettings) {
  ZRDigiDelay d(kRate);

  EXPECT_EQ(d.identifier, "digidelay");
  EXPECT_TRUE(d.parameters().empty());
  EXPECT_EQ(d.time, 0.1F);
  EXPECT_EQ(d.feedback, 0.25F);
  EXPECT_EQ(d.mix, 0.5F);
  EXPECT_EQ(d.spread, 0.0F);
  EXPECT_EQ(d.modAmount, 0.0F);
  EXPECT_EQ(d.modRate, 1.0F);
  EXPECT_EQ(d.modFeedback, 0.0F);
  EXPECT_EQ(d.modType, 0);
  EXPECT_EQ(d.modPosition, 1);
  EXPECT_FALSE(d.syncTempo);
  EXPECT_EQ(d.syncType, 0);
  EXPECT_FALSE(d.delayBypass);
  EXPECT_EQ(d.lowpass, 20000.0F);
  EXPECT_EQ(d.highpass, 10.0F);
  EXPECT_EQ(d.modBase, 0.005F);
  EXPECT_EQ(d.modDepth, 0.03F);
  EXPECT_EQ(d.delayLeft, 0.1F);
  EXPECT_EQ(d.delayRight, 0.1F);
  EXPECT_EQ(d.smoothedFeedback, 0.25F);
  EXPECT_EQ(d.smoothedAmount, 0.0F);
  EXPECT_EQ(d.phaseA, 0.0F);
  EXPECT_EQ(d.phaseB, 0.0F);
  EXPECT_EQ(d.lastLeft, 0.0F);
  EXPECT_EQ(d.lastRight, 0.0F);
  EXPECT_EQ(d.combLeft.size, 441000);
  EXPECT_EQ(d.combRight.size, 441000);
  EXPECT_EQ(d.modLeft.size, 220500);
  EXPECT_EQ(d.modRight.size, 220500);
  EXPECT_NEAR(std::pow(static_cast<double>(d.timeCoefficient), 22050.0), 0.01, 1e-4);
  EXPECT_NEAR(std::pow(static_cast<double>(d.amountCoefficient), 11025.0), 0.01, 1e-4);
  EXPECT_TRUE(d.preMod == nullptr);
  EXPECT_TRUE(d.filterStage == &ZRDigiDelay::doFilter);
  EXPECT_TRUE(d.delayStage == &ZRDigiDelay::doDelay);
  EXPECT_TRUE(d.postMod == &ZRDigiDelay::doMod);
}

TEST(ZRDigiDelay, EchoesAfterItsTimeWithTheFeedbackFromOneToTheNext) {
  ZRDigiDelay d(kRate);
  makeBare(&d);
  d.time = 100.0F;
  constexpr float kQuiet = 0.01F;  // far below saturation

  const Stereo out = runInBlocks(d, stereoImpulse(15000, kQuiet, -kQuiet), 64);

  EXPECT_EQ(energy({out.left.begin(), out.left.begin() + 4409}), 0.0);
  const int first = loudestFrame(out.left, 0, 8000);
  const int second = loudestFrame(out.left, 8000, 12000);
  EXPECT_NEAR(first, 4410, 1);
  EXPECT_NEAR(second, 8820, 1);
  const double ratio = energy({out.left.begin() + 8800, out.left.begin() + 9300}) /
                       energy({out.left.begin() + 4390, out.left.begin() + 4890});
  EXPECT_NEAR(std::sqrt(ratio), 0.25, 0.002);
  for (std::size_t i = 0; i < out.left.size(); ++i) ASSERT_EQ(out.right[i], -out.left[i]);
}

TEST(ZRDigiDelay, TheTimesGoToTheSpreadSettingsAsAHundredthInHalfASecond) {
  ZRDigiDelay d(kLowRate);
  makeBare(&d);
  d.time = 300.0F;
  d.spread = 1.0F;
  d.feedback = 0.75F;

  runInBlocks(d, Stereo(500), 64);

  EXPECT_NEAR(d.delayLeft, 0.35F - 0.01F * 0.25F, kFollowerError);
  EXPECT_NEAR(d.delayRight, 0.25F - 0.01F * 0.15F, kFollowerError);
  EXPECT_NEAR(d.smoothedFeedback, 0.75F - 0.01F * 0.5F, kFollowerError);
}

TEST(ZRDigiDelay, SynchronisedTimesArePowersOfTwoOfAPartOfABeat) {
  struct Case {
    float time;
    int syncType;
    float bpm;
    float expected;
  };
  for (const Case& c : {Case{2, 0, 120, 0.125F}, Case{2, 1, 120, 0.1875F}, Case{2, 2, 120, 1.0F / 12},
                        Case{3, 0, 60, 0.5F}, Case{0, 0, 60, 0.0625F}, Case{8, 0, 240, 4.0F},
                        Case{8.5F, 0, 120, 0.0625F}, Case{2, 0, 0, 0.125F}, Case{2, 0, -30, 0.125F}}) {
    SCOPED_TRACE(testing::Message() << c.time << " type " << c.syncType << " at " << c.bpm);
    ZRDigiDelay d(kLowRate);
    d.syncTempo = true;
    d.time = c.time;
    d.syncType = c.syncType;
    d.spread = 0.2F;

    runInBlocks(d, Stereo(4000), 64, c.bpm);

    EXPECT_NEAR(d.delayLeft, c.expected + 0.01F, kFollowerError);
    EXPECT_NEAR(d.delayRight, c.expected - 0.01F, kFollowerError);
    EXPECT_EQ(d.tempo, c.bpm);
  }
}

TEST(ZRDigiDelay, NowhereMeansNoModulationWhateverItsType) {
  const Stereo in = stereoNoise(3000, 3);
  ZRDigiDelay plain(kRate);
  plain.modPosition = ZRDigiDelay::kNowhere;
  const Stereo expected = runInBlocks(plain, in, 64);
  for (int type = 0; type < ZRDigiDelay::kModTypes; ++type) {
    ZRDigiDelay d(kRate);
    d.modPosition = ZRDigiDelay::kNowhere;
    d.modType = type;
    d.modAmount = 1.0F;

    const Stereo out = runInBlocks(d, in, 64);

    EXPECT_EQ(out.left, expected.left) << type;
    EXPECT_EQ(out.right, expected.right) << type;
    EXPECT_TRUE(d.preMod == nullptr);
    EXPECT_TRUE(d.postMod == nullptr);
  }
}

TEST(ZRDigiDelay, ThePositionPutsTheModulationBeforeOrBehind) {
  ZRDigiDelay d(kRate);

  d.modPosition = ZRDigiDelay::kBeforeDelay;
  runInBlocks(d, Stereo(1), 1);
  EXPECT_TRUE(d.preMod == &ZRDigiDelay::doMod);
  EXPECT_TRUE(d.postMod == nullptr);
  d.modPosition = ZRDigiDelay::kBehindDelay;
  runInBlocks(d, Stereo(1), 1);
  EXPECT_TRUE(d.preMod == nullptr);
  EXPECT_TRUE(d.postMod == &ZRDigiDelay::doMod);
}

TEST(ZRDigiDelay, TheFirstThreeModulationsSetTheirTimesAndTheOthersKeepThem) {
  ZRDigiDelay d(kRate);
  const auto expectTimes = [&d](int type, float base, float depth) {
    d.modType = type;
    runInBlocks(d, Stereo(1), 1);
    EXPECT_EQ(d.modBase, base) << type;
    EXPECT_EQ(d.modDepth, depth) << type;
  };

  expectTimes(1, 0.001F, 0.003F);
  expectTimes(3, 0.001F, 0.003F);
  expectTimes(2, 0.001F, 0.002F);
  expectTimes(4, 0.001F, 0.002F);
  expectTimes(0, 0.005F, 0.03F);
  expectTimes(5, 0.005F, 0.03F);
  expectTimes(6, 0.005F, 0.03F);
}

TEST(ZRDigiDelay, TheAmountFollowsAsAHundredthInAQuarterOfASecond) {
  ZRDigiDelay d(kLowRate);
  d.modAmount = 1.0F;

  runInBlocks(d, Stereo(250), 64);

  EXPECT_NEAR(d.smoothedAmount, 0.99F, kFollowerError);
  constexpr float kTwoPi = 6.2831853F;
  EXPECT_NEAR(d.phaseA, kTwoPi / 4, 1e-3F);
  EXPECT_NEAR(d.phaseB, kTwoPi / 4, 1e-3F);
}

TEST(ZRDigiDelay, APannedSignalSwingsAQuarterOfATurnApart) {
  ZRDigiDelay d(kLowRate);
  makeBare(&d);
  d.modPosition = ZRDigiDelay::kBehindDelay;
  d.modType = ZRDigiDelay::kAutoPan;
  d.modAmount = d.smoothedAmount = 1.0F;
  d.delayBypass = true;
  d.filterStage = nullptr;
  Stereo in(1000);
  for (auto* side : {&in.left, &in.right}) std::fill(side->begin(), side->end(), 0.5F);

  const Stereo out = runInBlocks(d, in, 64);

  constexpr float kPhaseError = 1e-3F;  // of a phase that adds up a thousand steps
  for (int i = 0; i < 1000; i += 50) {
    const float angle = 6.2831853F * static_cast<float>(i) / 1000.0F;
    EXPECT_NEAR(out.left[static_cast<std::size_t>(i)], 0.5F * std::sin(angle), kPhaseError);
    EXPECT_NEAR(out.right[static_cast<std::size_t>(i)], 0.5F * std::cos(angle), kPhaseError);
  }
}

TEST(ZRDigiDelay, AnUnknownModulationLetsTheSignalThrough) {
  const Stereo in = stereoNoise(3000, 3);
  ZRDigiDelay plain(kRate);
  plain.modPosition = ZRDigiDelay::kNowhere;
  const Stereo expected = runInBlocks(plain, in, 64);
  for (const int type : {-1, 7}) {
    ZRDigiDelay d(kRate);
    d.modType = type;

    EXPECT_EQ(runInBlocks(d, in, 64).left, expected.left) << type;
  }
}

TEST(ZRDigiDelay, TheFiltersAreThreeDecibelsDownAtTheirCutoffs) {
  for (const float rate : {44100.0F, 96000.0F}) {
    for (const bool isLow : {true, false}) {
      ZRDigiDelay d(rate);
      makeBare(&d);
      d.delayBypass = true;
      d.lowpass = isLow ? 1000.0F : 20000.0F;
      d.highpass = isLow ? 0.0F : 1000.0F;
      const auto second = static_cast<int>(rate);
      const Stereo out = runInBlocks(d, stereoSine(2 * second, 1000, static_cast<double>(rate)), 512);

      const double db = 10 * std::log10(energy({out.left.begin() + second, out.left.end()}) /
                                        (0.125 * static_cast<double>(second)));
      // The open low-pass at 20 kHz takes its own part of 1 kHz.
      const double t = std::tan(3.14159265358979 * 1000 / static_cast<double>(rate)) /
                       std::tan(3.14159265358979 * 20000 / static_cast<double>(rate));
      const double open = isLow ? 0.0 : -10 * std::log10(1 + t * t);
      EXPECT_NEAR(db, -3.0103 + open, kLevelError) << rate << (isLow ? " low" : " high");
      EXPECT_EQ(out.left, out.right);
    }
  }
}

TEST(ZRDigiDelay, WithTheDelayBypassedOnlyFiltersAreHeard) {
  ZRDigiDelay d(kRate);
  makeBare(&d);
  d.delayBypass = true;
  d.filterStage = nullptr;
  const Stereo in = stereoNoise(6000, 4);

  const Stereo out = runInBlocks(d, in, 64);

  EXPECT_EQ(out.left, in.left);
  EXPECT_EQ(out.right, in.right);
}

TEST(ZRDigiDelay, BypassLeavesTheOutputsAlone) {
  ZRDigiDelay d(kRate);
  d.bypass = 1.0F;
  const Stereo in = stereoNoise(64, 1);
  Stereo out(64);
  std::fill(out.left.begin(), out.left.end(), 0.25F);

  d.runEffect(in.left.data(), in.right.data(), out.left.data(), out.right.data(), 64, 120.0F);

  EXPECT_EQ(out.left, std::vector<float>(64, 0.25F));
  EXPECT_EQ(out.right, std::vector<float>(64, 0.0F));
}

TEST(ZRDigiDelay, ResetClearsTheEchoesAndPrepareTakesTheRate) {
  ZRDigiDelay d(kRate);
  makeBare(&d);
  d.filterStage = nullptr;
  d.feedback = 0.9F;
  const float coefficient = d.timeCoefficient;
  const Stereo in = stereoNoise(8000, 1);

  EXPECT_GT(energy(runInBlocks(d, in, 64).left), 1.0);
  d.reset();
  EXPECT_EQ(energy(runInBlocks(d, Stereo(8000), 64).left), 0.0);
  runInBlocks(d, in, 64);
  d.prepare(96000.0F, 333);

  EXPECT_EQ(energy(runInBlocks(d, Stereo(8000), 64).left), 0.0);
  EXPECT_EQ(d.sampleRate, 96000.0F);
  EXPECT_EQ(d.blockSize, 333);
  EXPECT_EQ(d.combRight.size, 960000);
  EXPECT_EQ(d.modLeft.size, 480000);
  EXPECT_EQ(d.timeCoefficient, coefficient);
}

TEST(ZRDigiDelay, BlocksOfAnySizeAndOneBufferGiveTheSame) {
  const Stereo in = stereoNoise(5000, 6);
  for (int type = 0; type < ZRDigiDelay::kModTypes; ++type) {
    const auto output = [&](int blockFrames) {
      ZRDigiDelay d(kRate);
      d.time = 20.0F;
      d.modType = type;
      d.modAmount = 0.7F;
      d.modFeedback = 0.4F;
      return runInBlocks(d, in, blockFrames);
    };
    const Stereo expected = output(4096);
    for (const int blockFrames : {1, 7, 64}) {
      const Stereo out = output(blockFrames);
      EXPECT_EQ(out.left, expected.left) << type << " " << blockFrames;
      EXPECT_EQ(out.right, expected.right) << type << " " << blockFrames;
    }
  }
  ZRDigiDelay apart(kRate);
  ZRDigiDelay together(kRate);
  Stereo same = in;
  same.right = same.left;
  EXPECT_EQ(runInOneBuffer(together, in.left, 64), runInBlocks(apart, same, 64).right);
}

TEST(ZRDigiDelay, WithoutInputASilentUnitStaysSilent) {
  ZRDigiDelay d(kRate);
  d.modAmount = 1.0F;

  const Stereo out = runInBlocks(d, Stereo(5000), 64);

  EXPECT_EQ(energy(out.left) + energy(out.right), 0.0);
}

}  // namespace
}  // namespace morv
