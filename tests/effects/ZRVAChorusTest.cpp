#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

#include "effects/ZRVAChorus.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 48000.0F;
constexpr double kPi = std::numbers::pi;
constexpr int kThrough = 9;  // a program that has no lines
constexpr float kVolumes = 0.75F * 0.75F;

// All wet, in the given program; the lines stand still.
std::unique_ptr<ZRVAChorus> wetChorus(int program, float rateHz = kRate) {
  auto chorus = std::make_unique<ZRVAChorus>(rateHz);
  chorus->program = static_cast<float>(program);
  chorus->mix = 100.0F;
  chorus->modAmount = 0.0F;
  chorus->modRouting = 1.0F;
  chorus->prepare(rateHz, 512);
  return chorus;
}

int loudestFrame(const std::vector<float>& x) {
  const auto louder = [](float a, float b) { return std::abs(a) < std::abs(b); };
  return static_cast<int>(std::max_element(x.begin(), x.end(), louder) - x.begin());
}

std::vector<float> secondHalf(const std::vector<float>& x) {
  return {x.begin() + static_cast<std::ptrdiff_t>(x.size() / 2), x.end()};
}

// Level of a frequency at the end of the chorus's answer to it, in dB.
double levelDbAt(ZRVAChorus* chorus, double frequencyHz) {
  const std::vector<float> x =
      secondHalf(runInBlocks(*chorus, stereoSine(24000, frequencyHz, 48000), 512).left);
  double re = 0;
  double im = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double angle = 2 * kPi * frequencyHz * static_cast<double>(i) / 48000;
    re += static_cast<double>(x[i]) * std::cos(angle);
    im += static_cast<double>(x[i]) * std::sin(angle);
  }
  return 20 * std::log10(2 * std::hypot(re, im) / static_cast<double>(x.size()));
}

// Gain for a sine that has settled, in dB.
double gainDb(ZRVAChorus* chorus, double frequencyHz) {
  const Stereo in = stereoSine(24000, frequencyHz, 48000);
  const Stereo out = runInBlocks(*chorus, in, 512);
  return 10 * std::log10(energy(secondHalf(out.left)) / energy(secondHalf(in.left)));
}

TEST(ZRVAChorus, HasItsParametersInOrder) {
  ZRVAChorus chorus(kRate);
  using U = ZRDSPParameterUnit;

  expectParameters(chorus,
                   {{"program", "Program", 0, 2, 1, U::indexed, {"Analog", "Digital", "VintageDigital"}},
                    {"chorusBypass", "Bypass", 0, 1, 0, U::boolean},
                    {"chorusMix", "Chorus Mix", 0, 100, 50, U::percent, {"DRY", "WET"}},
                    {"spread", "Spread", 0, 100, 50, U::percent},
                    {"modFreq", "Mod Freq", 0.1F, 5, 0.25F, U::hertz},
                    {"modAmount", "Mod Amount", 0, 100, 25, U::percent},
                    {"modShape", "Mod Shape", 0, 1, 0, U::generic, {"SINE", "NOISE"}},
                    {"modRouting", "Mod Routing", 0, 1, 0, U::generic, {"SERIAL", "PARALLEL"}},
                    {"numStages", "Stages", 0, 2, 0, U::indexed, {"1", "2", "3"}},
                    {"shape", "Shape", -1, 1, 0, U::generic},
                    {"animate", "Animate", 0, 1, 0, U::generic},
                    {"minDelay", "Min Delay", 0, 150, 25, U::milliseconds},
                    {"inGainLow", "Low Gain", 0, 1, 1, U::generic},
                    {"inGainMid", "Mid Gain", 0, 1, 1, U::generic},
                    {"inGainHigh", "High Gain", 0, 1, 1, U::generic},
                    {"lowShelf", "Low Shelf", -6, 6, 0, U::decibels},
                    {"highShelf", "High Shelf", -6, 6, 0, U::decibels},
                    {"inputVolume", "Input Volume", 0, 100, 75, U::percent, {"DRY", "WET"}},
                    {"outputVolume", "Output Volume", 0, 100, 75, U::percent, {"DRY", "WET"}}});
  EXPECT_EQ(chorus.identifier, "vachorus");
  EXPECT_EQ(chorus.name, "Chorus");
  EXPECT_EQ(chorus.feedback.value, 0.0F);
  EXPECT_EQ(chorus.feedback.normalizedValue(), 0.0F);
  EXPECT_EQ(chorus.bitDepth.value, 12.0F);
}

