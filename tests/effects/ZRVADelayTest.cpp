#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "effects/ZRVADelay.h"
#include "platform/DiagnosticRing.h"
#include "tests/effects/EffectTesting.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
constexpr double kPi = std::numbers::pi;
// A coefficient this near to 1 holds its distance from 1 to some thousandths.
constexpr double kGlideError = 5e-3;
// Of a time below a second.
constexpr float kFloatStep = 6.0e-8F;
// Mains hum, hiss and tape movement beside a signal.
constexpr float kDirt = 3e-3F;

int messagesOf(const std::string& text) {
  int count = 0;
  DiagnosticRing::Line line;
  while (DiagnosticRing::shared().take(&line)) count += text == line.format ? 1 : 0;
  return count;
}

void set(ZRVADelay* delay, const ZRDSPParameter& parameter, float value) {
  delay->setParameterValueForAddress(parameter.address, value);
}

// Amplitude of a frequency over whole periods.
double amplitudeAt(const std::vector<double>& x, double frequencyHz, double rateHz) {
  double re = 0;
  double im = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double angle = 2 * kPi * frequencyHz * static_cast<double>(i) / rateHz;
    re += x[i] * std::cos(angle);
    im += x[i] * std::sin(angle);
  }
  return 2 * std::hypot(re, im) / static_cast<double>(x.size());
}

double rms(const std::vector<double>& x) {
  double sum = 0;
  for (const double v : x) sum += v * v;
  return std::sqrt(sum / static_cast<double>(x.size()));
}

int loudestFrame(const std::vector<float>& x) {
  const auto louder = [](float a, float b) { return std::abs(a) < std::abs(b); };
  return static_cast<int>(std::max_element(x.begin(), x.end(), louder) - x.begin());
}

TEST(ZRVADelay, HasItsParametersInOrder) {
  ZRVADelay delay(kRate);
  using U = ZRDSPParameterUnit;

  expectParameters(delay, {{"mix", "Mix", 0, 100, 50, U::percent, {"DRY", "WET"}},
                           {"program", "Program", 0, 3, 1, U::indexed, {"Analog", "Tape", "VintageDigital"}},
                           {"time", "Time", 20, 1000, 250, U::milliseconds},
                           {"feedback", "Feedback", 0, 100, 40, U::percent},
                           {"spread", "Spread", 0, 100, 0, U::percent},
                           {"tempoSync", "Sync", 0, 1, 0, U::boolean},
                           {"oversample", "Oversample", 0, 1, 0, U::boolean}});
  EXPECT_EQ(delay.identifier, "vadelay");
  EXPECT_EQ(delay.name, "Delay");
}

TEST(ZRVADelay, StartsWithASilentTapeOfTenSeconds) {
  const ZRVADelay delay(kRate);

  EXPECT_EQ(delay.oversampleFactor, 1);
  EXPECT_FALSE(delay.oversampleChanged);
  EXPECT_EQ(delay.syncType, 0);
  EXPECT_EQ(delay.bitDepth, 0);
  EXPECT_EQ(delay.size, 441000);
  EXPECT_EQ(delay.writeIndex, 0);
  EXPECT_EQ(delay.smoothedTimeLeft, 0.25F);
  EXPECT_EQ(delay.smoothedTimeRight, 0.25F);
  EXPECT_EQ(delay.smoothedFeedback, 0.4F);
  EXPECT_EQ(delay.phaseFast, 0.0F);
  EXPECT_EQ(delay.phaseSlow, 0.0F);
  EXPECT_EQ(delay.phaseHum, 0.0F);
  EXPECT_EQ(delay.wow, 0.0F);
  EXPECT_GE(delay.delayBuffer.size(), 441000U);
  EXPECT_NEAR(std::pow(static_cast<double>(delay.feedbackCoefficient), 22050.0), 0.01, 1e-4);
  EXPECT_NEAR(std::pow(static_cast<double>(delay.fastCoefficient), 11025.0), 0.01, 1e-4);
  for (const ZeroedFloats* decimator : {&delay.decimatorLeft, &delay.decimatorRight}) {
    ASSERT_EQ(decimator->size(), 674U + 8U * 4096U);
    EXPECT_TRUE(std::all_of(decimator->data(), decimator->data() + 674, [](float v) { return v == 0.0F; }));
  }
}

