// The reverb as a whole: its controls, followers, modes, mixing, and what a reset leaves.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "effects/FIRTables.h"
#include "effects/ZRDigiVerb.h"
#include "platform/DiagnosticRing.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
constexpr float kFollowerRounding = 2e-5F;  // of a product over some ten thousand steps

// Only the late signal, at full level from the first frame, without a pre-delay.
std::unique_ptr<ZRDigiVerb> wetVerb(int mode, float rate = kRate) {
  auto verb = std::make_unique<ZRDigiVerb>(rate);
  verb->mode = mode;
  verb->mix = verb->mixSmoothed = 1.0F;
  verb->preDelay = 0.0F;
  verb->sizeSmoothed = verb->size;
  return verb;
}

int messages() {
  int count = 0;
  for (DiagnosticRing::Line line; DiagnosticRing::shared().take(&line);) {
    count += std::string("out of range sample: %f delay: %f\n") == line.format ? 1 : 0;
  }
  return count;
}

TEST(ZRDigiVerb, StartsWithItsControlsAndNoParameters) {
  ZRDigiVerb verb(kRate);

  EXPECT_EQ(verb.identifier, "digiverb");
  EXPECT_EQ(verb.name, "Reverb");
  EXPECT_TRUE(verb.parameters().empty());
  EXPECT_EQ(verb.mode, 0);
  EXPECT_EQ(verb.highShelfFrequency, 500.0F);
  EXPECT_EQ(verb.preDelay, 80.0F);
  EXPECT_EQ(verb.damping, 0.0F);
  EXPECT_EQ(verb.size, 0.25F);
  EXPECT_EQ(verb.spread, 0.0F);
  EXPECT_EQ(verb.lfoRate, 0.2F);
  EXPECT_EQ(verb.lateGain, 1.0F);
  EXPECT_EQ(verb.inputGain, 1.0F);
  EXPECT_EQ(verb.outputGain, 1.0F);
  for (const float zero : {verb.diffusion, verb.decay, verb.mix, verb.modDepth, verb.earlyGain, verb.dryGain,
                           verb.lowShelfGain, verb.highShelfGain}) {
    EXPECT_EQ(zero, 0.0F);
  }
  for (const float follower : {verb.decaySmoothed, verb.preDelaySmoothed, verb.sizeSmoothed, verb.mixSmoothed,
                               verb.spreadSmoothed, verb.modDepthSmoothed}) {
    EXPECT_EQ(follower, 0.0F);
  }
  EXPECT_EQ(verb.springFrequency, 22050.0F);
}

TEST(ZRDigiVerb, HasLinesOfTwoSecondsAndOfAFifthOfOne) {
  ZRDigiVerb verb(kRate);

  verb.prepare(48000.0F, 64);

  for (std::size_t side = 0; side < 2; ++side) {
    for (const uniComb* line :
         {&verb.preDelayLine[side], &verb.chorus[side], &verb.springLine[side], &verb.echoLine[side]}) {
      EXPECT_EQ(line->size, 96000);
      EXPECT_EQ(line->linear, 0);
    }
    for (const comb& line : verb.combs[side]) EXPECT_EQ(line.size, 96000);
    for (const uniComb& line : verb.allpass[side]) EXPECT_EQ(line.size, 96000);
    for (const uniComb& line : verb.allpass2[side]) EXPECT_EQ(line.size, 96000);
    EXPECT_EQ(verb.loFiFIR[side].length, 113);
  }
  EXPECT_EQ(verb.springFIR.length, 49);
  for (const ap& line : verb.springLF) EXPECT_EQ(line.size, 9600);
  for (const ap& line : verb.springHF) EXPECT_EQ(line.size, 9600);
  for (const ap& line : verb.diffusers) EXPECT_EQ(line.size, 9600);
  for (const ap* line : {&verb.loopAP1, &verb.loopAP2, &verb.loopAP3, &verb.loopAP4})
    EXPECT_EQ(line->size, 9600);
  for (const uniComb* line : {&verb.loopD1, &verb.loopD2, &verb.loopD3, &verb.loopD4}) {
    EXPECT_EQ(line->size, 9600);
  }
  EXPECT_EQ(verb.earlyBuffer.size(), 96000U);
}