TEST(ZRVAChorus, PreparesLinesOfOneSecondAndFollowersAtTheirStart) {
  ZRVAChorus chorus(44100.0F);
  runInBlocks(chorus, stereoNoise(3000, 1), 512);
  chorus.spread = 30.0F;
  chorus.mix = 80.0F;

  chorus.prepare(kRate, 64);

  for (std::size_t channel = 0; channel < 2; ++channel) {
    for (std::size_t stage = 0; stage < 3; ++stage) {
      EXPECT_EQ(chorus.lines[channel][stage].size, 48000);
      EXPECT_EQ(chorus.lines[channel][stage].stages, 512);
      EXPECT_EQ(chorus.lines[channel][stage].sampleRate, kRate);
      EXPECT_EQ(chorus.combs[channel][stage].size, 48000);
      EXPECT_EQ(chorus.combs[channel][stage].linear, 0);
    }
    EXPECT_EQ(chorus.shelves[channel].size, 48000);
    EXPECT_EQ(chorus.halfbands[channel].length, 113);
    EXPECT_EQ(chorus.halfbands[channel].coefficients, chorus.halfbandCoefficients.data());
  }
  EXPECT_TRUE(std::equal(BChorus, BChorus + BLChorus, chorus.halfbandCoefficients.begin()));
  EXPECT_EQ(chorus.split5kLeft.cutoff, 5000.0F);
  EXPECT_EQ(chorus.split5kRight.cutoff, 5000.0F);
  EXPECT_EQ(chorus.split1kLeft.cutoff, 1000.0F);
  EXPECT_EQ(chorus.split1kRight.cutoff, 1000.0F);
  const double g = std::tan(kPi * 1000 / 48000);
  EXPECT_NEAR(static_cast<double>(chorus.split1kLeft.G), g / (1 + g), 1e-6);
  for (std::size_t stage = 0; stage < 3; ++stage) {
    EXPECT_EQ(chorus.phaseA[stage], 0.0F);
    EXPECT_EQ(chorus.phaseB[stage], 0.0F);
  }
  EXPECT_EQ(chorus.noiseLeft, 0.0F);
  EXPECT_EQ(chorus.noiseTargetRight, 0.0F);
  EXPECT_EQ(chorus.smoothedDepth, 0.0F);
  EXPECT_EQ(chorus.smoothedSpread, 30.0F);
  EXPECT_EQ(chorus.smoothedMix, 0.8F);
  EXPECT_FALSE(chorus.tempoSynced);
  // To a thousandth in a quarter of a second; a coefficient this near to 1 holds that to some thousandths.
  EXPECT_NEAR(std::pow(static_cast<double>(chorus.smoothing), 12000.0), 0.001, 1e-5);
}

TEST(ZRVAChorus, PreparedAgainSoundsAsFresh) {
  const Stereo in = stereoNoise(6000, 2);
  ZRVAChorus used(kRate);
  ZRVAChorus fresh(kRate);
  for (ZRVAChorus* chorus : {&used, &fresh}) chorus->program = 0.0F;
  runInBlocks(used, in, 512);

  used.prepare(kRate, 512);

  EXPECT_EQ(runInBlocks(used, in, 512).left, runInBlocks(fresh, in, 512).left);
}

TEST(ZRVAChorus, ResetDoesNothing) {
  const Stereo in = stereoNoise(3000, 2);
  ZRVAChorus one(kRate);
  ZRVAChorus other(kRate);
  runInBlocks(one, in, 512);
  runInBlocks(other, in, 512);

  one.reset();

  EXPECT_EQ(runInBlocks(one, in, 512).left, runInBlocks(other, in, 512).left);
}

TEST(ZRVAChorus, BypassedLeavesItsOutputs) {
  ZRVAChorus chorus(kRate);
  chorus.bypass = 1.0F;
  const std::vector<float> in(64, 0.5F);
  std::vector<float> left(64, 0.25F);
  std::vector<float> right(64, -3.0F);

  chorus.runEffect(in.data(), in.data(), left.data(), right.data(), 64, 120.0F);

  EXPECT_EQ(left, std::vector<float>(64, 0.25F));
  EXPECT_EQ(right, std::vector<float>(64, -3.0F));
  EXPECT_EQ(chorus.phaseA[0], 0.0F);
}