TEST(ZRVADelay, SetsUpTheOtherEchosParts) {
  ZRVADelay delay(kRate);
  const auto expectParts = [&delay](int rate) {
    for (const ZRVADelay::Channel& channel : delay.channels) {
      EXPECT_EQ(channel.comb.size, 10 * rate);
      EXPECT_GE(channel.comb.buffer.size(), static_cast<std::size_t>(10 * rate));
      EXPECT_EQ(channel.line.stages, 512);
      EXPECT_EQ(channel.line.maxDelay, 5.0F);
      EXPECT_EQ(channel.line.size, 5 * rate);
      EXPECT_GE(channel.line.delayBuffer.size(), static_cast<std::size_t>(5 * rate));
      EXPECT_EQ(channel.line.sampleRate, static_cast<float>(rate));
      for (const tpt& filter : channel.filters) EXPECT_EQ(filter.cutoff, 10000.0F);
    }
    EXPECT_EQ(delay.spareFilter.cutoff, 10000.0F);
    EXPECT_EQ(delay.bandpass().biquadType, ZRBiquadType::bandpass);
    EXPECT_EQ(delay.bandpass().sections, 10);
    EXPECT_EQ(delay.bandpass().channels, 1);
    EXPECT_NEAR(delay.bandpass().K, std::tan(kPi * 1000 / rate), 1e-6);
  };

  expectParts(44100);
  set(&delay, delay.oversample, 1.0F);
  runInBlocks(delay, Stereo(64), 64);
  expectParts(352800);
}

TEST(ZRVADelay, ProgramsWithoutAnEchoAreSilentOnTheWetSide) {
  const Stereo in = stereoNoise(2000, 1);
  for (const float program : {0.0F, 2.0F, 3.0F, 0.9F, 2.5F, -5.0F, 17.0F}) {
    ZRVADelay delay(kRate);
    delay.program = program;

    delay.mix = 100.0F;
    EXPECT_EQ(energy(runInBlocks(delay, in, 64).left), 0.0) << program;
    delay.mix = 50.0F;
    const Stereo half = runInBlocks(delay, in, 64);

    for (std::size_t i = 0; i < 2000; ++i) {
      ASSERT_EQ(half.left[i], 0.5F * in.left[i]) << program;
      ASSERT_EQ(half.right[i], 0.5F * in.right[i]) << program;
    }
  }
}

TEST(ZRVADelay, TheProgramIsTruncated) {
  ZRVADelay delay(kRate);
  delay.program = 1.99F;
  delay.mix = 100.0F;

  EXPECT_GT(energy(runInBlocks(delay, stereoImpulse(20000), 64).left), 0.1);
}

TEST(ZRVADelay, TheCrushersGridHasTwoToTheDepthLessOneStepsAUnit) {
  struct Case {
    float value;
    int bits;
    double expected;
  };
  // 3 steps: (0.4 + 1) x 3 = 4.2; (0.5 + 1) x 3 = 4.5 goes up; (-0.5 + 1) x 3 = 1.5 goes up.
  for (const Case c : {Case{0.4F, 2, 4.0 / 3 - 1}, Case{0.5F, 2, 5.0 / 3 - 1}, Case{-0.5F, 2, 2.0 / 3 - 1},
                       Case{-1.5F, 2, -2.0 / 3 - 1}, Case{0.3F, 1, 0.0}, Case{0.6F, 1, 1.0},
                       Case{0.3F, 8, 332.0 / 255 - 1}, Case{0.0F, 12, 0.0}}) {
    EXPECT_NEAR(static_cast<double>(ZRVADelay::crushed(c.value, c.bits)), c.expected, 1e-7)
        << c.value << " " << c.bits;
  }
}

TEST(ZRVADelay, TheCrusherHasAtLeastOneStepAUnit) {
  for (const int bits : {0, -3, -2000000000}) {
    EXPECT_EQ(ZRVADelay::crushed(0.3F, bits), 0.0F) << bits;
    EXPECT_EQ(ZRVADelay::crushed(0.6F, bits), 1.0F) << bits;
  }
  for (const int bits : {31, 64, 2000, 2000000000}) {
    EXPECT_NEAR(ZRVADelay::crushed(0.3F, bits), 0.3F, 1e-7F) << bits;
  }
}

