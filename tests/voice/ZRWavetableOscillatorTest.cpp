// The wavetable oscillator in the voice's mode.

#include <gtest/gtest.h>

#include <limits>

#include "tests/voice/PlainWavetableOscillator.h"
#include "voice/ZRWavetableOscillator.h"

namespace morv {
namespace {

using testing::at;
using testing::FedMatrix;
using testing::PlainWavetableOscillator;
using testing::Signal;

constexpr double kMixError = 2e-6;    // some float roundings of values up to four
constexpr double kDriftError = 2e-4;  // a relative frequency error of 3e-7 over the samples of one test
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

class ZRWavetableOscillatorTest : public ::testing::Test {
 protected:
  explicit ZRWavetableOscillatorTest(float rate = 44100.0F)
      : osc(rate, 64, ZROscillatorMode::voice, &counter), plain(rate) {
    osc.setModMatrix(&fed.matrix, false, false);
  }

  // Takes the settings of the plain form over.
  void copySettings() {
    osc.oscFreq = plain.frequency;
    osc.oscOctave = plain.octave;
    osc.oscSemitones = plain.semitones;
    osc.oscCents = plain.cents;
    osc.oscPulsewidth = plain.width;
    osc.oscWave = plain.wave;
    osc.level = plain.level;
    osc.fmAmount.value = plain.fmAmount;
    osc.subLevel = plain.subLevel;
    osc.subDetune = plain.subDetune;
    osc.subOctave = plain.subOctave;
    osc.subWave = plain.subWave;
    osc.noteFrequency = plain.noteFrequency;
    osc.sampleRate = plain.rate;
    const auto feed = [&](const ZRDSPParameter& p, const Signal& x) {
      if (!x.empty()) fed.feed(p, x);
    };
    feed(osc.oscFreq, plain.frequencyModulation);
    feed(osc.oscOctave, plain.octaveModulation);
    feed(osc.oscSemitones, plain.semitoneModulation);
    feed(osc.oscCents, plain.centsModulation);
    feed(osc.oscPulsewidth, plain.widthModulation);
    feed(osc.oscWave, plain.waveModulation);
    feed(osc.oscPhaseModulation, plain.phaseModulation);
  }

  Signal run(int frames) {
    Signal left(at(frames), 9.0F);
    fed.run(frames);
    osc.runGenerator(left.data(), nullptr, frames, 120.0F);
    return left;
  }

  void expectPlain(int frames, double tolerance = kMixError) {
    copySettings();
    const Signal actual = run(frames);
    const std::vector<double> expected = plain.run(frames);
    double worst = 0;
    for (std::size_t i = 0; i < actual.size(); ++i)
      worst = std::max(worst, std::abs(static_cast<double>(actual[i]) - expected[i]));
    EXPECT_LT(worst, tolerance);
  }

  static Signal wave(int frames, float middle, float depth, double cycles) {
    Signal x(at(frames));
    for (int i = 0; i < frames; ++i)
      x[at(i)] = middle + depth * static_cast<float>(std::sin(2.0 * std::numbers::pi * cycles * i / frames));
    return x;
  }