TEST(ZRVAChorus, ItsGreatestLeastDelayIsFifteenMilliseconds) {
  for (const float rate : {kRate, 96000.0F}) {
    for (const int program : {1, 2}) {
      const auto chorus = wetChorus(program, rate);
      chorus->minDelay = 150.0F;

      const Stereo out = runInBlocks(*chorus, stereoImpulse(8000, 0.5F, 0.5F), 512);

      // The vintage filter is 56 frames long to its middle.
      EXPECT_EQ(loudestFrame(out.left), static_cast<int>(0.015F * rate) + (program == 2 ? 56 : 0));
      EXPECT_EQ(out.left, out.right);
      // Two poles side by side take nothing: the bands of the split add up.
      if (program == 1) {
        EXPECT_NEAR(peakOf(out.left), 0.75F * std::tanh(0.95F * 0.375F), 1e-3F);
      }
    }
  }
}

TEST(ZRVAChorus, StagesInSeriesAddTheirDelays) {
  const auto chorus = wetChorus(1);
  chorus->modRouting = 0.0F;
  chorus->numStages = 2.0F;
  chorus->minDelay = 50.0F;

  const Stereo out = runInBlocks(*chorus, stereoImpulse(2000, 0.5F, 0.5F), 512);

  EXPECT_EQ(loudestFrame(out.left), 3 * 240);
}

TEST(ZRVAChorus, ParallelStagesAreTheirMean) {
  const Stereo in = stereoNoise(4000, 7);
  for (const int program : {0, 1}) {
    const auto one = wetChorus(program);
    const auto three = wetChorus(program);
    three->numStages = 2.0F;

    // The bucket-brigade lines' noise differs.
    EXPECT_LT(differenceDb(runInBlocks(*one, in, 512), runInBlocks(*three, in, 512)),
              program == 0 ? -45.0 : -120.0);
  }
}

TEST(ZRVAChorus, TheSecondAnalogueFormAddsItsStages) {
  const Stereo in = stereoNoise(4000, 7);
  const auto one = wetChorus(3);
  const auto three = wetChorus(3);
  three->numStages = 2.0F;
  Stereo expected = runInBlocks(*one, in, 512);
  for (auto* side : {&expected.left, &expected.right}) {
    for (float& v : *side) v *= 3.0F;
  }

  EXPECT_LT(differenceDb(expected, runInBlocks(*three, in, 512)), -45.0);
}

TEST(ZRVAChorus, ARoutingBetweenItsValuesIsNeither) {
  const Stereo in = stereoNoise(4000, 7);
  const auto serial = wetChorus(1);
  serial->modRouting = 0.3F;
  EXPECT_EQ(energy(runInBlocks(*serial, in, 512).left), 0.0);
  const auto beyond = wetChorus(1);
  beyond->modRouting = 2.0F;
  EXPECT_EQ(energy(runInBlocks(*beyond, in, 512).left), 0.0);

  const auto sum = wetChorus(1);
  sum->modRouting = 0.7F;
  sum->numStages = 1.0F;
  Stereo expected = runInBlocks(*wetChorus(1), in, 512);
  for (auto* side : {&expected.left, &expected.right}) {
    for (float& v : *side) v *= 2.0F;
  }
  EXPECT_LT(differenceDb(expected, runInBlocks(*sum, in, 512)), -120.0);
}

TEST(ZRVAChorus, WithoutAnimationAndShapeTheSidesStayApart) {
  const auto chorus = wetChorus(1);
  Stereo in = stereoNoise(4000, 7);
  std::fill(in.right.begin(), in.right.end(), 0.0F);

  const Stereo out = runInBlocks(*chorus, in, 512);

  EXPECT_GT(energy(out.left), 1.0);
  EXPECT_EQ(energy(out.right), 0.0);
}

TEST(ZRVAChorus, TheShapeFeedsHalfOfTheOtherSideTurnedRound) {
  const auto chorus = wetChorus(kThrough);
  chorus->shape = 1.0F;
  Stereo in = stereoSine(24000, 4000, 48000);
  std::fill(in.right.begin(), in.right.end(), 0.0F);

  const Stereo out = runInBlocks(*chorus, in, 512);

  // 4 kHz lies far above the filter's 10 Hz.
  for (std::size_t i = 12000; i < 24000; ++i) {
    ASSERT_NEAR(out.right[i], -0.5F * kVolumes * in.left[i], 2e-3F);
    ASSERT_NEAR(out.left[i], kVolumes * in.left[i], 1e-5F);
  }
}