TEST(ZRVADelay, WithoutFeedbackRepeatsOnceAfterItsTime) {
  for (const float rate : {kRate, 96000.0F}) {
    ZRVADelay delay(rate);
    delay.feedback = 0.0F;
    delay.mix = 100.0F;
    delay.reset();
    // Wide enough for the tape's movement to leave its height.
    Stereo in(static_cast<int>(rate));
    for (std::size_t i = 0; i < 101; ++i) in.left[i] = 0.5F * (1 - std::abs(static_cast<float>(i) - 50) / 50);

    const Stereo out = runInBlocks(delay, in, 64);

    // Flutter and wow move it by a fraction of a millisecond.
    EXPECT_NEAR(static_cast<float>(loudestFrame(out.left)) - 50.0F, 0.25F * rate, 0.0003F * rate);
    EXPECT_NEAR(peakOf(out.left), std::tanh(0.5F), 0.01F);
    EXPECT_EQ(out.left, out.right);
    const std::vector<float> later(out.left.begin() + static_cast<int>(0.3F * rate), out.left.end());
    EXPECT_LT(peakOf(later), kDirt);
    EXPECT_GT(peakOf(later), 0.0005F);
  }
}

TEST(ZRVADelay, HumAndHissStandOnTheTapeAtTheirLevels) {
  constexpr double kLevelDb = 1.0;
  ZRVADelay delay(kRate);
  delay.feedback = 0.0F;
  delay.reset();

  runInBlocks(delay, Stereo(44100), 64);

  std::vector<double> tape;
  for (std::size_t i = 0; i < 44100; ++i) tape.push_back(static_cast<double>(delay.delayBuffer[i]));
  EXPECT_NEAR(20 * std::log10(amplitudeAt(tape, 60, 44100)), -60.0, kLevelDb);
  for (std::size_t i = 0; i < 44100; ++i) {
    tape[i] -= 0.001 * std::sin(2 * kPi * 60 * static_cast<double>(i + 1) / 44100);
  }
  // Evenly spread noise is sqrt(3) below its peak.
  EXPECT_NEAR(20 * std::log10(rms(tape) * std::sqrt(3.0)), -75.0, kLevelDb);
}

// At four times the hum's frequency its first sample is the crest; the hiss alone would be far below.
TEST(ZRVADelay, TheHumStepsAheadOfItsSine) {
  constexpr float kHissPeak = 1.8e-4F;
  ZRVADelay delay(240.0F);

  runInBlocks(delay, Stereo(4), 4);

  const float expected[] = {0.001F, 0.0F, -0.001F, 0.0F};
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(delay.delayBuffer[i], expected[i], kHissPeak) << i;
}

TEST(ZRVADelay, WowAndFlutterMoveTheReadByTheirDepths) {
  ZRVADelay delay(kRate);
  std::vector<double> moved;
  std::vector<double> wow;
  for (int i = 0; i < 44100; ++i) {
    runInBlocks(delay, Stereo(1), 1);
    moved.push_back(static_cast<double>(delay.tapePosition) - 0.25);
    wow.push_back(static_cast<double>(delay.wow));
  }

  // Noise adds some per cent of a sine's depth.
  EXPECT_NEAR(amplitudeAt(moved, 6, 44100), 1e-4, 2e-6);
  EXPECT_NEAR(amplitudeAt(moved, 22, 44100), 0.7e-4, 2e-6);
  // White noise of variance 1/3 behind a pole with the trapezoidal rule: G = g / (1 + g) of its power.
  const double g = std::tan(kPi * 45 / 44100);
  EXPECT_NEAR(rms(wow) / std::sqrt(g / (1 + g) / 3), 1.0, 0.15);
  for (std::size_t i = 0; i < 44100; ++i) {
    const double at = static_cast<double>(i + 1) / 44100;
    moved[i] -= 1e-4 * (0.7 * std::sin(2 * kPi * 22 * at) + std::sin(2 * kPi * 6 * at) + wow[i]);
  }
  // Phases in floats drift by some 1e-3 of a turn in a second.
  EXPECT_LT(rms(moved), 5e-7);
}