TEST(ZRDigiVerb, PrepareKeepsTheFollowersAndTheSpringsFrequency) {
  ZRDigiVerb verb(kRate);
  const float smoothing = verb.smoothing;
  const float sizeSmoothing = verb.sizeSmoothing;

  verb.prepare(96000.0F, 64);

  EXPECT_EQ(verb.sampleRate, 96000.0F);
  EXPECT_EQ(verb.blockSize, 64);
  EXPECT_EQ(verb.smoothing, smoothing);
  EXPECT_EQ(verb.sizeSmoothing, sizeSmoothing);
  EXPECT_EQ(verb.springFrequency, 22050.0F);
}

// To a thousandth of the way in 250 ms, the size in 10 ms.
TEST(ZRDigiVerb, ItsFollowersReachTheirTargetsInTheirTime) {
  ZRDigiVerb verb(kRate);
  verb.decay = 1.0F;
  verb.mix = 1.0F;
  verb.spread = 1.0F;
  verb.modDepth = 1.0F;
  verb.preDelay = 1.0F;
  verb.size = 1.0F;

  runInBlocks(verb, Stereo(441), 441);
  EXPECT_NEAR(verb.sizeSmoothed, 0.999F, kFollowerRounding);
  const float early = 1.0F - static_cast<float>(std::pow(0.001, 441.0 / 11025.0));
  EXPECT_NEAR(verb.mixSmoothed, early, kFollowerRounding);
  runInBlocks(verb, Stereo(11025 - 441), 512);

  for (const float follower : {verb.decaySmoothed, verb.mixSmoothed, verb.spreadSmoothed,
                               verb.modDepthSmoothed, verb.preDelaySmoothed}) {
    EXPECT_NEAR(follower, 0.999F, kFollowerRounding);
  }
}

// The comb stage moves it once more; at half rate it runs on every other frame.
TEST(ZRDigiVerb, TheDepthFollowsTwiceAsFastInModesWithCombs) {
  constexpr double kSteps[] = {1, 2, 2, 2, 1.5, 1, 2, 1, 2};
  for (int mode = 0; mode < ZRDigiVerb::kModes; ++mode) {
    ZRDigiVerb verb(kRate);
    verb.mode = mode;
    verb.modDepth = 1.0F;

    runInBlocks(verb, Stereo(2000), 500);

    const double left = std::pow(0.001, kSteps[mode] * 2000.0 / 11025.0);
    EXPECT_NEAR(verb.modDepthSmoothed, 1.0 - left, static_cast<double>(kFollowerRounding)) << mode;
  }
}

TEST(ZRDigiVerb, DoesNothingWhileBypassed) {
  ZRDigiVerb verb(kRate);
  verb.bypass = 1.0F;
  verb.mix = 1.0F;
  const Stereo in = stereoNoise(64, 1);
  Stereo out = stereoNoise(64, 2);
  const Stereo before = out;

  verb.runEffect(in.left.data(), in.right.data(), out.left.data(), out.right.data(), 64, 120.0F);

  EXPECT_EQ(out.left, before.left);
  EXPECT_EQ(out.right, before.right);
  EXPECT_EQ(verb.mixSmoothed, 0.0F);
}

// With the mix at 0 the dry gain is all there is.
TEST(ZRDigiVerb, TheDrySignalIsTheInputBeforeItsGain) {
  for (int mode = 0; mode < ZRDigiVerb::kModes; ++mode) {
    ZRDigiVerb verb(kRate);
    verb.mode = mode;
    verb.dryGain = 0.5F;
    verb.inputGain = 3.0F;
    verb.outputGain = 2.0F;
    const Stereo in = stereoNoise(500, 3);

    const Stereo out = runInBlocks(verb, in, 64);

    EXPECT_EQ(out.left, in.left) << mode;
    EXPECT_EQ(out.right, in.right) << mode;
  }
}

