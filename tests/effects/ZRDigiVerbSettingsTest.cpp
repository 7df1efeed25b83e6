// Controls at their extremes and far outside them.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "effects/ZRDigiVerb.h"
#include "platform/DiagnosticRing.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

using Control = float ZRDigiVerb::*;

struct Range {
  const char* name;
  Control control;
  float least;
  float greatest;
};

constexpr Range kRanges[] = {
    {"highShelfFrequency", &ZRDigiVerb::highShelfFrequency, 0, 20000},
    {"diffusion", &ZRDigiVerb::diffusion, 0, 1},
    {"decay", &ZRDigiVerb::decay, 0, 1},
    {"preDelay", &ZRDigiVerb::preDelay, 0, 2000},
    {"damping", &ZRDigiVerb::damping, 0, 1},
    {"size", &ZRDigiVerb::size, 0, 1},
    {"mix", &ZRDigiVerb::mix, 0, 1},
    {"spread", &ZRDigiVerb::spread, 0, 1},
    {"modDepth", &ZRDigiVerb::modDepth, 0, 1},
    {"lfoRate", &ZRDigiVerb::lfoRate, 0, 20},
    {"earlyGain", &ZRDigiVerb::earlyGain, 0, 1},
    {"lateGain", &ZRDigiVerb::lateGain, 0, 1},
    {"dryGain", &ZRDigiVerb::dryGain, 0, 1},
    {"lowShelfGain", &ZRDigiVerb::lowShelfGain, -24, 24},
    {"highShelfGain", &ZRDigiVerb::highShelfGain, -24, 24},
    {"inputGain", &ZRDigiVerb::inputGain, 0, 4},
    {"outputGain", &ZRDigiVerb::outputGain, 0, 4},
};

std::unique_ptr<ZRDigiVerb> soundingVerb(int mode, float rate) {
  auto verb = std::make_unique<ZRDigiVerb>(rate);
  verb->mode = mode;
  verb->mix = verb->mixSmoothed = 0.8F;
  verb->dryGain = verb->earlyGain = 0.5F;
  verb->decay = verb->diffusion = verb->modDepth = verb->spread = 0.5F;
  return verb;
}

class ZRDigiVerbSettings : public testing::TestWithParam<int> {};

TEST_P(ZRDigiVerbSettings, NoiseAtEachExtremeOfEachControlStaysInsideTheOutputsRange) {
  for (const float rate : {8000.0F, 44100.0F}) {
    const Stereo in = stereoNoise(static_cast<int>(rate * 0.2F), 31, 1.0F);
    const auto verb = soundingVerb(GetParam(), rate);
    for (const Range& range : kRanges) {
      const float before = (*verb).*range.control;
      for (const float value : {range.least, range.greatest}) {
        (*verb).*range.control = value;
        const Stereo out = runInBlocks(*verb, in, 512);
        ASSERT_TRUE(isFinite(out)) << range.name << " " << value;
        ASSERT_LE(peakOf(out.left), std::abs(verb->outputGain)) << range.name << " " << value;
        ASSERT_LE(peakOf(out.right), std::abs(verb->outputGain)) << range.name << " " << value;
      }
      (*verb).*range.control = before;
    }
  }
  DiagnosticRing::shared().drain(nullptr);
}

TEST_P(ZRDigiVerbSettings, EachControlMayBeLostForAWhile) {
  constexpr float kRate = 16000.0F;
  const Stereo in = stereoNoise(2000, 32, 1.0F);
  const auto verb = soundingVerb(GetParam(), kRate);
  for (const Range& range : kRanges) {
    const float before = (*verb).*range.control;
    for (const float value : kLostSettings) {
      (*verb).*range.control = value;
      ASSERT_TRUE(isFinite(runInBlocks(*verb, in, 512))) << range.name << " " << value;
      (*verb).*range.control = -value;
      ASSERT_TRUE(isFinite(runInBlocks(*verb, in, 512))) << range.name << " " << -value;
      (*verb).*range.control = before;
      ASSERT_TRUE(isFinite(runInBlocks(*verb, in, 512))) << range.name << " " << value;
    }
  }
  // The followers come back, and a reset empties what the lines hold.
  runInBlocks(*verb, Stereo(16000), 512);
  verb->reset();
  const auto usual = soundingVerb(GetParam(), kRate);
  runInBlocks(*usual, Stereo(16000), 512);
  usual->reset();
  const Stereo longer = stereoNoise(16000, 33);
  const double level =
      energy(runInBlocks(*verb, longer, 512).left) / energy(runInBlocks(*usual, longer, 512).left);
  EXPECT_NEAR(10 * std::log10(level), 0.0, 1.0);  // the same noise at other places of the swings
  DiagnosticRing::shared().drain(nullptr);
}

// Saturation and the filters take from every loop. The spring's sound is some four seconds on its way.
TEST_P(ZRDigiVerbSettings, AtFullDecayTheTailDoesNotGrow) {
  constexpr float kRate = 4000.0F;
  constexpr int kSecond = 4000;
  const auto verb = soundingVerb(GetParam(), kRate);
  verb->decay = 1.0F;
  verb->inputGain = 4.0F;
  verb->dryGain = verb->earlyGain = 0.0F;
  runInBlocks(*verb, stereoNoise(4 * kSecond, 34, 1.0F), 512);

  const Stereo tail = runInBlocks(*verb, Stereo(30 * kSecond), 512);

  ASSERT_TRUE(isFinite(tail));
  const double early = energy({tail.left.begin(), tail.left.begin() + 10 * kSecond});
  const double late = energy({tail.left.end() - 10 * kSecond, tail.left.end()});
  EXPECT_GT(early, 0.0);
  EXPECT_LT(late, early);
  DiagnosticRing::shared().drain(nullptr);
}

INSTANTIATE_TEST_SUITE_P(Modes, ZRDigiVerbSettings, testing::Range(0, 9),
                         [](const auto& mode) { return "Mode" + std::to_string(mode.param); });

TEST(ZRDigiVerbSettingsAtTinyRates, LinesThatAreShorterThanTheTankAreReadInside) {
  const Stereo in = stereoNoise(3000, 35, 1.0F);
  for (const float rate : {1.0F, 10.0F, 100.0F, 1000.0F}) {
    const auto verb = soundingVerb(0, rate);
    for (int mode = 0; mode < ZRDigiVerb::kModes; ++mode) {
      verb->mode = mode;
      ASSERT_TRUE(isFinite(runInBlocks(*verb, in, 100))) << rate << " " << mode;
    }
  }
  DiagnosticRing::shared().drain(nullptr);
}

}  // namespace
}  // namespace morv