TEST(ZRVADelay, ARiseGlidesWithinOneSecondAndAFallWithinTwo) {
  for (const int oversampling : {1, 8}) {
    ZRVADelay delay(8000.0F);
    if (oversampling == 8) set(&delay, delay.oversample, 1.0F);
    delay.time = 250.0F;
    runInBlocks(delay, Stereo(1), 1);
    delay.smoothedTimeLeft = delay.smoothedTimeRight = 0.25F;

    delay.time = 1000.0F;
    runInBlocks(delay, Stereo(8000), 64);
    const double risen = 1.0 - 0.75 * std::exp(-1.0);
    EXPECT_NEAR(static_cast<double>(delay.smoothedTimeLeft), risen, kGlideError);

    delay.smoothedTimeLeft = delay.smoothedTimeRight = 1.0F;
    delay.time = 200.0F;
    runInBlocks(delay, Stereo(16000), 64);
    const double fallen = 0.2 + 0.8 * std::exp(-1.0);
    EXPECT_NEAR(static_cast<double>(delay.smoothedTimeLeft), fallen, kGlideError);
    EXPECT_NEAR(static_cast<double>(delay.smoothedTimeRight), fallen, kGlideError);
  }
}

TEST(ZRVADelay, ATimeAtRestStaysThere) {
  for (const float timeMs : {37.0F, 333.0F, 970.0F}) {
    ZRVADelay delay(kRate);
    delay.time = timeMs;
    delay.reset();
    set(&delay, delay.oversample, 1.0F);

    runInBlocks(delay, Stereo(10000), 512);

    EXPECT_NEAR(delay.smoothedTimeLeft, timeMs / 1000.0F, kFloatStep);
    EXPECT_NEAR(delay.smoothedTimeRight, timeMs / 1000.0F, kFloatStep);
  }
}

TEST(ZRVADelay, TheRightTimeGlidesAtTheLeftTimesPace) {
  ZRVADelay delay(kRate);
  delay.spread = 100.0F;  // five seconds to each side

  runInBlocks(delay, Stereo(44100), 64);

  const double way = 5.0 * (1 - std::exp(-1.0));
  EXPECT_NEAR(static_cast<double>(delay.smoothedTimeLeft), 0.25 + way, 5 * kGlideError);
  EXPECT_NEAR(static_cast<double>(delay.smoothedTimeRight), 0.25 - way, 5 * kGlideError);
}

TEST(ZRVADelay, TheRightInputAndTimeAreNotHeard) {
  ZRVADelay one(kRate);
  ZRVADelay other(kRate);
  const Stereo in = stereoNoise(20000, 3);
  double sound = 0;
  for (std::size_t i = 0; i < 20000; ++i) {
    float left = 0;
    float right = 0;
    float otherLeft = 0;
    float otherRight = 0;
    one.doTapeDelay(in.left[i], in.right[i], &left, &right, 0.1F, 0.2F);
    other.doTapeDelay(in.left[i], 0.0F, &otherLeft, &otherRight, 0.1F, -4.75F);
    ASSERT_EQ(left, otherLeft);
    ASSERT_EQ(right, otherRight);
    ASSERT_EQ(left, right);
    sound += static_cast<double>(std::abs(left));
  }
  EXPECT_GT(sound, 100.0);
  EXPECT_LT(other.smoothedTimeRight, 0.0F);
}

TEST(ZRVADelay, TempoGivesFiveOctavesFromAPartOfABeat) {
  struct Case {
    int syncType;
    double beats;
  };
  for (const Case c :
       {Case{0, 0.0625}, Case{1, 0.09375}, Case{2, 1.0 / 24}, Case{-1, 0.0625}, Case{9, 0.0625}}) {
    for (const float timeMs : {20.0F, 250.0F, 1000.0F}) {
      // Slow samples, so that the glide ends soon.
      ZRVADelay delay(1000.0F);
      delay.tempoSync = 1.0F;
      delay.syncType = c.syncType;
      delay.time = timeMs;
      delay.spread = 2.0F;

      runInBlocks(delay, Stereo(20000), 512, 150.0F);

      const double synced = 60.0 / 150 * c.beats * std::pow(2, 5 * static_cast<double>(timeMs) / 1000);
      EXPECT_NEAR(static_cast<double>(delay.smoothedTimeLeft), synced + 0.1, 1e-3)
          << c.syncType << " " << timeMs;
      EXPECT_NEAR(static_cast<double>(delay.smoothedTimeRight), synced - 0.1, 1e-3)
          << c.syncType << " " << timeMs;
      EXPECT_EQ(delay.tempo, 150.0F);
    }
  }
}

