#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "voice/DPWOscillator.h"
#include "voice/OscillatorLaws.h"

namespace morv {
namespace {

// A square of a float phase is off by half a step of 2^-24; the slope scales that by 44100 / 4 f, here up to
// 110 for two such squares.
constexpr double kSlopeRounding = 3e-5;

DPWOscillatorState stateWithWave(int wave) {
  DPWOscillatorState state;
  initDPWOsc(state);
  state.wave = wave;
  return state;
}

// The same oscillator in doubles, with the phases kept in float as the record keeps them.
class PlainDPW {
 public:
  PlainDPW(int wave, double frequencyHz, double width, double offset)
      : wave_(wave), f_(frequencyHz), width_(width), offset_(offset) {}

  double next() {
    const double increment = f_ / 44100.0;
    double y = slope(static_cast<double>(p_) * p_, lastP_) * 44100.0 / (4.0 * f_);
    const double q2 = static_cast<double>(q_) * q_;
    if (wave_ == 0) y = (q2 - 1.0) * (q2 - 1.0) - 0.5;
    if (wave_ == 1) {
      double v = static_cast<double>(p_) + offset_;
      if (v > 1.0) v -= 2.0;
      y -= width_ * slope(v * v, lastSecond_) * 44100.0 / (4.0 * f_);
    }
    if (wave_ == 2) y = slope(s_ * (1.0 - q2), lastSecond_) * 44100.0 / f_ * 0.25;
    p_ = static_cast<float>(static_cast<double>(p_) + increment);
    q_ = static_cast<float>(static_cast<double>(q_) + increment);
    if (p_ > 1.0F) p_ -= 2.0F;
    if (q_ > 1.0F) {
      q_ -= 2.0F;
      s_ = s_ > 0 ? -1.0 : 1.0;
    }
    return y;
  }

 private:
  static double slope(double value, double& last) {
    const double d = value - last;
    last = value;
    return d;
  }
  int wave_;
  double f_, width_, offset_;
  float p_ = -1.0F, q_ = 0.0F;
  double lastP_ = 0, lastSecond_ = 0, s_ = 0;
};

TEST(DPWOscillator, StartsWithTheSawAtTheFootOfItsPhase) {
  DPWOscillatorState state;
  state.phase = state.secondPhase = state.lastSquare = state.lastSecond = state.sign = state.held = 0.7F;

  initDPWOsc(state);

  EXPECT_EQ(state.phase, -1.0F);
  EXPECT_EQ(state.secondPhase, 0.0F);
  EXPECT_EQ(state.lastSquare, 0.0F);
  EXPECT_EQ(state.lastSecond, 0.0F);
  EXPECT_EQ(state.sign, 0.0F);
  EXPECT_EQ(state.held, 0.0F);
  EXPECT_EQ(state.wave, 3);
}

TEST(DPWOscillator, EachWaveFollowsItsFormula) {
  for (const int wave : {0, 1, 2, 3}) {
    SCOPED_TRACE(wave);
    DPWOscillatorState state = stateWithWave(wave);
    PlainDPW plain(wave, 441.0, 0.8, 0.6);

    for (int i = 0; i < 2000; ++i) {
      ASSERT_NEAR(static_cast<double>(runOSC2(state, 441.0F, 0.8F, 0.6F)), plain.next(), kSlopeRounding) << i;
    }
  }
}

TEST(DPWOscillator, TheFirstSawSampleStartsFromASquareOfZero) {
  DPWOscillatorState state = stateWithWave(3);

  const float first = runOSC2(state, 441.0F, 1.0F, 1.0F);

  EXPECT_FLOAT_EQ(first, 25.0F);  // (1 - 0) x 44100 / (4 x 441)
}

TEST(DPWOscillator, TheSawRisesFromMinusOneToOneOncePerTwoPeriodsOfItsFrequency) {
  DPWOscillatorState state = stateWithWave(3);
  runOSC2(state, 441.0F, 1.0F, 1.0F);

  // The phase needs 200 steps of 1/100 for its range of two.
  for (int i = 1; i < 200; ++i) {
    const float ramp = -1.0F + (static_cast<float>(i) - 0.5F) * 0.01F;
    ASSERT_NEAR(runOSC2(state, 441.0F, 1.0F, 1.0F), 0.5F * ramp, kSlopeRounding * 10) << i;
  }
}

TEST(DPWOscillator, ThreeFrequenciesAddUpWithFullWidthAndHalfACycleOfOffset) {
  DPWOscillatorState sum = stateWithWave(1);
  DPWOscillatorState whole = stateWithWave(1);

  for (int i = 0; i < 500; ++i) {
    ASSERT_EQ(runOSC(sum, 400.0F, 40.0F, 1.0F), runOSC2(whole, 441.0F, 1.0F, 1.0F)) << i;
  }
}

TEST(DPWOscillator, NoiseIsTheGeneratorsGaussianDraw) {
  DPWOscillatorState state = stateWithWave(4);
  state.random.reseed(3);
  Random reference(3);

  EXPECT_EQ(runOSC2(state, 441.0F, 1.0F, 1.0F), gaussianNoise(reference));
  EXPECT_EQ(runOSC2(state, 441.0F, 1.0F, 1.0F), gaussianNoise(reference));
  EXPECT_GT(state.secondPhase, 0.0F);
}

TEST(DPWOscillator, AWaveItDoesNotKnowIsTheSawWithAStandingSecondPhase) {
  DPWOscillatorState unknown = stateWithWave(9);
  DPWOscillatorState saw = stateWithWave(3);

  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(runOSC2(unknown, 441.0F, 1.0F, 1.0F), runOSC2(saw, 441.0F, 1.0F, 1.0F)) << i;
  }
  EXPECT_EQ(unknown.secondPhase, 0.0F);
}

TEST(DPWOscillator, PhasesWrapOnlyStrictlyAboveOne) {
  DPWOscillatorState state = stateWithWave(3);
  state.phase = 0.5F;
  state.secondPhase = 0.5F;

  runOSC2(state, 22050.0F, 1.0F, 1.0F);  // a step of exactly one half

  EXPECT_EQ(state.phase, 1.0F);
  EXPECT_EQ(state.secondPhase, 1.0F);
  EXPECT_EQ(state.sign, 0.0F);
  EXPECT_EQ(state.held, 0.0F);
}

TEST(DPWOscillator, AWrapDrawsAHeldValueAndTurnsTheSign) {
  DPWOscillatorState state = stateWithWave(3);
  state.random.reseed(8);
  Random reference(8);
  state.phase = 0.9F;
  state.secondPhase = 0.9F;

  runOSC2(state, 22050.0F, 1.0F, 1.0F);

  EXPECT_FLOAT_EQ(state.phase, -0.6F);
  EXPECT_FLOAT_EQ(state.secondPhase, -0.6F);
  EXPECT_EQ(state.held, gaussianNoise(reference));
  EXPECT_EQ(state.sign, 1.0F);

  state.secondPhase = 0.9F;
  runOSC2(state, 22050.0F, 1.0F, 1.0F);
  EXPECT_EQ(state.sign, -1.0F);
}

}  // namespace
}  // namespace morv