// Twice the tangent of the shelves, and half of it; the plate alone has an early signal.
TEST(ZRDigiVerb, TheEarlySignalOfThePlateIsHalfItsInput) {
  const auto verb = wetVerb(0);
  verb->lateGain = 0.0F;
  verb->earlyGain = 0.8F;
  verb->inputGain = 0.5F;
  const Stereo in = stereoSine(300, 1000.0, static_cast<double>(kRate), 0.9);

  const Stereo out = runInBlocks(*verb, in, 64);

  for (std::size_t i = 0; i < 300; ++i) {
    const double x = std::tanh(std::tanh(0.5 * static_cast<double>(in.left[i])));
    ASSERT_NEAR(out.left[i], 0.8 * 0.5 * x, 1e-6);
  }
  for (int mode = 1; mode < ZRDigiVerb::kModes; ++mode) {
    const auto other = wetVerb(mode);
    other->lateGain = 0.0F;
    other->earlyGain = 0.8F;
    EXPECT_EQ(peakOf(runInBlocks(*other, in, 64).left), 0.0F) << mode;
  }
}

TEST(ZRDigiVerb, AnOutputAboveItsRangeIsHeldAndReported) {
  ZRDigiVerb verb(kRate);
  verb.dryGain = 4.0F;
  verb.outputGain = 0.5F;
  verb.preDelay = 0.0F;
  Stereo in(4);
  in.left = {0.2F, 0.5F, -0.5F, 0.25F};
  in.right = {0.0F, 0.0F, -0.9F, 0.3F};
  messages();

  const Stereo out = runInBlocks(verb, in, 4);

  EXPECT_NEAR(out.left[0], 0.4F, 1e-6F);
  EXPECT_EQ(out.left[1], 0.5F);
  EXPECT_EQ(out.left[2], -0.5F);
  EXPECT_EQ(out.left[3], 0.5F);  // 1 itself is in the range
  EXPECT_EQ(out.right[2], -0.5F);
  EXPECT_EQ(out.right[3], 0.5F);
  EXPECT_EQ(messages(), 2);  // the negative ones go unreported
}

TEST(ZRDigiVerb, TheMessageBearsTheSampleAndThePreDelay) {
  ZRDigiVerb verb(kRate);
  verb.dryGain = 4.0F;
  verb.preDelaySmoothed = verb.preDelay = 25.0F;
  messages();
  const Stereo in = stereoImpulse(1, 0.5F, 0.0F);

  runInBlocks(verb, in, 1);

  DiagnosticRing::Line line;
  ASSERT_TRUE(DiagnosticRing::shared().take(&line));
  EXPECT_NEAR(line.real, 2.0, 1e-6);
  EXPECT_NEAR(line.secondReal, 25.0, 1e-5);
}

// The first reflection of the plate's left side: 266 samples behind the second branch's first all-pass,
// scaled by 0.1 + 2 x 0.45 = 1, which lets -g of the input straight through, as do the diffusers.
TEST(ZRDigiVerb, ThePlatesTapsScaleWithItsSize) {
  const auto firstSound = [](float size, const std::vector<float>& side) {
    std::size_t i = 0;
    while (i < side.size() && std::abs(side[i]) < 1e-7F) ++i;
    return static_cast<double>(i) / static_cast<double>(0.1F + 2.0F * size);
  };
  for (const float size : {0.25F, 0.45F, 1.0F}) {
    const auto verb = wetVerb(0);
    verb->size = verb->sizeSmoothed = size;
    verb->diffusion = 0.5F;
    const Stereo out = runInBlocks(*verb, stereoImpulse(5000, 0.5F, 0.5F), 64);
    // A tap counts from the write index behind the sample. Truncation, and the low-pass, are within 2
    // samples.
    const double left = firstSound(size, out.left);
    EXPECT_NEAR(left, 266.0, 2.0 / static_cast<double>(0.1F + 2.0F * size)) << size;
  }
}