TEST(ZRVADelay, ATempoThatIsNoneLeavesTheTimes) {
  ZRVADelay delay(kRate);
  delay.tempoSync = 1.0F;

  for (const float tempo : {0.0F, std::nanf(""), 1e-38F}) {
    EXPECT_TRUE(isFinite(runInBlocks(delay, stereoNoise(2000, 1), 64, tempo)));
    EXPECT_NEAR(delay.smoothedTimeLeft, 0.25F, 1e-5F) << tempo;
  }
}

TEST(ZRVADelay, FeedbackFollowsItsSettingWithinHalfASecond) {
  ZRVADelay delay(kRate);
  delay.feedback = 100.0F;

  runInBlocks(delay, Stereo(22050), 64);

  EXPECT_NEAR(delay.smoothedFeedback, 1.0F - 0.6F * 0.01F, 1e-4F);
}

TEST(ZRVADelay, OnlyASetValueRebuildsForOversampling) {
  ZRVADelay delay(kRate);
  runInBlocks(delay, stereoNoise(1000, 1), 64);

  delay.oversample = 1.0F;
  runInBlocks(delay, stereoNoise(1000, 1), 64);
  EXPECT_FALSE(delay.oversampleChanged);
  EXPECT_EQ(delay.oversampleFactor, 1);
  EXPECT_EQ(delay.writeIndex, 2000);

  set(&delay, delay.oversample, 1.0F);
  EXPECT_TRUE(delay.oversampleChanged);
  EXPECT_EQ(delay.oversampleFactor, 1);
  runInBlocks(delay, Stereo(10), 10);
  EXPECT_FALSE(delay.oversampleChanged);
  EXPECT_EQ(delay.oversampleFactor, 8);
  EXPECT_EQ(delay.size, 3528000);
  EXPECT_EQ(delay.writeIndex, 80);
  EXPECT_NEAR(std::pow(static_cast<double>(delay.feedbackCoefficient), 176400.0), 0.01, 5e-4);

  set(&delay, delay.oversample, 0.0F);
  runInBlocks(delay, Stereo(10), 10);
  EXPECT_EQ(delay.oversampleFactor, 1);
  EXPECT_EQ(delay.size, 441000);
  EXPECT_EQ(delay.writeIndex, 10);
}

TEST(ZRVADelay, SettingOtherParametersRebuildsNothing) {
  ZRVADelay delay(kRate);

  set(&delay, delay.time, 300.0F);

  EXPECT_EQ(delay.time.value, 300.0F);
  EXPECT_FALSE(delay.oversampleChanged);
}

TEST(ZRVADelay, SettingTheSameOversamplingLosesTheTapeToo) {
  ZRVADelay delay(kRate);
  delay.mix = 100.0F;
  runInBlocks(delay, stereoNoise(10000, 1), 64);

  set(&delay, delay.oversample, 0.0F);

  EXPECT_LT(peakOf(runInBlocks(delay, Stereo(40000), 64).left), kDirt);
}

TEST(ZRVADelay, TurningOversamplingOnAndOffLosesTheTape) {
  ZRVADelay delay(kRate);
  delay.mix = 100.0F;
  delay.time = 300.0F;
  delay.reset();
  runInBlocks(delay, stereoNoise(10000, 1), 64);

  set(&delay, delay.oversample, 1.0F);
  EXPECT_LT(peakOf(runInBlocks(delay, Stereo(20000), 64).left), kDirt);
  runInBlocks(delay, stereoNoise(10000, 1), 64);
  set(&delay, delay.oversample, 0.0F);
  EXPECT_LT(peakOf(runInBlocks(delay, Stereo(40000), 64).left), kDirt);
}

