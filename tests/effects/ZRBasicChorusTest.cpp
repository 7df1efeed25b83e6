#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/ZRBasicChorus.h"
#include "tests/effects/EffectTesting.h"
#include "tests/effects/PlainChorus.h"

namespace morv {
namespace {

TEST(ZRBasicChorus, HasItsParametersInOrder) {
  ZRBasicChorus chorus(kRate);
  using U = ZRDSPParameterUnit;

  expectParameters(chorus, {{"chorusBypass", "Bypass", 0, 1, 0, U::boolean},
                            {"chorusMix", "Chorus Mix", 0, 100, 50, U::percent, {"DRY", "WET"}},
                            {"chorusSpread", "Spread", 0, 100, 75, U::percent},
                            {"chorusModFreq", "Mod Freq", 0.1F, 5, 0.25F, U::hertz},
                            {"chorusModAmount", "Mod Amount", 0, 100, 25, U::percent},
                            {"modShape", "Mod Shape", 0, 1, 0, U::generic, {"SINE", "NOISE"}},
                            {"inputVolume", "Input Volume", 0, 100, 100, U::percent, {"DRY", "WET"}},
                            {"outputVolume", "Output Volume", 0, 100, 100, U::percent, {"DRY", "WET"}}});
  EXPECT_EQ(chorus.identifier, "vachorus");
  EXPECT_EQ(chorus.name, "Chorus");
}

TEST(ZRBasicChorus, PrepareBuildsOneSecondLinesAndStartsTheFollowers) {
  ZRBasicChorus chorus(kRate);
  chorus.chorusSpread = 40.0F;
  chorus.mix = 30.0F;

  chorus.prepare(48000.0F, 128);

  EXPECT_EQ(chorus.delayL.size, 48000);
  EXPECT_EQ(chorus.delayR.size, 48000);
  EXPECT_EQ(chorus.delayL.linear, 0);
  EXPECT_EQ(chorus.smoothed.spread, 40.0F);
  EXPECT_EQ(chorus.smoothed.amount, 0.0F);
  EXPECT_FLOAT_EQ(chorus.smoothed.mix, 0.3F);
  // To -60 dB in 250 ms.
  EXPECT_NEAR(std::pow(static_cast<double>(chorus.smoothing), 12000.0), 0.001, 1e-5);
  const double g = std::tan(std::numbers::pi * 100.0 / 48000.0);
  EXPECT_NEAR(chorus.crossL.G, g / (1 + g), 1e-7);
  EXPECT_EQ(chorus.crossR.G, chorus.crossL.G);
  EXPECT_FALSE(chorus.tempoSync);
  EXPECT_FALSE(chorus.preFilter);
}

TEST(ZRBasicChorus, LeavesItsOutputsAloneWhileBypassed) {
  const auto chorus = preparedChorus();
  chorus->bypass = 1.0F;
  const float in[2] = {0.5F, 0.5F};
  float left[2] = {0.1F, 0.2F};
  float right[2] = {0.3F, 0.4F};

  chorus->runEffect(in, in, left, right, 2, 120.0F);

  EXPECT_EQ(left[1], 0.2F);
  EXPECT_EQ(right[0], 0.3F);
  EXPECT_EQ(chorus->phase1, 0.0F);
}

TEST(ZRBasicChorus, SwingsBySineAsThePlainForm) {
  const Stereo in = stereoNoise(90000, 5);
  const auto chorus = preparedChorus();
  PlainChorus plain(kRate);

  const Stereo out = runInBlocks(*chorus, in, 64);

  EXPECT_LT(differenceDb(plain.run(in), out), kPlainFormDb);
}

TEST(ZRBasicChorus, GlidesByNoiseAsThePlainForm) {
  const Stereo in = stereoNoise(90000, 6);
  const auto chorus = preparedChorus();
  chorus->modShape = 1.0F;
  chorus->chorusModFreq = 5.0F;
  chorus->chorusModAmount = 100.0F;
  PlainChorus plain(kRate);
  plain.isNoise = true;
  plain.frequency = 5.0F;
  plain.amountTarget = 1;

  const Stereo out = runInBlocks(*chorus, in, 100);

  EXPECT_LT(differenceDb(plain.run(in), out), kPlainFormDb);
  EXPECT_NE(chorus->noiseL, 0.0F);
}

TEST(ZRBasicChorus, TakesItsVolumesMixAndSpreadAsFractions) {
  const Stereo in = stereoNoise(60000, 7);
  const auto chorus = preparedChorus();
  chorus->inputVolume = 80.0F;
  chorus->outputVolume = 60.0F;
  chorus->mix = 90.0F;
  chorus->chorusSpread = 10.0F;
  PlainChorus plain(kRate);
  plain.inputVolume = 0.8F;
  plain.outputVolume = 0.6F;
  plain.mixTarget = 0.9F;
  plain.spreadTarget = 0.1F;

  const Stereo out = runInBlocks(*chorus, in, 512);

  EXPECT_LT(differenceDb(plain.run(in), out), kPlainFormDb);
}

TEST(ZRBasicChorus, AsASendAddsWetToDry) {
  const Stereo in = stereoNoise(30000, 8);
  const auto chorus = preparedChorus();
  chorus->routing = 1;
  PlainChorus plain(kRate);
  plain.isSend = true;

  const Stereo out = runInBlocks(*chorus, in, 64);

  EXPECT_LT(differenceDb(plain.run(in), out), kPlainFormDb);
}

TEST(ZRBasicChorus, NeverLetsMoreThanItsTangentThrough) {
  const auto chorus = preparedChorus();
  chorus->mix = 100.0F;
  chorus->prepare(kRate, 64);
  Stereo in(20000);
  std::fill(in.left.begin(), in.left.end(), 100.0F);
  std::fill(in.right.begin(), in.right.end(), 100.0F);

  const Stereo out = runInBlocks(*chorus, in, 64);

  EXPECT_LE(peakOf(out.left), 1.31F);  // tanh of each side and 0.3 of the other
  EXPECT_GE(peakOf(out.left), 0.99F);
}

TEST(ZRBasicChorus, ModShapeGoesByItsRoundedValue) {
  for (const float shape : {0.49F, 0.5F, 1.49F, 1.5F}) {
    const auto chorus = preparedChorus();
    chorus->modShape = shape;
    chorus->chorusModFreq = 5.0F;
    runInBlocks(*chorus, stereoNoise(20000, 9), 64);

    const bool isNoise = shape >= 0.5F && shape < 1.5F;
    EXPECT_EQ(chorus->noiseL != 0.0F, isNoise) << shape;
  }
}

TEST(ZRBasicChorus, NoiseStaysWhereItWasOnceTheShapeIsSineAgain) {
  const auto chorus = preparedChorus();
  chorus->modShape = 1.0F;
  chorus->chorusModFreq = 5.0F;
  runInBlocks(*chorus, stereoNoise(20000, 9), 64);
  const float left = chorus->noiseL;
  chorus->modShape = 0.0F;

  runInBlocks(*chorus, stereoNoise(20000, 9), 64);

  EXPECT_NE(left, 0.0F);
  EXPECT_EQ(chorus->noiseL, left);
}

TEST(ZRBasicChorus, TempoSyncTakesOneSwingABar) {
  const auto chorus = preparedChorus();
  chorus->tempoSync = true;

  runInBlocks(*chorus, stereoNoise(22050, 9), 64, 240.0F);

  // A bar at 240 is one second; half a second is half a turn.
  EXPECT_NEAR(chorus->phase1, std::numbers::pi_v<float>, 0.01F);
}

TEST(ZRBasicChorus, GivesTheSameForEveryBlockSize) {
  const Stereo in = stereoNoise(9000, 10);
  const auto reference = preparedChorus();
  const Stereo expected = runInBlocks(*reference, in, 64);
  for (const int block : {1, 7, 63, 65, 4096}) {
    const auto chorus = preparedChorus();
    EXPECT_LT(differenceDb(expected, runInBlocks(*chorus, in, block)), -120.0) << block;
  }
}

TEST(ZRBasicChorus, WorksInPlace) {
  const Stereo in = stereoNoise(640, 11);
  const auto apart = preparedChorus();
  const auto inPlace = preparedChorus();
  const Stereo expected = runInBlocks(*apart, in, 640);
  Stereo s = in;

  inPlace->runEffect(s.left.data(), s.right.data(), s.left.data(), s.right.data(), 640, 120.0F);

  EXPECT_EQ(s.left, expected.left);
  EXPECT_EQ(s.right, expected.right);
}

TEST(ZRBasicChorus, ResetDoesNothing) {
  const Stereo in = stereoNoise(3000, 12);
  const auto one = preparedChorus();
  const auto other = preparedChorus();
  runInBlocks(*one, in, 64);
  runInBlocks(*other, in, 64);

  other->reset();

  const Stereo expected = runInBlocks(*one, in, 64);
  const Stereo out = runInBlocks(*other, in, 64);
  EXPECT_EQ(out.left, expected.left);
  EXPECT_EQ(out.right, expected.right);
}

TEST(ZRBasicChorus, StaysFiniteAtTheExtremesOfItsSettings) {
  for (const float rate : {8000.0F, 44100.0F, 192000.0F}) {
    for (const float frequency : {0.0F, 0.1F, 5.0F, 10.1F, 10.2F, 1000.0F}) {
      for (const float shape : {0.0F, 1.0F}) {
        const auto chorus = preparedChorus(rate);
        chorus->chorusModFreq = frequency;
        chorus->chorusModAmount = 100.0F;
        chorus->modShape = shape;
        const Stereo out = runInBlocks(*chorus, stereoNoise(20000, 13, 1.0F), 64);
        EXPECT_TRUE(isFinite(out)) << rate << " " << frequency << " " << shape;
        EXPECT_LT(peakOf(out.left), 2.0F);
      }
    }
  }
}

}  // namespace
}  // namespace morv
