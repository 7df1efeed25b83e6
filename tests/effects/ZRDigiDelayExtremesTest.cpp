// The digital delay with inputs and settings that nobody means.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "effects/ZRDigiDelay.h"
#include "platform/DiagnosticRing.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
// Rounding of a few operations.
constexpr float kRounding = 1e-6F;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

int messagesOf(const std::string& text) {
  int count = 0;
  DiagnosticRing::Line line;
  while (DiagnosticRing::shared().take(&line)) count += text == line.format ? 1 : 0;
  return count;
}

// Wet alone, without modulation, and all of the band.
void makeBare(ZRDigiDelay* delay) {
  delay->mix = 1.0F;
  delay->modPosition = ZRDigiDelay::kNowhere;
}

TEST(ZRDigiDelayExtremes, AnInputOfOneAndAHalfIsHeardAsSilence) {
  for (const float mix : {0.0F, 0.5F, 1.0F}) {
    for (const float loud : {1.5F, -1.5F, 1e9F, std::numeric_limits<float>::infinity()}) {
      ZRDigiDelay d(kRate);
      d.mix = mix;

      const Stereo out = runInBlocks(d, stereoImpulse(6000, loud, -loud), 64);

      EXPECT_EQ(energy(out.left), 0.0) << mix << " of " << loud;
      EXPECT_EQ(energy(out.right), 0.0) << mix << " of " << loud;
    }
  }
}

TEST(ZRDigiDelayExtremes, AnInputBelowOneAndAHalfIsHeard) {
  ZRDigiDelay d(kRate);
  d.mix = 0.25F;

  const Stereo out = runInBlocks(d, stereoImpulse(6000, 1.49F, -1.49F), 64);

  EXPECT_FLOAT_EQ(out.left[0], 0.75F * 1.49F);
  EXPECT_FLOAT_EQ(out.right[0], 0.75F * -1.49F);
  EXPECT_GT(energy({out.left.begin() + 1, out.left.end()}), 0.0);
}

TEST(ZRDigiDelayExtremes, AnInputThatIsNoNumberIsToldOnceAndLeavesNoTrace) {
  for (const int position : {0, 1, 2}) {
    for (const bool isLeft : {true, false}) {
      ZRDigiDelay d(kRate);
      d.modPosition = position;
      d.modType = ZRDigiDelay::kFlanger;
      d.modFeedback = 0.5F;
      Stereo in = stereoNoise(9000, 5);
      (isLeft ? in.left : in.right)[1000] = kNaN;
      messagesOf("");

      const Stereo out = runInBlocks(d, in, 64);

      EXPECT_EQ(messagesOf("NaN!"), 1) << position;
      ASSERT_TRUE(isFinite(out)) << position;
      EXPECT_GT(energy({out.left.begin() + 6000, out.left.end()}), 1.0);
      EXPECT_GT(energy({out.right.begin() + 6000, out.right.end()}), 1.0);
    }
  }
}

TEST(ZRDigiDelayExtremes, WithTheDelayBypassedALeftThatIsNoNumberSilencesBothSides) {
  ZRDigiDelay d(kRate);
  makeBare(&d);
  d.delayBypass = true;
  Stereo in = stereoNoise(100, 5);
  in.left[10] = kNaN;
  in.right[20] = kNaN;

  const Stereo out = runInBlocks(d, in, 64);

  EXPECT_TRUE(isFinite(out));
  EXPECT_EQ(out.left[10], 0.0F);
  EXPECT_EQ(out.right[10], 0.0F);
  EXPECT_NE(out.left[20], 0.0F);
  EXPECT_EQ(out.right[20], 0.0F);
}

TEST(ZRDigiDelayExtremes, ATimeThatIsNoNumberIsToldAndChangesNothing) {
  ZRDigiDelay d(kRate);
  d.time = kNaN;
  messagesOf("");

  runInBlocks(d, stereoNoise(10, 1), 4);

  EXPECT_EQ(messagesOf("NAN TL\n"), 10);
  d.time = 2.0F;
  d.syncTempo = true;
  EXPECT_TRUE(isFinite(runInBlocks(d, stereoNoise(10, 1), 4, kNaN)));
  EXPECT_EQ(messagesOf("NAN TL\n"), 10);
  EXPECT_EQ(d.delayLeft, 0.1F);
  EXPECT_EQ(d.delayRight, 0.1F);
}