TEST(ZRVADelay, AnOversampledRepeatComesWithinTheDecimatorsDelay) {
  ZRVADelay delay(kRate);
  delay.feedback = 0.0F;
  delay.mix = 100.0F;
  set(&delay, delay.oversample, 1.0F);
  Stereo in(20000);
  for (std::size_t i = 0; i < 101; ++i) in.left[i] = 0.5F * (1 - std::abs(static_cast<float>(i) - 50) / 50);

  const Stereo out = runInBlocks(delay, in, 64);

  // The filter's centre lies 337.5 of 674 samples back, at eight times the rate.
  EXPECT_NEAR(loudestFrame(out.left) - 50, 11025 + 42, 14);
  EXPECT_NEAR(peakOf(out.left), std::tanh(0.5F), 0.02F);
}

TEST(ZRVADelay, PrepareWhileOversamplingMultipliesTheRateTwice) {
  ZRVADelay delay(8000.0F);
  set(&delay, delay.oversample, 1.0F);
  runInBlocks(delay, Stereo(64), 64);

  delay.prepare(8000.0F, 256);

  EXPECT_EQ(delay.sampleRate, 64000.0F);
  EXPECT_EQ(delay.blockSize, 256);
  EXPECT_EQ(delay.size, 10 * 64 * 8000);
  EXPECT_TRUE(isFinite(runInBlocks(delay, stereoNoise(2000, 1), 64)));
  delay.prepare(8000.0F, 256);
  EXPECT_EQ(delay.sampleRate, 64000.0F);
  set(&delay, delay.oversample, 0.0F);
  runInBlocks(delay, Stereo(64), 64);
  EXPECT_EQ(delay.size, 640000);
  delay.prepare(8000.0F, 256);
  EXPECT_EQ(delay.size, 80000);
}

TEST(ZRVADelay, PrepareEmptiesTheTapeAndTakesTheSettings) {
  ZRVADelay delay(kRate);
  delay.mix = 100.0F;
  runInBlocks(delay, stereoNoise(10000, 1), 64);
  delay.time = 400.0F;
  delay.feedback = 70.0F;

  delay.prepare(48000.0F, 128);

  EXPECT_EQ(delay.size, 480000);
  EXPECT_EQ(delay.smoothedTimeLeft, 0.4F);
  EXPECT_EQ(delay.smoothedTimeRight, 0.4F);
  EXPECT_EQ(delay.smoothedFeedback, 0.7F);
  EXPECT_TRUE(std::all_of(delay.delayBuffer.data(), delay.delayBuffer.data() + 480000,
                          [](float v) { return v == 0.0F; }));
  EXPECT_LT(peakOf(runInBlocks(delay, Stereo(40000), 64).left), kDirt);
}

TEST(ZRVADelay, ItsFiltersKeepTheirCoefficientsAtAnotherRate) {
  ZRVADelay delay(kRate);
  runInBlocks(delay, Stereo(64), 64);
  const float g = static_cast<float>(std::tan(kPi * 5000 / 44100));
  const float G = delay.lowpassFilter.G;
  const float high = delay.highpassFilter.G;
  EXPECT_NEAR(G, g / (1 + g), 1e-6F);

  delay.prepare(96000.0F, 64);
  runInBlocks(delay, Stereo(64), 64);

  EXPECT_EQ(delay.lowpassFilter.G, G);
  EXPECT_EQ(delay.highpassFilter.G, high);
}

TEST(ZRVADelay, AnInputThatIsNoNumberIsReportedAndCountsAsNone) {
  ZRVADelay delay(kRate);
  Stereo in(30000);
  in.left[10] = std::nanf("");
  in.right[20] = std::nanf("");
  in.left[30] = in.right[30] = std::nanf("");
  in.left[40] = std::numeric_limits<float>::infinity();
  messagesOf("");

  EXPECT_TRUE(isFinite(runInBlocks(delay, in, 64)));

  EXPECT_EQ(messagesOf("NaN!"), 3);
}

