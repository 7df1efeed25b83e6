#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/ZRBasicChorus.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
constexpr std::uint64_t kSeed = 77;
// Other roundings of a phase move the read position of a line of this length by up to 1/256 of a sample.
constexpr double kPlainFormDb = -55.0;

// The chorus sample by sample: phases, followers and read positions are floats, as their rounding decides
// where a line is read.
class PlainChorus {
 public:
  explicit PlainChorus(float sampleRateHz) : rate(sampleRateHz), random(kSeed) {
    initUniComb(&lineL, static_cast<int>(rate));
    initUniComb(&lineR, static_cast<int>(rate));
    smoothing = static_cast<float>(std::exp(std::log(0.001) / (250.0 * 44100.0 * 0.001)));
    const double g = std::tan(std::numbers::pi * 100.0 / 44100.0);
    G = g / (1.0 + g);
  }

  Stereo run(const Stereo& in) {
    Stereo out(in.frames());
    for (std::size_t i = 0; i < in.left.size(); ++i) {
      run(in.left[i], in.right[i], &out.left[i], &out.right[i]);
    }
    return out;
  }

  float frequency = 0.25F;
  float spreadTarget = 0.75F;
  float amountTarget = 0.25F;
  float mixTarget = 0.5F;
  float inputVolume = 1;
  float outputVolume = 1;
  bool isNoise = false;
  bool isSend = false;

 private:
  static constexpr float kPi = std::numbers::pi_v<float>;

  void run(float inL, float inR, float* outL, float* outR) {
    phase1 += 2 * kPi * frequency / rate;
    if (phase1 >= 2 * kPi) {
      phase1 -= 2 * kPi;
      targetR = draw();
    }
    phase2 += 2 * kPi * (frequency + 0.5F * spread) / rate;
    if (phase2 >= 2 * kPi) {
      phase2 -= 2 * kPi;
      targetL = draw();
    }
    if (isNoise) {
      const auto c = static_cast<float>(
          std::exp(std::log(0.001) / ((10.1 - static_cast<double>(frequency)) * 44100.0 + 1.0)));
      noiseL = c * (noiseL - targetL) + targetL;
      noiseR = c * (noiseR - targetR) + targetR;
    }
    spread = smoothing * (spread - spreadTarget) + spreadTarget;
    amount = smoothing * (amount - amountTarget) + amountTarget;
    mix = smoothing * (mix - mixTarget) + mixTarget;
    const float l = chorus(&lineL, inL * inputVolume, -spread, noiseL);
    const float r = chorus(&lineR, inR * inputVolume, spread, noiseR);
    const float wetL = (l + 0.3F * highpass(&zL, -r)) * outputVolume;
    const float wetR = (r + 0.3F * highpass(&zR, -l)) * outputVolume;
    const float dry = isSend ? 1.0F : 1.0F - mix;
    *outL = dry * inL + mix * wetL;
    *outR = dry * inR + mix * wetR;
  }

  float draw() { return static_cast<float>(2.0 * random.unitDouble() - 1.0); }

  float chorus(uniComb* line, float in, float side, float noise) const {
    const float s = (std::sin(phase1 + side * kPi / 2) + 1) / 2;
    const float d = std::abs(0.005F * (3 * amount * noise + 1 - amount * s));
    return runUniComb(line, in, 0.005F + d, 1, 0, 0.75F, rate);
  }

  float highpass(double* z, float in) const {
    const double v = (static_cast<double>(in) - *z) * G;
    const double y = v + *z;
    *z = y + v;
    return static_cast<float>(static_cast<double>(in) - y);
  }

  float rate;
  uniComb lineL, lineR;
  Random random;
  float smoothing = 0, mix = 0.5F, spread = 75, amount = 0;
  float phase1 = 0, phase2 = 0, targetL = 0, targetR = 0, noiseL = 0, noiseR = 0;
  double G = 0, zL = 0, zR = 0;
};

std::unique_ptr<ZRBasicChorus> preparedChorus(float rateHz = kRate) {
  auto chorus = std::make_unique<ZRBasicChorus>(rateHz);
  chorus->setRandomSeed(kSeed);
  chorus->prepare(rateHz, 512);
  return chorus;
}

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

TEST(ZRBasicChorus, ImpulseComesBackAtTheDelayOfEachSide) {
  const auto chorus = preparedChorus();
  chorus->chorusModAmount = 0.0F;
  chorus->mix = 100.0F;
  chorus->prepare(kRate, 64);

  const Stereo out = runInBlocks(*chorus, stereoImpulse(1000, 0.5F, 0.0F), 64);

  // Without swing both delays are 10 ms: 441 samples.
  EXPECT_NEAR(out.left[0], std::tanh(0.475F), 1e-6F);
  EXPECT_NEAR(out.left[441], std::tanh(0.75F * 0.475F), 2e-3F);
  EXPECT_LT(std::abs(out.left[430]), 0.01F);
  EXPECT_LT(out.right[441], -0.05F);  // the cross-feed, turned round
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

TEST(ZRBasicChorus, WorksInPlaceAndOnOneBufferForBothSides) {
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