TEST(ZRDigiDelayExtremes, StaysFiniteAtTheExtremesOfEachControl) {
  constexpr float kRateHz = 8000.0F;
  const Stereo in = stereoNoise(4000, 8, 1.4F);
  using Control = float ZRDigiDelay::*;
  for (const Control control :
       {&ZRDigiDelay::time, &ZRDigiDelay::feedback, &ZRDigiDelay::mix, &ZRDigiDelay::spread,
        &ZRDigiDelay::modAmount, &ZRDigiDelay::modRate, &ZRDigiDelay::modFeedback, &ZRDigiDelay::lowpass,
        &ZRDigiDelay::highpass, &ZRDigiDelay::modBase, &ZRDigiDelay::modDepth}) {
    for (int type = 0; type < ZRDigiDelay::kModTypes; ++type) {
      ZRDigiDelay d(kRateHz);
      d.modType = type;
      d.modPosition = type % 2;
      d.modAmount = 1.0F;
      d.syncTempo = type > 3;
      for (const float value : {-1.0F, 0.0F, 1.0F, 20000.0F, -3e38F, 3e38F, kLostSettings[0],
                                kLostSettings[1], kLostSettings[2]}) {
        const float before = d.*control;
        d.*control = value;
        ASSERT_TRUE(isFinite(runInBlocks(d, in, 512))) << type << " at " << value;
        d.*control = before;
        ASSERT_TRUE(isFinite(runInBlocks(d, in, 512))) << type << " after " << value;
      }
    }
  }
}

TEST(ZRDigiDelayExtremes, FullFeedbackKeepsAnEchoAndMoreIsHeldThere) {
  constexpr float kQuiet = 0.01F;
  const auto output = [](float feedback) {
    ZRDigiDelay d(8000.0F);
    makeBare(&d);
    d.filterStage = nullptr;
    d.time = 100.0F;
    d.feedback = feedback;
    d.smoothedFeedback = 1.0F;
    return runInBlocks(d, stereoImpulse(8001, kQuiet, kQuiet), 64).left;
  };

  const std::vector<float> full = output(1.0F);

  for (std::size_t at = 800; at <= 8000; at += 800) {
    EXPECT_NEAR(full[at], std::tanh(0.95F * kQuiet), kRounding) << at;
  }
  EXPECT_EQ(output(50.0F), full);
}

TEST(ZRDigiDelayExtremes, ThePhasersCornerIsHeldBelowHalfTheRate) {
  constexpr float kQuiet = 1e-3F;  // far below saturation
  ZRDigiDelay d(8000.0F);
  makeBare(&d);
  d.filterStage = nullptr;
  d.delayBypass = true;
  d.modPosition = ZRDigiDelay::kBehindDelay;
  d.modType = ZRDigiDelay::kPhaser;
  d.modAmount = d.smoothedAmount = 1.0F;
  d.modRate = 0.0F;  // stands at 5040 Hz

  const Stereo out = runInBlocks(d, stereoSine(16000, 1000.0, 8000.0, static_cast<double>(kQuiet)), 64);

  const double power = energy({out.left.begin() + 8000, out.left.end()}) / 8000;
  EXPECT_NEAR(std::sqrt(2 * power), 0.95 * static_cast<double>(kQuiet), 1e-3 * static_cast<double>(kQuiet));
}

TEST(ZRDigiDelayExtremes, ACutoffBelowZeroIsHeldThere) {
  const Stereo in = stereoNoise(3000, 9);
  for (const auto control : {&ZRDigiDelay::lowpass, &ZRDigiDelay::highpass}) {
    const auto output = [&](float cutoffHz) {
      ZRDigiDelay d(kRate);
      makeBare(&d);
      d.delayBypass = true;
      d.*control = cutoffHz;
      return runInBlocks(d, in, 64).left;
    };

    EXPECT_EQ(output(-15000.0F), output(0.0F));
  }
}

}  // namespace
}  // namespace morv