// With nothing to come back, the plate is silent once the impulse has left its all-passes.
TEST(ZRDigiVerb, WithoutDecayThePlateDoesNotRecirculate) {
  const auto run = [](float decay) {
    const auto verb = wetVerb(0);
    verb->decay = verb->decaySmoothed = decay;
    verb->size = verb->sizeSmoothed = 0.0F;
    const Stereo out = runInBlocks(*verb, stereoImpulse(132300, 0.5F, 0.5F), 512);
    return energy({out.left.end() - 44100, out.left.end()});
  };

  EXPECT_LT(run(0.0F), 1e-12);
  EXPECT_GT(run(0.8F), 1e-6);
}

// The combs alone have a tail of the time that the mode's constants give for the decay.
TEST(ZRDigiVerb, AHallDiesAwayInItsTime) {
  struct Hall {
    int mode;
    float decay;
    double seconds;
  };
  for (const Hall& hall : {Hall{1, 0.2F, 0.3 + 0.2 * 5}, Hall{2, 0.05F, 0.3 + 0.05 * 20},
                           Hall{3, 0.05F, 0.3 + 0.05 * 20}, Hall{8, 0.1F, 0.3 + 0.1 * 10}}) {
    const auto verb = wetVerb(hall.mode, 22050.0F);
    verb->decay = verb->decaySmoothed = hall.decay;
    verb->size = verb->sizeSmoothed = 0.0F;
    verb->diffusion = 0.0F;
    Stereo in = stereoNoise(66150, 4, 0.3F);
    std::fill(in.left.begin() + 11025, in.left.end(), 0.0F);
    std::fill(in.right.begin() + 11025, in.right.end(), 0.0F);

    const Stereo out = runInBlocks(*verb, in, 512);

    // Levels a tenth of a second long, 0.2 s behind the input and one second later.
    const auto level = [&out](double seconds) {
      const auto at = out.left.begin() + static_cast<std::ptrdiff_t>(seconds * 22050.0);
      return 10.0 * std::log10(energy({at, at + 2205}));
    };
    const double slope = level(0.7) - level(1.3);  // dB in 0.6 s
    EXPECT_NEAR(60.0 * 0.6 / slope, hall.seconds, 0.1 * hall.seconds) << hall.mode;
  }
}

// Each pair of frames repeats one value of the half-rate hall, so the image at rate - f is the filter's to
// take away.
TEST(ZRDigiVerb, AtHalfRateTheImagesAreFiltered) {
  constexpr double kToneHz = 3000.0;
  const auto verb = wetVerb(4);
  const Stereo in = stereoSine(44100, kToneHz, static_cast<double>(kRate), 0.5);
  const Stereo out = runInBlocks(*verb, in, 512);

  const auto levelDb = [&out](double hz) {
    double re = 0;
    double im = 0;
    for (std::size_t i = 22050; i < 44100; ++i) {
      const double w = 2.0 * std::numbers::pi * hz * static_cast<double>(i) / static_cast<double>(kRate);
      re += static_cast<double>(out.left[i]) * std::cos(w);
      im += static_cast<double>(out.left[i]) * std::sin(w);
    }
    return 10.0 * std::log10(re * re + im * im);
  };

  EXPECT_LT(levelDb(22050.0 - kToneHz), levelDb(kToneHz) - 55.0);
}

// 4095 steps from -1 to 0 and as many above.
TEST(ZRDigiVerb, AtHalfRateASignalBelowHalfAStepIsOnlyNoise) {
  const auto outputOf = [](float x) {
    const auto verb = wetVerb(4);
    Stereo in(4000);
    std::fill(in.left.begin(), in.left.end(), x / 0.15F);
    in.right = in.left;
    const Stereo out = runInBlocks(*verb, in, 64);
    double mean = 0;
    for (std::size_t i = 3000; i < 4000; ++i) mean += static_cast<double>(out.left[i]) / 1000.0;
    return mean;
  };

  const double below = outputOf(0.4F / 4095.0F);
  const double above = outputOf(0.7F / 4095.0F);
  const double noNoise = outputOf(0.0F);

  EXPECT_NEAR(below, noNoise, 1e-9);
  EXPECT_GT(std::abs(above - noNoise), 1e-4);
}