  int counter = 0;
  FedMatrix fed;
  ZRWavetableOscillator osc;
  PlainWavetableOscillator plain;
};

TEST_F(ZRWavetableOscillatorTest, AFreshOscillatorHoldsItsDefaults) {
  int next = 40;
  const ZRWavetableOscillator fresh(44100.0F, 64, ZROscillatorMode::voice, &next);

  EXPECT_EQ(next, 49);
  EXPECT_EQ(fresh.oscFreq.address, 40);
  EXPECT_EQ(fresh.numberOfParameters(), 9);
  for (const ZRDSPParameter* p : {&fresh.fmAmount, &fresh.morphAmount}) {
    EXPECT_EQ(p->address, -1);
    EXPECT_EQ(p->value, 0.0F);
    EXPECT_EQ(p->identifier, "");
  }
  EXPECT_EQ(fresh.morphTable, 0);
  EXPECT_EQ(fresh.subOctave, 0);
  EXPECT_EQ(fresh.noiseLevel, 0.0F);
  EXPECT_EQ(fresh.subLevel, 0.0F);
  EXPECT_EQ(fresh.subDetune, 0.0F);
  EXPECT_EQ(fresh.subWave, 0);
  EXPECT_EQ(fresh.tablePosition, 1.0F);
  EXPECT_EQ(fresh.modulatedFrequency, 1.0F);
  EXPECT_EQ(fresh.rawFrequency, 1.0F);
  EXPECT_EQ(fresh.noteFrequency, 0.0F);
  EXPECT_FALSE(fresh.noiseFromTable);
  EXPECT_FALSE(fresh.morphEnabled);
  EXPECT_EQ(fresh.bankTableCount, 0);
  EXPECT_EQ(fresh.tableSize, 1024);
  EXPECT_EQ(fresh.tableCount, 4);
  EXPECT_TRUE(fresh.tablesReady);
  EXPECT_EQ(fresh.noiseWave, 4);
  EXPECT_EQ(fresh.phaseOne, 0.0F);
  EXPECT_EQ(fresh.phaseTwo, 512.0F);
  EXPECT_EQ(fresh.phaseThree, 0.0F);
}

TEST_F(ZRWavetableOscillatorTest, PlainSettingsGiveTheMixOfThePlainForm) {
  plain.noteFrequency = 440;
  plain.frequency = 440;
  plain.subLevel = 0.7F;
  for (const float shape : {0.0F, 0.3F, 1.0F}) {
    for (const float width : {0.0F, 0.2F, 0.5F, 0.9F, 1.0F}) {
      SCOPED_TRACE(shape);
      SCOPED_TRACE(width);
      plain.wave = shape;
      plain.width = width;
      expectPlain(1001);
    }
  }
}

TEST_F(ZRWavetableOscillatorTest, EveryCopyOfTheTablesIsReadFromOneSampleInside) {
  plain.frequency = 333;
  plain.wave = 0.5F;
  plain.subLevel = 0.5F;
  plain.subWave = 1;
  plain.subOctave = 1;
  for (int copy = 0; copy < 16; ++copy) {
    SCOPED_TRACE(copy);
    plain.noteFrequency = static_cast<float>(0.9 * 44100.0 / 1024.0 * std::pow(1.44, copy + 0.5));
    expectPlain(500);
    EXPECT_EQ(osc.tablePosition, static_cast<float>(std::min(copy, 12) / 12.0));
  }
}

TEST_F(ZRWavetableOscillatorTest, TheNoteAloneChoosesTheCopy) {
  osc.oscFreq = 8000.0F;
  fed.feed(osc.oscFreq, 9000.0F);
  const double low = 0.9 * 44100.0 / 1024.0;
  const auto positionAt = [&](double f) {
    osc.noteFrequency = static_cast<float>(f);
    run(8);
    return std::lround(static_cast<double>(osc.tablePosition) * 12.0);
  };

  EXPECT_EQ(positionAt(0.0), 0);
  EXPECT_EQ(positionAt(-5.0), 0);
  EXPECT_EQ(positionAt(low * 0.99), 0);
  EXPECT_EQ(positionAt(low * 1.439), 0);
  EXPECT_EQ(positionAt(low * 1.441), 1);
  EXPECT_EQ(positionAt(low * std::pow(1.44, 12) * 0.999), 11);
  EXPECT_EQ(positionAt(low * std::pow(1.44, 12) * 1.001), 12);
  EXPECT_EQ(positionAt(20000.0), 12);
}

TEST_F(ZRWavetableOscillatorTest, ANewRateMovesTheStepsButNotTheChoiceOfTheCopy) {
  plain.rate = 96000;
  plain.frequency = 1000;
  plain.noteFrequency = 70;  // copy 1 at 44.1 kHz, 0 at 96 kHz
  plain.subLevel = 0.5F;
  expectPlain(800);

  EXPECT_NEAR(osc.tablePosition, 1.0F / 12.0F, 1e-7F);
  EXPECT_NEAR(osc.phaseOne, std::fmod(800 * 1000 * 1024.0 / 96000, 1024.0), 0.01);
}

TEST_F(ZRWavetableOscillatorTest, PitchControlsMultiplyTheFrequency) {
  plain.frequency = 300;
  plain.octave = 1;
  plain.semitones = -5;
  plain.cents = 37;
  plain.octaveModulation = wave(64, -1.9F, 0, 0);
  plain.semitoneModulation = wave(64, 3.7F, 0, 0);
  plain.centsModulation = wave(64, -20.0F, 0, 0);
  plain.noteFrequency = 300;

  expectPlain(64);

  const double f = 300.0 * std::exp2(1 - 1 + (-5 + 3 + 0.37 - 0.2) / 12.0);
  EXPECT_NEAR(osc.modulatedFrequency, f, f * 1e-6);
  EXPECT_EQ(osc.rawFrequency, 300.0F);
}

TEST_F(ZRWavetableOscillatorTest, OctavesAndSemitonesAreModulatedByTheFirstSampleCutToWholeSteps) {
  plain.frequency = 300;
  plain.octaveModulation = wave(64, 1.99F, 0, 0);
  plain.semitoneModulation = wave(64, -2.99F, 0, 0);
  std::fill(plain.octaveModulation.begin() + 1, plain.octaveModulation.end(), 3.0F);
  std::fill(plain.semitoneModulation.begin() + 1, plain.semitoneModulation.end(), 9.0F);

  expectPlain(64);

  EXPECT_NEAR(osc.modulatedFrequency, 600.0 * std::exp2(-2 / 12.0), 1e-3);
}

TEST_F(ZRWavetableOscillatorTest, EverythingModulatedAtEverySampleGivesTheMixOfThePlainForm) {
  constexpr int kFrames = 777;
  plain.frequency = 50;
  plain.noteFrequency = 500;
  plain.frequencyModulation = wave(kFrames, 400, 300, 3);
  plain.widthModulation = wave(kFrames, 0.1F, 0.8F, 5.3);
  plain.waveModulation = wave(kFrames, 0.3F, 0.6F, 2.2);
  plain.wave = 0.25F;
  plain.level = 1.25F;
  plain.subLevel = 0.4F;
  plain.subOctave = 2;
  plain.subDetune = 7;
  expectPlain(kFrames);

  plain.centsModulation = wave(kFrames, 100, 700, 4.4);
  expectPlain(kFrames, kDriftError);
}

TEST_F(ZRWavetableOscillatorTest, ThePhaseHoldsThePitch) {
  constexpr int kFrames = 4096;
  constexpr double kPhaseError = 0.05;  // roundings of single precision in samples of the table
  for (const float f : {27.5F, 440.0F, 4186.0F}) {
    SCOPED_TRACE(f);
    osc.resetPhase();
    osc.oscFreq = f;
    run(kFrames);
    const double expected = std::fmod(kFrames * static_cast<double>(f) * 1024.0 / 44100.0, 1024.0);
    EXPECT_NEAR(osc.phaseOne, expected, kPhaseError);
  }
}

TEST_F(ZRWavetableOscillatorTest, TheSecondPhaseLeadsTheAdvancedFirstByTheWidthAndOneMoreStep) {
  osc.oscFreq = 1234.5F;
  osc.oscPulsewidth = 0.3F;
  const float step = 1234.5F * 1024.0F / 44100.0F;
  for (int i = 0; i < 200; ++i) {
    run(1);
    float expected = 0.3F * 0.98F * 1024.0F + osc.phaseOne + step;
    while (expected >= 1024.0F) expected -= 1024.0F;
    ASSERT_EQ(osc.phaseTwo, expected);
  }
}

TEST_F(ZRWavetableOscillatorTest, TheFirstSampleIsReadAtThePhasesAsTheyStand) {
  osc.level = 1.0F;
  osc.oscWave = 1.0F;
  osc.oscPulsewidth = 0.5F;
  osc.phaseOne = 100.0F;
  osc.phaseTwo = 300.0F;

  const float first = run(1)[0];

  const WavetableSet& set = *plain.set;
  EXPECT_NEAR(first, 0.95F * (set.wave(1)[101] + set.wave(3)[301]) / 0.51F, 2e-6F);
}

TEST_F(ZRWavetableOscillatorTest, FrequenciesAreLimitedAheadOfAndBehindTheFactors) {
  const auto frequencyOf = [&](float base, float modulation) {
    osc.oscFreq = base;
    fed.feed(osc.oscFreq, modulation);
    run(16);
    return osc.modulatedFrequency;
  };

  EXPECT_NEAR(frequencyOf(0, 0), 1.0F, 1e-6F);
  EXPECT_NEAR(frequencyOf(100, -300), 1.0F, 1e-6F);
  EXPECT_EQ(osc.rawFrequency, -200.0F);
  osc.oscOctave = 1.0F;
  EXPECT_NEAR(frequencyOf(-1, 0), 2.0F, 1e-6F);
  EXPECT_NEAR(frequencyOf(9999, 0), 19998.0F, 0.01F);
  EXPECT_NEAR(frequencyOf(9000, 2000), 20000.0F, 0.01F);
  EXPECT_EQ(osc.rawFrequency, 11000.0F);
}

TEST_F(ZRWavetableOscillatorTest, CentsThatAreNoNumberCountAsNone) {
  osc.oscFreq = 500.0F;
  for (const int frames : {1, 33}) {
    Signal cents(at(frames), 1200.0F);
    cents.back() = kNaN;
    fed.feed(osc.oscCents, cents);
    run(frames);

    EXPECT_NEAR(osc.modulatedFrequency, 500.0F, 1e-3F) << frames;
    EXPECT_TRUE(std::isfinite(osc.phaseOne));
  }
}

TEST_F(ZRWavetableOscillatorTest, ThePulseWidthStaysInsideItsLimits) {
  osc.oscFreq = 100.0F;
  const auto widthAt = [&](float value, float modulation) {
    osc.oscPulsewidth = value;
    fed.feed(osc.oscPulsewidth, modulation);
    run(5);
    const float step = 100.0F * 1024.0F / 44100.0F;
    float lead = osc.phaseTwo - osc.phaseOne - step;
    if (lead < -0.01F) lead += 1024.0F;
    return lead / 1024.0F;
  };

  EXPECT_NEAR(widthAt(0.5F, 0), 0.49F, 1e-6F);
  EXPECT_NEAR(widthAt(0.5F, 5), 0.98F, 1e-6F);
  EXPECT_NEAR(widthAt(0.5F, -5), 0.0F, 1e-6F);
  EXPECT_NEAR(widthAt(7.0F, 0), 0.98F, 1e-6F);
  EXPECT_NEAR(widthAt(0.2F, kNaN), 0.5F, 1e-6F);
}

TEST_F(ZRWavetableOscillatorTest, TheSubRunsAtItsOctaveAndDetune) {
  constexpr int kFrames = 1000;
  osc.oscFreq = 300.0F;
  const auto subFrequency = [&](int octave, float detune) {
    osc.resetPhase();
    osc.subOctave = octave;
    osc.subDetune = detune;
    run(kFrames);
    return static_cast<double>(osc.phaseThree) * 44100.0 / 1024.0 / kFrames;
  };
  const double cycle = 44100.0 / kFrames;

  EXPECT_NEAR(subFrequency(0, 0), std::fmod(300.0, cycle), 0.01);
  EXPECT_NEAR(subFrequency(1, 0), std::fmod(150.0, cycle), 0.01);
  EXPECT_NEAR(subFrequency(2, 0), std::fmod(75.0, cycle), 0.01);
  EXPECT_NEAR(subFrequency(1, 7), std::fmod(150.0 * std::exp2(7 / 12.0), cycle), 0.01);
}

TEST_F(ZRWavetableOscillatorTest, TheSubIsTheTriangleOrTheSquareWithoutTheMainLevel) {
  osc.level = 0.0F;
  osc.subLevel = 2.0F;
  osc.noteFrequency = 0;
  osc.phaseThree = 200.0F;
  EXPECT_NEAR(run(1)[0], 2.0F * plain.set->wave(0)[201], 1e-6F);
  for (const int other : {1, 2, -1}) {
    osc.phaseThree = 200.0F;
    osc.subWave = other;
    EXPECT_NEAR(run(1)[0], 2.0F * plain.set->wave(4)[201], 1e-6F);
  }
}

TEST_F(ZRWavetableOscillatorTest, PhaseModulationMovesTheMainPhaseBothWays) {
  constexpr int kFrames = 600;
  plain.frequency = 100;
  plain.noteFrequency = 100;
  plain.fmAmount = 900;
  plain.phaseModulation = wave(kFrames, 0, 2.0F, 7);
  plain.subLevel = 0.5F;

  expectPlain(kFrames);
}

TEST_F(ZRWavetableOscillatorTest, WithoutAnAmountPhaseModulationDoesNothing) {
  plain.frequency = 100;
  plain.phaseModulation = wave(200, 3, 2.0F, 7);

  expectPlain(200);

  EXPECT_NEAR(osc.phaseOne, 200 * 100 * 1024.0 / 44100.0, 0.01);
}

TEST_F(ZRWavetableOscillatorTest, ResetTakesAllPhasesToTheirStart) {
  osc.phaseOne = osc.phaseTwo = osc.phaseThree = 77.0F;

  osc.resetPhase();

  EXPECT_EQ(osc.phaseOne, 0.0F);
  EXPECT_EQ(osc.phaseTwo, 512.0F);
  EXPECT_EQ(osc.phaseThree, 0.0F);
}

}  // namespace
}  // namespace morv
