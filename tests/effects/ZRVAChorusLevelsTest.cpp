// The chorus's volumes and the grid of its vintage program.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numeric>
#include <vector>

#include "effects/ZRVAChorus.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 48000.0F;
constexpr float kSums = 2e-5F;  // of the filter's taps and the split bands, in floats

// All wet; the lines, side by side, stand still at 15 ms.
std::unique_ptr<ZRVAChorus> wetChorus(int program) {
  auto chorus = std::make_unique<ZRVAChorus>(kRate);
  chorus->program = static_cast<float>(program);
  chorus->mix = 100.0F;
  chorus->modAmount = 0.0F;
  chorus->modRouting = 1.0F;
  chorus->minDelay = 150.0F;
  chorus->prepare(kRate, 512);
  return chorus;
}

// The combs bend what the first volume has scaled; the second one scales what they give.
TEST(ZRVAChorusLevels, OneVolumeLiesAheadOfTheLinesAndOneBehindThem) {
  for (const auto& [input, output] : {std::pair{40.0F, 90.0F}, std::pair{90.0F, 40.0F}}) {
    const auto chorus = wetChorus(1);
    chorus->inputVolume = input;
    chorus->outputVolume = output;

    const Stereo out = runInBlocks(*chorus, stereoImpulse(2000, 0.8F, -0.8F), 512);

    const float expected = output / 100.0F * std::tanh(0.95F * input / 100.0F * 0.8F);
    EXPECT_NEAR(out.left[720], expected, kSums) << input;
    EXPECT_NEAR(out.right[720], -expected, kSums) << input;
  }
}

TEST(ZRVAChorusLevels, TheDrySignalPassesBothVolumes) {
  const auto chorus = wetChorus(1);
  chorus->mix = 0.0F;
  chorus->inputVolume = 30.0F;
  chorus->outputVolume = 60.0F;
  chorus->prepare(kRate, 512);
  const Stereo in = stereoNoise(2000, 4);

  EXPECT_EQ(runInBlocks(*chorus, in, 512).left, in.left);
}

// (x + 1) levels = 4.5, 2.5 and -0.5: halfway, with an even number on the side of 0.
TEST(ZRVAChorusLevels, HalvesOfTheVintageGridGoAwayFromZero) {
  struct Case {
    float in;
    float bits;
    float onGrid;
  };
  for (const Case c :
       {Case{0.5F, 2, 5.0F / 3 - 1}, Case{-0.5F, 1, 0.0F}, Case{1.5F, 1, 2.0F}, Case{-1.5F, 1, -2.0F}}) {
    const auto chorus = wetChorus(2);
    chorus->inputVolume = 100.0F;
    chorus->outputVolume = 100.0F;
    chorus->bitDepth = c.bits;
    // Closed filters leave the whole signal, bit for bit, to the upper band.
    for (tpt* filter :
         {&chorus->split5kLeft, &chorus->split5kRight, &chorus->split1kLeft, &chorus->split1kRight}) {
      filter->G = 0.0F;
    }
    Stereo in(4000);
    in.left.assign(4000, c.in);
    in.right = in.left;

    const Stereo out = runInBlocks(*chorus, in, 512);

    const float sum = std::accumulate(BChorus, BChorus + BLChorus, 0.0F);
    EXPECT_NEAR(out.left.back(), sum * std::tanh(0.95F * c.onGrid), kSums) << c.in;
    EXPECT_NEAR(out.right.back(), sum * std::tanh(0.95F * c.onGrid), kSums) << c.in;
  }
}

}  // namespace
}  // namespace morv
