// The wavetable oscillator in the voice's mode: noise, blocks, rates, outputs, extremes.

#include <gtest/gtest.h>

#include <limits>

#include "tests/voice/PlainWavetableOscillator.h"

namespace morv {
namespace {

using testing::at;
using testing::FedMatrix;
using testing::PlainWavetableOscillator;
using testing::Signal;

struct Rig {
  explicit Rig(float rate = 44100.0F) : osc(rate, 64, ZROscillatorMode::voice, &counter) {
    osc.setModMatrix(&fed.matrix, false, false);
  }
  Signal run(int frames, int blockFrames = 4096) {
    Signal left(at(frames), 9.0F);
    for (int n = 0; n < frames; n += blockFrames) {
      const int block = std::min(blockFrames, frames - n);
      fed.run(block);
      osc.runGenerator(left.data() + n, nullptr, block, 120.0F);
    }
    return left;
  }

  int counter = 0;
  FedMatrix fed;
  ZRWavetableOscillator osc;
};

TEST(ZRWavetableOscillatorNoise, IsUniformWithinHalfItsLevelAndRepeatsForItsSeed) {
  constexpr int kFrames = 4096 * 4;
  constexpr double kSpread = 0.005;  // some standard errors of the mean
  Rig rig;
  rig.osc.level = 0.0F;
  rig.osc.noiseLevel = 0.8F;
  rig.osc.setRandomSeed(9);

  const Signal x = rig.run(kFrames);

  Random random(9);
  double sum = 0;
  for (const float v : x) {
    EXPECT_EQ(v, (random.unit31() - 0.5F) * 0.8F);
    sum += static_cast<double>(v);
  }
  EXPECT_NEAR(sum / kFrames, 0.0, kSpread);
  EXPECT_NEAR(std::sqrt(testing::power(x) / kFrames), 0.8 / std::sqrt(12.0), kSpread);
}

TEST(ZRWavetableOscillatorNoise, IsOffAtNoneAndBelow) {
  Rig rig;
  rig.osc.level = 0.0F;
  for (const float level : {0.0F, -0.5F}) {
    rig.osc.noiseLevel = level;
    EXPECT_EQ(rig.run(16), Signal(16, 0.0F));
  }
}

TEST(ZRWavetableOscillatorBlocks, TheirSizeMakesNoDifference) {
  const auto play = [](int blockFrames) {
    Rig rig;
    rig.osc.oscFreq = 345.6F;
    rig.osc.noteFrequency = 345.6F;
    rig.osc.oscWave = 0.7F;
    rig.osc.oscPulsewidth = 0.3F;
    rig.osc.subLevel = 0.5F;
    rig.osc.subOctave = 1;
    rig.osc.noiseLevel = 0.1F;
    rig.osc.oscCents = 12.0F;
    return rig.run(8192, blockFrames);
  };
  const Signal expected = play(4096);

  EXPECT_TRUE(testing::sameBits(play(1), expected));
  EXPECT_TRUE(testing::sameBits(play(7), expected));
  EXPECT_TRUE(testing::sameBits(play(64), expected));
}

TEST(ZRWavetableOscillatorBlocks, TheWidthThatShapesTheMixIsThatOfTheLastSample) {
  Rig rig;
  rig.osc.level = 1.0F;
  rig.osc.oscPulsewidth = 0.0F;
  rig.osc.phaseOne = 100.0F;
  rig.osc.phaseTwo = 300.0F;
  rig.fed.feed(rig.osc.oscPulsewidth, Signal{0.5F, 0.5F, 0.1F});

  const float first = rig.run(3)[0];

  const auto set = WavetableSet::sharedVoiceSet(44100.0F);
  const float w = 0.1F * 0.98F;
  const float expected = 0.95F * (set->wave(1)[101] + 2.0F * (0.5F - w) * set->wave(3)[301]) / (1.0F - w);
  EXPECT_NEAR(first, expected, 2e-6F);
}

TEST(ZRWavetableOscillatorBlocks, NoFramesMoveNothing) {
  Rig rig;
  rig.run(10);
  const float phase = rig.osc.phaseOne;

  rig.run(0);

  EXPECT_EQ(rig.osc.phaseOne, phase);
}

// At 8 kHz a step of 20 kHz spans two and a half cycles.
TEST(ZRWavetableOscillatorRates, StepsOfMoreThanACycleWrapUntilTheyLieInside) {
  Rig rig(8000.0F);
  PlainWavetableOscillator plain(8000.0F);
  Signal sweep(3000);
  for (std::size_t i = 0; i < sweep.size(); ++i) sweep[i] = 8.0F * static_cast<float>(i);
  rig.osc.oscFreq = plain.frequency = 50;
  rig.osc.subDetune = plain.subDetune = 7;
  rig.osc.subLevel = plain.subLevel = 0.5F;
  rig.osc.oscPulsewidth = plain.width = 0.9F;
  rig.osc.noteFrequency = plain.noteFrequency = 3000;
  plain.frequencyModulation = sweep;
  rig.fed.feed(rig.osc.oscFreq, sweep);

  const Signal actual = rig.run(3000);
  const std::vector<double> expected = plain.run(3000);

  for (std::size_t i = 0; i < actual.size(); ++i)
    ASSERT_NEAR(static_cast<double>(actual[i]), expected[i], 2e-6) << i;
  EXPECT_EQ(rig.osc.phaseOne, plain.phaseOne);
  EXPECT_EQ(rig.osc.phaseTwo, plain.phaseTwo);
  EXPECT_EQ(rig.osc.phaseThree, plain.phaseThree);
}

TEST(ZRWavetableOscillatorRates, HighRatesRunTheSameWay) {
  Rig rig(192000.0F);
  PlainWavetableOscillator plain(192000.0F);
  rig.osc.oscFreq = plain.frequency = 880;
  rig.osc.noteFrequency = plain.noteFrequency = 880;
  rig.osc.oscWave = plain.wave = 0.5F;

  const Signal actual = rig.run(4000);
  const std::vector<double> expected = plain.run(4000);

  for (std::size_t i = 0; i < actual.size(); ++i)
    ASSERT_NEAR(static_cast<double>(actual[i]), expected[i], 2e-6) << i;
}

TEST(ZRWavetableOscillatorRates, TenSecondsOfVibratoDoNotDrift) {
  constexpr double kMostCents = 0.1;
  Rig rig;
  rig.osc.oscFreq = 440.0F;
  Signal cents(63);
  Signal left(63);
  double moved = 0;
  for (int n = 0; n < 7000; ++n) {
    for (int i = 0; i < 63; ++i) {
      const double t = (n * 63 + i) / 44100.0;
      cents[at(i)] = static_cast<float>(80 * std::sin(2 * std::numbers::pi * 5 * t));
      moved += 440.0 * std::exp2(static_cast<double>(cents[at(i)]) / 1200.0) * 1024 / 44100;
    }
    rig.fed.feed(rig.osc.oscCents, cents);
    rig.fed.run(63);
    rig.osc.runGenerator(left.data(), nullptr, 63, 120.0F);
  }

  const double off = std::remainder(static_cast<double>(rig.osc.phaseOne) - moved, 1024.0);
  EXPECT_LT(std::abs(1200 * std::log2(1 + off / moved)), kMostCents);
}

TEST(ZRWavetableOscillatorOutputs, TheRightBufferIsNotWritten) {
  Rig rig;
  Signal left(32, 5.0F);
  Signal right(32, 5.0F);

  rig.osc.runGenerator(left.data(), right.data(), 32, 120.0F);

  EXPECT_NE(left, Signal(32, 5.0F));
  EXPECT_EQ(right, Signal(32, 5.0F));
}

TEST(ZRWavetableOscillatorOutputs, TheShortFormWritesTheFirstSource) {
  Rig a;
  Rig b;
  const Signal expected = a.run(64);

  b.osc.runGenerator(64, 120.0F);

  const float* source = b.fed.matrix.sourceBuffer(b.osc.outputSourceLeft);
  EXPECT_EQ(Signal(source, source + 64), expected);
}

TEST(ZRWavetableOscillatorOutputs, WithoutAMatrixThereAreNoLimits) {
  int counter = 0;
  ZRWavetableOscillator osc(44100.0F, 64, ZROscillatorMode::voice, &counter);
  osc.oscFreq = 15000.0F;
  osc.oscOctave = 1.0F;
  osc.oscSemitones = 12.0F;
  osc.oscCents = 1200.0F;
  Signal left(4);

  osc.runGenerator(left.data(), nullptr, 1, 120.0F);

  EXPECT_NEAR(osc.phaseOne, std::fmod(120000.0 * 1024.0 / 44100.0, 1024.0), 1e-3);
  EXPECT_TRUE(std::isfinite(left[0]));
}

TEST(ZRWavetableOscillatorExtremes, StayFinite) {
  constexpr float kHuge = std::numeric_limits<float>::max();
  constexpr float kInfinite = std::numeric_limits<float>::infinity();
  for (const float extreme : {kHuge, -kHuge, kInfinite, -kInfinite, 0.0F}) {
    Rig rig;
    rig.osc.subLevel = 1.0F;
    rig.osc.subOctave = 2;
    rig.osc.oscFreq = extreme;
    rig.osc.oscPulsewidth = extreme;
    rig.osc.noteFrequency = extreme;
    rig.fed.feed(rig.osc.oscCents, extreme);
    Signal cents(100, extreme);
    cents[50] = 0;
    rig.fed.feed(rig.osc.oscCents, cents);
    for (const float x : rig.run(100)) ASSERT_TRUE(std::isfinite(x)) << extreme;
    EXPECT_TRUE(rig.osc.phaseOne >= 0.0F && rig.osc.phaseOne < 1024.0F);
    EXPECT_TRUE(rig.osc.phaseTwo >= 0.0F && rig.osc.phaseTwo < 1024.0F);
    EXPECT_TRUE(rig.osc.phaseThree >= 0.0F && rig.osc.phaseThree < 1024.0F);
  }
}

// A setting beyond its range turns the sub oscillator round; it must not run out of its table backwards.
TEST(ZRWavetableOscillatorExtremes, ASubOctaveBelowNoneKeepsThePhaseInsideTheTable) {
  for (const int octave : {-1, -98, std::numeric_limits<int>::min()}) {
    for (const int blockFrames : {1, 64}) {
      Rig rig;
      rig.osc.subLevel = 1.0F;
      rig.osc.subOctave = octave;
      rig.osc.oscFreq = 440.0F;
      for (const float x : rig.run(640, blockFrames)) ASSERT_TRUE(std::isfinite(x)) << octave;
      EXPECT_TRUE(rig.osc.phaseThree >= 0.0F && rig.osc.phaseThree < 1024.0F)
          << octave << ": " << rig.osc.phaseThree;
    }
  }
}

}  // namespace
}  // namespace morv
