// The reverb against its plain form: modes, settings, rates, blocks.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/effects/PlainDigiVerb.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;

// Positions in a line of two seconds are floats, rounded to 1/128 of a sample; where the sines of the two
// forms differ by their last bits, some reads of white noise fall to the other side.
constexpr double kPlainFormDb = -78.0;
// A sample that lies between two steps of the quantiser may fall to either side: 0.0002 each time.
constexpr double kQuantisedFormDb = -60.0;

double boundOf(int mode) { return mode == 4 ? kQuantisedFormDb : kPlainFormDb; }

double differenceOfForms(const DigiVerbControls& controls, float rate, int frames, int blockFrames,
                         std::uint64_t seed) {
  const Stereo in = stereoNoise(frames, seed);
  const auto verb = std::make_unique<ZRDigiVerb>(rate);
  const auto plain = std::make_unique<PlainDigiVerb>(rate);
  setControls(verb.get(), controls);
  setControls(plain.get(), controls);
  return differenceDb(plain->run(in, blockFrames), runInBlocks(*verb, in, blockFrames));
}

class ZRDigiVerbForm : public testing::TestWithParam<int> {};

TEST_P(ZRDigiVerbForm, IsThePlainForm) {
  DigiVerbControls controls;
  controls.mode = GetParam();

  EXPECT_LT(differenceOfForms(controls, kRate, 60000, 512, 1), boundOf(controls.mode));
}

TEST_P(ZRDigiVerbForm, IsThePlainFormAtOtherSettings) {
  DigiVerbControls controls;
  controls.mode = GetParam();
  controls.diffusion = 0.9F;
  controls.decay = 1.0F;
  controls.preDelay = 3.0F;
  controls.damping = 0.6F;
  controls.size = 0.8F;
  controls.mix = 0.7F;
  controls.spread = 0.9F;
  controls.modDepth = 1.0F;
  controls.lfoRate = 4.0F;
  controls.lowShelfGain = -6.0F;
  controls.highShelfGain = 5.0F;
  controls.highShelfFrequency = 6000.0F;

  EXPECT_LT(differenceOfForms(controls, 48000.0F, 40000, 64, 2), boundOf(controls.mode));
}

TEST_P(ZRDigiVerbForm, IsThePlainFormWhereLinesAreShortForAStretch) {
  DigiVerbControls controls;
  controls.mode = GetParam();
  controls.size = 0.0F;
  controls.preDelay = 0.0F;

  EXPECT_LT(differenceOfForms(controls, 11025.0F, 20000, 512, 3), boundOf(controls.mode));
}

TEST_P(ZRDigiVerbForm, IsThePlainFormInOddBlocks) {
  DigiVerbControls controls;
  controls.mode = GetParam();

  for (const int block : {1, 7, 63}) {
    EXPECT_LT(differenceOfForms(controls, kRate, 8000, block, 4), boundOf(controls.mode)) << block;
  }
}

TEST_P(ZRDigiVerbForm, BlocksOfAnEvenSizeMakeNoDifference) {
  DigiVerbControls controls;
  controls.mode = GetParam();
  const Stereo in = stereoNoise(16000, 5);
  const auto run = [&](int block) {
    ZRDigiVerb verb(kRate);
    setControls(&verb, controls);
    return runInBlocks(verb, in, block);
  };
  const Stereo expected = run(4096);

  for (const int block : {2, 50, 64, 512}) {
    EXPECT_LT(differenceDb(expected, run(block)), boundOf(controls.mode)) << block;
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, ZRDigiVerbForm, testing::Range(0, 9),
                         [](const auto& mode) { return "Mode" + std::to_string(mode.param); });

// Mode 8 has no times of its own.
TEST(ZRDigiVerbModes, OneChannelKeepsTheTimesOfTheModeBefore) {
  const Stereo in = stereoNoise(30000, 6);
  DigiVerbControls controls;
  for (const int before : {-1, 1, 2, 6, 7}) {
    const auto verb = std::make_unique<ZRDigiVerb>(kRate);
    const auto plain = std::make_unique<PlainDigiVerb>(kRate);
    for (const int mode : {before, 8}) {
      if (mode < 0) continue;
      controls.mode = mode;
      setControls(verb.get(), controls);
      setControls(plain.get(), controls);
      EXPECT_LT(differenceDb(plain->run(in), runInBlocks(*verb, in, 500)), kPlainFormDb) << before << mode;
    }
  }
}

TEST(ZRDigiVerbModes, EveryModeTakesOverTheLinesOfTheOneBefore) {
  const Stereo in = stereoNoise(9000, 7);
  const auto verb = std::make_unique<ZRDigiVerb>(kRate);
  const auto plain = std::make_unique<PlainDigiVerb>(kRate);
  DigiVerbControls controls;
  for (const int mode : {0, 7, 3, 5, 1, 8, 6, 2, 0}) {
    controls.mode = mode;
    setControls(verb.get(), controls);
    setControls(plain.get(), controls);
    EXPECT_LT(differenceDb(plain->run(in), runInBlocks(*verb, in, 500)), kPlainFormDb) << mode;
  }
}

TEST(ZRDigiVerbStages, TheEchoFormOfThePlateIsThePlainForm) {
  constexpr int kFrames = 40000;
  const Stereo in = stereoNoise(kFrames, 8);
  Stereo expected = in;
  Stereo actual = in;
  DigiVerbControls controls;
  const auto verb = std::make_unique<ZRDigiVerb>(kRate);
  const auto plain = std::make_unique<PlainDigiVerb>(kRate);
  setControls(verb.get(), controls);
  setControls(plain.get(), controls);

  for (std::size_t i = 0; i < kFrames; ++i) plain->echoVerb(&expected.left[i], &expected.right[i]);
  ZRDigiVerb::Modulation m;
  for (int at = 0; at < kFrames; at += 40) {
    verb->smooth(&m, 40);
    verb->runLFO(&m, 40);
    verb->doEchoVerb(m, actual.left.data() + at, actual.right.data() + at, 40);
  }

  EXPECT_LT(differenceDb(expected, actual), kPlainFormDb);
}

}  // namespace
}  // namespace morv