TEST(ZRVAChorus, TheAnimationsCutoffStopsAtZero) {
  const auto chorus = wetChorus(kThrough);
  chorus->animate = 1.0F;
  chorus->modFreq = 2.0F;
  float least = 1000.0F;
  float greatest = 0.0F;
  for (int i = 0; i < 500; ++i) {
    EXPECT_TRUE(isFinite(runInBlocks(*chorus, stereoNoise(64, 3), 64)));
    least = std::min({least, chorus->animateLeft.cutoff, chorus->animateRight.cutoff});
    greatest = std::max({greatest, chorus->animateLeft.cutoff, chorus->animateRight.cutoff});
  }

  EXPECT_EQ(least, 0.0F);
  EXPECT_NEAR(greatest, 110.0F, 0.5F);
}

TEST(ZRVAChorus, ShelvesAtZeroPassTheSignal) {
  const auto chorus = wetChorus(kThrough);
  const Stereo in = stereoNoise(4000, 7);

  const Stereo out = runInBlocks(*chorus, in, 512);

  for (std::size_t i = 0; i < 4000; ++i) ASSERT_NEAR(out.left[i], kVolumes * in.left[i], 1e-6F);
}

TEST(ZRVAChorus, BothShelvesRunThroughOneSampleOfMemory) {
  for (const double lowDb : {-6.0, 0.0, 4.0}) {
    for (const double highDb : {-5.0, 6.0}) {
      const auto chorus = wetChorus(kThrough);
      chorus->lowShelf = static_cast<float>(lowDb);
      chorus->highShelf = static_cast<float>(highDb);
      const Stereo in = stereoNoise(4000, 7);

      const Stereo out = runInBlocks(*chorus, in, 512);

      const double v[] = {std::pow(10, lowDb / 20), std::pow(10, highDb / 20)};
      const double t[] = {std::tan(kPi * 250 / 48000), std::tan(kPi * 4500 / 48000 / 2)};
      const double a[] = {lowDb > 0 ? (t[0] - 1) / (t[0] + 1) : (t[0] - v[0]) / (t[0] + v[0]),
                          (t[1] - 1) / (t[1] + 1)};
      double memory = 0;
      std::vector<float> expected;
      for (const float sample : in.left) {
        double x = 0.75 * static_cast<double>(sample);
        for (int shelf = 0; shelf < 2; ++shelf) {
          const double y = memory - a[shelf] * x;
          memory = x + a[shelf] * y;
          x += (y + x) * (v[shelf] - 1) / 2;
        }
        expected.push_back(static_cast<float>(0.75 * x));
      }
      EXPECT_LT(differenceDb(expected, out.left), -100.0) << lowDb << " " << highDb;
    }
  }
}

// Both shelves step their line of a second, so it ends twice in one; where it was read a hair more than a
// sample back, the sine clicked there.
TEST(ZRVAChorus, TheShelvesPassOverTheEndOfTheirLine) {
  constexpr double kRounding = 1e-6;  // of floats near 1
  const auto bends = [](const std::vector<float>& x, std::size_t from, std::size_t to) {
    double greatest = 0;
    for (std::size_t i = from; i < to; ++i) {
      const double bend = static_cast<double>(x[i + 1]) - 2 * static_cast<double>(x[i]);
      greatest = std::max(greatest, std::abs(bend + static_cast<double>(x[i - 1])));
    }
    return greatest;
  };
  for (const float rate : {8000.0F, 16000.0F, 32000.0F, 48000.0F, 64000.0F}) {
    for (const bool isLow : {true, false}) {
      const auto chorus = wetChorus(kThrough, rate);
      (isLow ? chorus->lowShelf : chorus->highShelf) = 6.0F;
      const auto tenth = static_cast<std::size_t>(rate) / 10;
      const auto frames = static_cast<int>(2.2F * rate);

      const Stereo out = runInBlocks(*chorus, stereoSine(frames, 100.0, static_cast<double>(rate)), 64);

      for (const std::vector<float>* side : {&out.left, &out.right}) {
        const double usual = bends(*side, 2 * tenth, 4 * tenth);
        EXPECT_LT(bends(*side, 4 * tenth, side->size() - 1), 1.01 * usual + kRounding) << rate << isLow;
      }
    }
  }
}

TEST(ZRVAChorus, TheLowShelfStopsAtTheTopOfItsRange) {
  const Stereo in = stereoNoise(48000, 7);
  for (const float rate : {8000.0F, 48000.0F, 192000.0F}) {
    const auto atItsTop = wetChorus(kThrough, rate);
    const auto beyond = wetChorus(kThrough, rate);
    atItsTop->lowShelf = 6.0F;
    beyond->lowShelf = 60.0F;
    const Stereo expected = runInBlocks(*atItsTop, in, 512);

    EXPECT_LT(peakOf(expected.left), 4.0F);
    EXPECT_EQ(runInBlocks(*beyond, in, 512).left, expected.left);
  }
}