// The slow chain takes 25 times 0.15 s, whatever the rate.
TEST(ZRDigiVerb, TheSpringIsMonoButForItsSpread) {
  constexpr int kFrames = 48000;  // 6 s
  const auto run = [](float spread) {
    const auto verb = wetVerb(5, 8000.0F);
    verb->spread = verb->spreadSmoothed = spread;
    verb->decay = verb->decaySmoothed = 0.8F;
    verb->diffusion = 0.5F;
    return runInBlocks(*verb, stereoNoise(kFrames, 5), 64);
  };

  const Stereo together = run(0.0F);
  const Stereo apart = run(0.5F);

  EXPECT_EQ(together.left, together.right);
  EXPECT_GT(energy({together.left.end() - 8000, together.left.end()}), 10.0);
  EXPECT_LT(energy({together.left.begin(), together.left.begin() + 8000}), 0.1);
  EXPECT_GT(differenceDb(apart.left, apart.right), -40.0);
}

TEST(ZRDigiVerb, AModeOutsideTheNineIsTheNearestOne) {
  const Stereo in = stereoNoise(3000, 6);
  const auto run = [&in](int mode) {
    const auto verb = wetVerb(mode);
    return runInBlocks(*verb, in, 64).left;
  };

  EXPECT_EQ(run(-5), run(0));
  EXPECT_EQ(run(99), run(8));
}

TEST(ZRDigiVerb, OutputsMayBeTheInputs) {
  for (int mode = 0; mode < ZRDigiVerb::kModes; ++mode) {
    const Stereo in = stereoNoise(3000, 7);
    Stereo both = in;
    const auto apart = wetVerb(mode);
    const auto inPlace = wetVerb(mode);

    const Stereo expected = runInBlocks(*apart, in, 500);
    for (int start = 0; start < 3000; start += 500) {
      float* L = both.left.data() + start;
      float* R = both.right.data() + start;
      inPlace->runEffect(L, R, L, R, 500, 120.0F);
    }

    EXPECT_EQ(both.left, expected.left) << mode;
    EXPECT_EQ(both.right, expected.right) << mode;
  }
}

TEST(ZRDigiVerb, ASeedMakesTheNoise) {
  const Stereo in(3000);
  const auto run = [&in](std::uint64_t seed) {
    const auto verb = wetVerb(4);
    verb->setRandomSeed(seed);
    return runInBlocks(*verb, in, 64).left;
  };

  EXPECT_EQ(run(5), run(5));
  EXPECT_NE(run(5), run(6));
}

TEST(ZRDigiVerb, ResetEmptiesEveryLineAndKeepsTheFollowers) {
  for (int mode = 0; mode < ZRDigiVerb::kModes; ++mode) {
    const auto verb = wetVerb(mode);
    verb->decay = verb->diffusion = 0.7F;
    verb->preDelay = 30.0F;
    verb->modDepth = 0.3F;
    verb->lowShelfGain = 6.0F;
    runInBlocks(*verb, stereoNoise(20000, 8), 64);
    const float preDelay = verb->preDelaySmoothed;
    const float phase = verb->phase;

    verb->reset();

    EXPECT_EQ(verb->preDelaySmoothed, preDelay);
    EXPECT_GT(verb->modDepthSmoothed, 0.2F);
    EXPECT_EQ(verb->phase, phase);
    EXPECT_EQ(verb->preDelayLine[0].writeIndex, 0);
    for (tpt& filter : verb->postFilter) filter.z1 = 0;
    for (tpt* filter : {&verb->lowpassA, &verb->lowpassB}) filter->z1 = 0;
    const Stereo out = runInBlocks(*verb, Stereo(6000), 64);
    const float floor = mode == 4 ? 1e-3F : 0.0F;  // its noise
    EXPECT_LE(peakOf(out.left), floor) << mode;
    EXPECT_LE(peakOf(out.right), floor) << mode;
  }
}

}  // namespace
}  // namespace morv
