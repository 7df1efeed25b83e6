// How far each voice stands from the note: one slow walk in Poly, a fixed spread in unison.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "platform/Random.h"
#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

// Each step in single precision rounds the walk by up to 6e-8; the walk forgets a step over about a hundred
// more.
constexpr double kWalkRounding = 1e-5;

class VoiceDetune : public RenderFixture {};

TEST_F(VoiceDetune, SlopIsOneSlowWalkThroughAllVoices) {
  instrument->prepare(44100.0F, 1024);
  instrument->setRandomSeed(77);
  instrument->voiceDetune = 0.5F;
  Random draws(Random::derive(77, 0));
  const double c = std::exp(std::log(0.01) / (10250.0 * (44100.0 / 1024.0) * 0.001));
  double walk = 0;

  for (int block = 0; block < 200; ++block) {
    render();
    for (int i = 0; i < 4; ++i) {
      const double r = draws.unit31();
      walk = c * (walk - r) + r;
      const double hz = (walk - 0.5) * 100.0 * 0.5;
      ASSERT_NEAR(voice(i).seenDetune.back(), hz, 50 * kWalkRounding) << block << " " << i;
    }
  }
  EXPECT_NEAR(instrument->slopValue, walk, kWalkRounding);
}

TEST_F(VoiceDetune, EachStepOfTheWalkIsOneFusedStep) {
  instrument->slopCoefficient = 0.75F;
  instrument->setRandomSeed(3);
  instrument->voiceDetune = 1.0F;
  Random draws(Random::derive(3, 0));
  float walk = 0;

  for (int block = 0; block < 50; ++block) {
    render(1);
    for (int i = 0; i < 4; ++i) {
      const float r = draws.unit31();
      walk = std::fma(0.75F, walk - r, r);
      ASSERT_EQ(voice(i).seenDetune.back(), static_cast<float>((static_cast<double>(walk) - 0.5) * 100.0));
    }
  }
}

TEST_F(VoiceDetune, WithoutDetuneVoicesStandAtZeroInEveryBlock) {
  instrument->prepare(44100.0F, 1024);

  for (int block = 0; block < 5; ++block) {
    render();
    EXPECT_EQ(detunes(), (std::vector<float>{0, 0, 0, 0}));
  }
  EXPECT_GT(instrument->slopValue, 0.0F) << "the walk goes on";
}

TEST_F(VoiceDetune, VoicesThatDoNotRunTakeNoStepOfTheWalk) {
  instrument->slopCoefficient = 0.5F;
  instrument->voiceNumber = 1.0F;
  instrument->setRandomSeed(9);
  Random draws(Random::derive(9, 0));
  const float r = draws.unit31();

  render();

  EXPECT_EQ(instrument->slopValue, std::fma(0.5F, 0.0F - r, r));
}

TEST_F(VoiceDetune, ADetuneThatAVoiceBroughtIsAddedToAndEveryVoiceIsPutBackToZero) {
  voice(1).detuneOffset = 3.0F;

  render();

  EXPECT_EQ(voice(1).seenDetune.back(), 3.0F);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(voice(i).detuneOffset, 0.0F) << i;
  useUnison();
  voice(1).detuneOffset = 3.0F;
  render();
  EXPECT_EQ(voice(1).seenDetune.back(), 0.0F);
  EXPECT_EQ(voice(1).detuneOffset, 0.0F);
}

class UnisonSpread : public RenderFixture {
 protected:
  std::vector<float> spreadOf(float voices, float detune = 1.0F) {
    build(8);
    useUnison();
    instrument->voiceNumber = voices;
    instrument->voiceDetune = detune;
    render();
    return detunes();
  }
};

TEST_F(UnisonSpread, OneVoiceStandsAtZero) { EXPECT_EQ(spreadOf(1), (std::vector<float>{0})); }

TEST_F(UnisonSpread, TheLowerHalfGoesDownTheUpperUpAndTheMiddleStays) {
  EXPECT_EQ(spreadOf(2), (std::vector<float>{0, 0}));
  EXPECT_EQ(spreadOf(3), (std::vector<float>{0, -1, 2}));
  EXPECT_EQ(spreadOf(4), (std::vector<float>{0, -1, 0, 3}));
  EXPECT_EQ(spreadOf(5), (std::vector<float>{0, -1, -2, 3, 4}));
  EXPECT_EQ(spreadOf(8), (std::vector<float>{0, -1, -2, -3, 0, 5, 6, 7}));
}

TEST_F(UnisonSpread, BrokenNumbersOfVoicesHaveABrokenMiddle) {
  EXPECT_EQ(spreadOf(3.5F), (std::vector<float>{0, -1, 2, 3}));
}

TEST_F(UnisonSpread, DetuneScalesTheSpread) {
  EXPECT_EQ(spreadOf(4, 0.5F), (std::vector<float>{0, -0.5F, 0, 1.5F}));
  EXPECT_EQ(spreadOf(4, 0.0F), (std::vector<float>{0, 0, 0, 0}));
}

TEST_F(UnisonSpread, UnisonTakesNoStepOfTheWalk) {
  instrument->slopCoefficient = 0.5F;
  useUnison();

  render();

  EXPECT_EQ(instrument->slopValue, 0.0F);
}

}  // namespace
}  // namespace morv