TEST(ZRVAChorus, TheInputIsSplitAtOneAndFiveKilohertz) {
  constexpr double kVolumesDb = -4.99775;
  const auto poleDb = [](double f, double cutoff) {
    const double ratio = std::tan(kPi * f / 48000) / std::tan(kPi * cutoff / 48000);
    return -10 * std::log10(1 + ratio * ratio);
  };
  for (const double f : {300.0, 1000.0, 5000.0, 15000.0}) {
    const auto withoutHigh = wetChorus(kThrough);
    withoutHigh->inGainHigh = 0.0F;
    EXPECT_NEAR(gainDb(withoutHigh.get(), f) - kVolumesDb, poleDb(f, 5000), 0.01) << f;
    const auto low = wetChorus(kThrough);
    low->inGainHigh = 0.0F;
    low->inGainMid = 0.0F;
    EXPECT_NEAR(gainDb(low.get(), f) - kVolumesDb, poleDb(f, 5000) + poleDb(f, 1000), 0.01) << f;
    const auto high = wetChorus(kThrough);
    high->inGainLow = 0.0F;
    high->inGainMid = 0.0F;
    const double ratio = std::tan(kPi * 5000 / 48000) / std::tan(kPi * f / 48000);
    EXPECT_NEAR(gainDb(high.get(), f) - kVolumesDb, -10 * std::log10(1 + ratio * ratio), 0.01) << f;
  }
}

TEST(ZRVAChorus, VintageDigitalLosesTheUpperHalfOfItsBand) {
  for (const double f : {1000.0, 9000.0}) {
    EXPECT_NEAR(levelDbAt(wetChorus(2).get(), f), levelDbAt(wetChorus(1).get(), f), 0.1) << f;
  }
  EXPECT_LT(levelDbAt(wetChorus(2).get(), 14000.0) - levelDbAt(wetChorus(1).get(), 14000.0), -55.0);
}

TEST(ZRVAChorus, VintageDigitalRoundsToItsGrid) {
  // 3 steps a unit: (0.75 x 0.4 + 1) x 3 = 3.9 goes to 4, a third; (0.75 x 0.2 + 1) x 3 = 3.45 to 3, none.
  const auto chorus = wetChorus(2);
  chorus->bitDepth = 2.0F;
  Stereo in(4000);
  std::fill(in.left.begin(), in.left.end(), 0.4F);
  std::fill(in.right.begin(), in.right.end(), 0.2F);

  const Stereo out = runInBlocks(*chorus, in, 512);

  EXPECT_NEAR(out.left.back(), 0.75F * std::tanh(0.95F / 3) * 0.99914F, 1e-4F);
  EXPECT_NEAR(out.right.back(), 0.0F, 1e-6F);
}

TEST(ZRVAChorus, AGridOfNoBitsHasOneStepAUnit) {
  for (const float bits : {0.0F, -5.0F, std::nanf(""), 2000.0F}) {
    const auto chorus = wetChorus(2);
    chorus->bitDepth = bits;
    EXPECT_TRUE(isFinite(runInBlocks(*chorus, stereoNoise(2000, 1, 1.0F), 512))) << bits;
  }
}

TEST(ZRVAChorus, TheBucketBrigadeHissesAtItsLevel) {
  const auto chorus = wetChorus(0);
  chorus->minDelay = 100.0F;  // 480 frames

  const Stereo out = runInBlocks(*chorus, Stereo(48000), 512);

  // Evenly spread noise 70 dB below 1, 1.125 of it through the output filter, whose gain for white noise is
  // the energy of its impulse response.
  double d1 = 0, d2 = 0, e1 = 0;
  double power = 0;
  for (int i = 0; i < 500; ++i) {
    const double w = (i == 0 ? 0.1802950360421434 : 0.0) + 0.6693926343017952 * d1 - 0.390572778470369 * d2;
    const double y = w + 2 * d1 + d2;
    d2 = d1;
    d1 = w;
    const double v = 0.37173571487665386 * y + 0.2565285702466924 * e1;
    power += (v + e1) * (v + e1);
    e1 = v;
  }
  const double expectedDb = -70 + 10 * std::log10(1.125 * 1.125 / 3 * power) + 20 * std::log10(0.75);
  const std::vector<float> hiss = secondHalf(out.left);
  EXPECT_NEAR(10 * std::log10(energy(hiss) / static_cast<double>(hiss.size())), expectedDb, 1.0);
}