TEST(ZRVADelay, ATimeThatIsNoNumberIsReportedAndLeavesTheTime) {
  ZRVADelay delay(kRate);
  delay.time = std::nanf("");
  messagesOf("");

  EXPECT_TRUE(isFinite(runInBlocks(delay, stereoNoise(100, 1), 64)));

  EXPECT_EQ(messagesOf("NAN TL\n"), 100);
  EXPECT_EQ(delay.smoothedTimeLeft, 0.25F);
}

TEST(ZRVADelay, ThePlainDelaySaturatesWhatItWrites) {
  ZRVADelay delay(1024.0F);
  delay.smoothedFeedback = 0.5F;
  float left = 0;
  float right = 0;
  std::vector<float> out;
  for (int i = 0; i < 600; ++i) {
    delay.doDelay(i == 0 ? 0.8F : 0.0F, 0.3F, &left, &right, 0.25F, 7.0F);
    ASSERT_EQ(left, right);
    out.push_back(left);
  }

  EXPECT_NEAR(out[256], std::tanh(0.8F), 1e-6F);
  EXPECT_NEAR(out[512], std::tanh(0.5F * std::tanh(0.8F)), 1e-6F);
  EXPECT_NEAR(energy(out), std::pow(std::tanh(0.8), 2) + std::pow(std::tanh(0.5 * std::tanh(0.8)), 2), 1e-5);
  messagesOf("");
  delay.doDelay(std::nanf(""), 0.0F, &left, &right, 0.25F, 0.0F);
  EXPECT_EQ(messagesOf("NaN!"), 1);
  EXPECT_EQ(delay.delayBuffer[600], 0.0F);
}

TEST(ZRVADelay, TheOtherFormsDoNothing) {
  ZRVADelay delay(kRate);
  float left = 3.0F;
  float right = 4.0F;

  delay.doBBDDelay(1.0F, 1.0F, &left, &right, 0.1F, 0.1F);
  delay.doVintageDigitalDelay(1.0F, 1.0F, &left, &right, 0.1F, 0.1F);

  EXPECT_EQ(left, 3.0F);
  EXPECT_EQ(right, 4.0F);
  EXPECT_EQ(delay.writeIndex, 0);
}

TEST(ZRVADelay, DoesNotLookAtBypass) {
  ZRVADelay delay(kRate);
  delay.program = 0.0F;
  delay.bypass.value = 1.0F;
  const Stereo in = stereoNoise(100, 1);

  EXPECT_EQ(runInBlocks(delay, in, 64).left[50], 0.5F * in.left[50]);
}

TEST(ZRVADelay, ItsNoiseComesFromItsSeed) {
  const auto run = [](std::uint64_t seed) {
    ZRVADelay delay(kRate);
    delay.mix = 100.0F;
    delay.setRandomSeed(seed);
    return runInBlocks(delay, Stereo(15000), 64).left;
  };

  EXPECT_EQ(run(5), run(5));
  EXPECT_NE(run(5), run(6));
}

TEST(ZRVADelay, StaysBoundedAtTheExtremesOfItsSettings) {
  for (const float rate : {8000.0F, 44100.0F}) {
    for (const float oversampling : {0.0F, 1.0F}) {
      ZRVADelay probe(rate);
      for (std::size_t p = 0; p + 1 < probe.parameters().size(); ++p) {
        for (const bool isGreatest : {false, true}) {
          ZRVADelay delay(rate);
          delay.feedback = 100.0F;
          ZRDSPParameter* parameter = delay.parameters()[p];
          *parameter = isGreatest ? parameter->maxValue : parameter->minValue;
          set(&delay, delay.oversample, oversampling);
          const Stereo out = runInBlocks(delay, stereoNoise(static_cast<int>(rate / 2), 13, 1.0F), 64);
          ASSERT_TRUE(isFinite(out));
          // Tape and dry signal each end at 1; the decimator's filter overshoots.
          ASSERT_LT(peakOf(out.left), oversampling > 0 ? 2.0F : 1.0001F) << parameter->identifier;
        }
      }
    }
  }
}

TEST(ZRVADelay, EachSettingMayBeLostForAWhile) {
  const auto make = [] { return std::make_unique<ZRVADelay>(8000.0F); };
  expectEachSettingMayBeLostForAWhile(make, 8000.0F, 0.5F, true, [](const ZRDSPEffect&) {});
}

}  // namespace
}  // namespace morv
