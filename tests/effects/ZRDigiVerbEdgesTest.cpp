// Halves of the reverb's quantiser, and the count of its early reflections.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "effects/ZRDigiVerb.h"
#include "tests/effects/DigiVerbStages.h"
#include "tests/effects/EffectTesting.h"
#include "voice/VoiceKernels.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;

// Where the quantiser of mode 4 takes an input, in steps: it has passed both shelves' tangents.
float stepsOf(float in) {
  std::array<float, 64> x;
  x.fill(in);
  for (int shelf = 0; shelf < 2; ++shelf) voiceKernels().tanhInPlace(x.data(), 64);
  return (x.front() * 0.15F + 1.0F) * 4095.0F;
}

// An input that lies halfway between two steps, the lower one even.
float halfwayInput() {
  float in = 0.1F;
  const auto isTie = [](float steps) {
    const float whole = std::floor(steps);
    return steps - whole == 0.5F && std::fmod(whole, 2.0F) == 0.0F;
  };
  while (in < 0.9F && !isTie(stepsOf(in))) in = std::nextafter(in, 1.0F);
  return in;
}

// The hall's answer to a constant at half rate, with the same noise each time.
std::vector<float> answerTo(float in) {
  ZRDigiVerb verb(kRate);
  verb.mode = 4;
  verb.mix = verb.mixSmoothed = 1.0F;
  verb.preDelay = 0.0F;
  verb.size = verb.sizeSmoothed = 0.0F;
  Stereo constant(6400);
  constant.left.assign(6400, in);
  constant.right = constant.left;
  return runInBlocks(verb, constant, 64).left;
}

TEST(ZRDigiVerbEdges, AHalfOfTheQuantisersStepGoesAwayFromZero) {
  const float halfway = halfwayInput();
  ASSERT_LT(halfway, 0.9F);
  // A fifth of a step to either side.
  const float apart = 0.2F / 4095.0F / 0.15F;

  const std::vector<float> out = answerTo(halfway);

  EXPECT_EQ(out, answerTo(halfway + apart));
  EXPECT_NE(out, answerTo(halfway - apart));
}

// 1 + 17 x 0.98 = 17.66.
TEST(ZRDigiVerbEdges, ThePartOfAReflectionThatTheSizeLeavesIsNone) {
  for (const auto& [size, count] : {std::pair{0.98F, 17}, std::pair{1.0F, 18}, std::pair{0.05F, 1}}) {
    const auto verb = settled(0);
    verb->size = verb->sizeSmoothed = size;
    Stereo signal = stereoImpulse(20000, 1.0F, 0.0F);

    runStage(verb.get(), &signal, [&verb](const Modulation& m, float* L, float* R, int frames) {
      verb->doEarlyReflections(m, L, L, R, frames);
    });

    const auto heard = signal.left.size() -
                       static_cast<std::size_t>(std::count(signal.left.begin(), signal.left.end(), 0.0F));
    EXPECT_EQ(heard, static_cast<std::size_t>(count)) << size;
    EXPECT_EQ(signal.left, signal.right);
  }
}

TEST(ZRDigiVerbEdges, TheEarlyReflectionsStartAnewBehindAReset) {
  const auto verb = settled(0);
  verb->size = verb->sizeSmoothed = 0.5F;
  const auto reflect = [&verb](Stereo signal) {
    runStage(verb.get(), &signal, [&verb](const Modulation& m, float* L, float* R, int frames) {
      verb->doEarlyReflections(m, L, L, R, frames);
    });
    return signal.left;
  };
  const Stereo in = stereoNoise(12000, 6);
  const std::vector<float> fresh = reflect(in);
  EXPECT_EQ(verb->earlyIndex, 12000);

  verb->reset();

  EXPECT_EQ(verb->earlyIndex, 0);
  EXPECT_EQ(reflect(in), fresh);
}

}  // namespace
}  // namespace morv