TEST(ZRVAChorus, EachStageSwingsFasterAndTheTempoMaySetThePace) {
  for (const bool isSynced : {false, true}) {
    ZRVAChorus chorus(kRate);
    chorus.modFreq = 2.0F;
    chorus.spread = 0.0F;
    chorus.prepare(kRate, 512);
    chorus.tempoSynced = isSynced;

    runInBlocks(chorus, Stereo(4800), 512, 120.0F);

    // A bar of four beats at 120 lasts two seconds.
    const double hz = isSynced ? 0.5 : 2.0;
    for (std::size_t stage = 0; stage < 3; ++stage) {
      const double expected = 2 * kPi * (hz + 0.05 * static_cast<double>(stage)) * 0.1;
      EXPECT_NEAR(static_cast<double>(chorus.phaseA[stage]), expected, 1e-4);
      EXPECT_NEAR(static_cast<double>(chorus.phaseB[stage]), expected, 1e-4);
    }
  }
}

TEST(ZRVAChorus, APhaseThatComesRoundDrawsTheOtherSidesNoise) {
  ZRVAChorus chorus(kRate);
  chorus.spread = 0.0F;
  chorus.prepare(kRate, 512);
  chorus.phaseA[1] = 6.2831F;

  runInBlocks(chorus, Stereo(64), 64);
  EXPECT_NE(chorus.noiseTargetRight, 0.0F);
  EXPECT_EQ(chorus.noiseTargetLeft, 0.0F);
  EXPECT_LT(chorus.phaseA[1], 1.0F);

  chorus.phaseB[2] = 6.2831F;
  runInBlocks(chorus, Stereo(64), 64);
  EXPECT_NE(chorus.noiseTargetLeft, 0.0F);
}

TEST(ZRVAChorus, ItsNoiseComesFromItsSeed) {
  const auto run = [](std::uint64_t seed) {
    ZRVAChorus chorus(kRate);
    chorus.program = 0.0F;
    chorus.setRandomSeed(seed);
    return runInBlocks(chorus, Stereo(4000), 512).left;
  };

  EXPECT_EQ(run(5), run(5));
  EXPECT_NE(run(5), run(6));
}

TEST(ZRVAChorus, StaysBoundedAtTheExtremesOfItsSettings) {
  const Stereo in = stereoNoise(8000, 13, 1.0F);
  for (int program = 0; program < 4; ++program) {
    for (const float rate : {8000.0F, 44100.0F}) {
      for (std::size_t p = 1; p < 19; ++p) {
        for (const bool isGreatest : {false, true}) {
          ZRVAChorus chorus(rate);
          chorus.program = static_cast<float>(program);
          chorus.numStages = 2.0F;
          ZRDSPParameter* parameter = chorus.parameters()[p];
          *parameter = isGreatest ? parameter->maxValue : parameter->minValue;
          chorus.prepare(rate, 512);
          const Stereo out = runInBlocks(chorus, in, 512);
          ASSERT_TRUE(isFinite(out)) << parameter->identifier;
          ASSERT_LT(peakOf(out.left), 4.0F) << parameter->identifier;
        }
      }
    }
  }
}

TEST(ZRVAChorus, EachSettingMayBeLostForAWhile) {
  for (const float program : {0.0F, 1.0F, 2.0F, 3.0F}) {
    const auto make = [program] {
      auto chorus = std::make_unique<ZRVAChorus>(8000.0F);
      chorus->program = program;
      return chorus;
    };
    expectEachSettingMayBeLostForAWhile(make, 8000.0F, 1.5F, false, [](const ZRDSPEffect&) {});
  }
}

TEST(ZRVAChorus, AnInputThatIsNoNumberDoesNotLast) {
  for (int program = 0; program < 4; ++program) {
    ZRVAChorus chorus(8000.0F);
    chorus.program = static_cast<float>(program);
    Stereo in(30000);
    in.left[10] = std::nanf("");
    in.right[20] = std::numeric_limits<float>::infinity();
    in.left[30] = -3e38F;

    const Stereo out = runInBlocks(chorus, in, 512);

    EXPECT_TRUE(isFinite(out)) << program;
    EXPECT_LT(std::abs(out.left.back()), 0.01F) << program;
  }
}

}  // namespace
}  // namespace morv
