#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "voice/OscillatorLaws.h"
#include "voice/ZRVAOscillator.h"

namespace morv {
namespace {

constexpr float kRate = 44100.0F;
constexpr float kTempo = 120.0F;
// Squares of float phases are off by up to 2^-24 each, two of them meet in a difference.
constexpr double kSquareRounding = 1.3e-7;
constexpr double kWaveRounding = 1e-6;  // a few float steps at values near one, sine polynomial included

struct Block {
  std::vector<float> left;
  std::vector<float> right;
};

class ZRVAOscillatorTest : public ::testing::Test {
 protected:
  ZRVAOscillatorTest() { matrix.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore()); }

  // Runs in one block; `right` is given a value beforehand that shows whether it was written.
  static Block run(ZRVAOscillator& o, int frames, float tempo = kTempo) {
    Block block{std::vector<float>(static_cast<std::size_t>(frames), kUntouched),
                std::vector<float>(static_cast<std::size_t>(frames), kUntouched)};
    o.runGenerator(block.left.data(), block.right.data(), frames, tempo);
    return block;
  }
  void modulate(const ZRDSPParameter& p, const std::function<float(int)>& law) {
    float* destination = matrix.destinationBuffer(p.address);
    for (int i = 0; i < kMaxFrames; ++i) destination[i] = law(i);
  }

  static constexpr float kUntouched = 77.0F;
  static constexpr int kMaxFrames = 4096;
  ZRDSPModMatrix matrix{64};
  int counter = 0;
};

// The oscillator a second time: phases in float in the same order of steps, everything behind them in
// doubles, sample by sample.
struct PlainOscillator {
  bool lfo = false;
  int pulseMode = 0;
  float p = -1, q = 0, s = -1;
  double a0 = 10, b0 = 0, c0 = 0;
  double held = 0;
  double output = 0;

  struct Sample {
    double left, right;
    bool writesRight;
  };

  // Per-sample frequency in Hz and pulse width modulation; `noise` is the oscillator's own table.
  std::vector<Sample> run(const std::vector<float>& f, const std::vector<float>& widths, float width,
                          int wave, double waveValue, const std::vector<double>& gains, const float* noise) {
    const std::size_t n = f.size();
    std::vector<float> ps(n), qs(n), ss(n);
    for (std::size_t i = 0; i < n; ++i) {
      const float step = 2.0F * f[i] / kRate;
      p += step;
      if (p >= 1.0F) {
        p = lfo ? -1.0F : p - 2.0F;
        held = static_cast<double>(noise[i]);
      }
      if (pulseMode != 0) q = width + p;
      q += step;
      if (!lfo) q += widths[i];
      if (q >= 1.0F) {
        q = lfo ? -1.0F : q - 2.0F;
        s = s > 0 ? -1.0F : 1.0F;
      }
      ps[i] = p;
      qs[i] = q;
      ss[i] = s;
    }
    const double d = static_cast<double>(kRate) / (4.0 * static_cast<double>(f.back()));
    std::vector<Sample> out(n);
    const double c = std::exp(std::log(0.001) / (static_cast<double>(kRate) * 0.001));
    for (std::size_t i = 0; i < n; ++i) {
      const auto pd = static_cast<double>(ps[i]);
      const auto qd = static_cast<double>(qs[i]);
      const auto sd = static_cast<double>(ss[i]);
      const double saw = (pd * pd - a0) * d;
      const double second = (qd * qd - b0) * d;
      const double parabola = (1.0 - qd * qd) * sd;
      const double triangle = (parabola - c0) * d;
      a0 = pd * pd;
      b0 = qd * qd;
      c0 = parabola;
      Sample y{saw, 0, false};
      if (pulseMode == 1) y.left = saw - second * waveValue;
      if (pulseMode == 0) {
        if (wave == 0) y = {std::sin(std::numbers::pi * pd), std::sin(std::numbers::pi * qd), true};
        if (wave == 1) y = {saw, second, true};
        if (wave == 2) y = {saw - second, second, true};
        if (wave == 3) y = {triangle, second, true};
        if (wave == 4 && lfo) y = {sd * held, sd * (1.0 - held), true};
        if ((wave == 4 || wave == 5) && !lfo) y.left = sd * static_cast<double>(noise[i]);
      }
      if (lfo) {
        output = std::clamp(c * (output - y.left) + y.left, -1.0, 1.0);
        y.left = output * gains[i];
      }
      out[i] = y;
    }
    return out;
  }
};

TEST_F(ZRVAOscillatorTest, StartsAsItsFieldsSay) {
  ZRVAOscillator o(48000.0F, 512, &counter, false);

  EXPECT_EQ(counter, 9);
  EXPECT_EQ(o.blockSize, 512);
  EXPECT_EQ(o.pulseMode, 0);
  EXPECT_FALSE(o.bpmSync);
  EXPECT_FALSE(o.lfoMode);
  EXPECT_EQ(o.wrapCallback, nullptr);
  EXPECT_EQ(o.frequency, 0.0F);
  EXPECT_EQ(o.phase, -1.0F);
  EXPECT_EQ(o.secondPhase, 0.0F);
  EXPECT_EQ(o.sign, -1.0F);
  EXPECT_EQ(o.heldValue, 0.0F);
  EXPECT_EQ(o.lfoOutput, 0.0F);
  EXPECT_EQ(o.oscWave.value, 0.0F);
  EXPECT_EQ(o.oscFreq.minValue, 25.0F);
  EXPECT_EQ(o.oscFreq.maxValue, 10000.0F);
  EXPECT_EQ(o.oscFreq.value, 110.0F);
  for (std::size_t i = 0; i < 513; ++i) ASSERT_EQ(o.historyA[i], 10.0F);
  for (std::size_t i = 0; i < 512; ++i) ASSERT_EQ(o.signBuffer[i], -1.0F);
  EXPECT_EQ(o.historyB[0], 0.0F);
  EXPECT_EQ(o.historyC[0], 0.0F);
  EXPECT_EQ(o.scratch[0], 0.0F);
  EXPECT_EQ(o.dpwState.wave, 3);
  EXPECT_EQ(o.dpwState.phase, -1.0F);
  const std::array<double, 7> coefficients = {
      1.0, 1.0, -1.80116083982126, 0.80257737639225, 0.04957526213389, -0.06305581334498, 0.0148322032074};
  EXPECT_EQ(o.noiseFilterCoefficients, coefficients);
}

TEST_F(ZRVAOscillatorTest, AnLfoHasASlowRange) {
  ZRVAOscillator o(kRate, 64, &counter, true);

  EXPECT_TRUE(o.lfoMode);
  EXPECT_EQ(o.oscFreq.minValue, 0.01F);
  EXPECT_EQ(o.oscFreq.maxValue, 10.0F);
  EXPECT_EQ(o.oscFreq.value, 0.1F);
  EXPECT_FLOAT_EQ(o.oscFreq.normalizedValueCache, 0.01F);
}

TEST_F(ZRVAOscillatorTest, HoldsBuffersForTheGreatestBlockWhateverSizeItIsTold) {
  ZRVAOscillator small(kRate, 16, &counter, true);
  ZRVAOscillator large(kRate, 6000, &counter, true);

  EXPECT_EQ(small.phaseBuffer.size(), 4096U);
  EXPECT_EQ(small.historyA.size(), 4097U);
  EXPECT_EQ(small.noiseTable.size(), 4096U);
  EXPECT_EQ(large.phaseBuffer.size(), 6000U);
  EXPECT_EQ(small.blockSize, 16);
}

TEST_F(ZRVAOscillatorTest, EveryWaveFollowsItsFormulaInEveryMode) {
  for (const bool lfo : {false, true}) {
    for (int wave = 0; wave <= 7; ++wave) {
      if (lfo && wave == 5) continue;  // fresh noise, tested by its draws
      SCOPED_TRACE(testing::Message() << "lfo " << lfo << " wave " << wave);
      ZRVAOscillator o(kRate, 64, &counter, lfo);
      o.oscFreq = 439.0F;
      o.oscWave = static_cast<float>(wave);
      PlainOscillator plain;
      plain.lfo = lfo;
      const std::vector<float> f(64, 439.0F);
      const double d = 44100.0 / (4 * 439.0);

      for (int block = 0; block < 30; ++block) {
        const Block got = run(o, 64);
        const auto want = plain.run(f, std::vector<float>(64, 0.0F), 0, wave, wave,
                                    std::vector<double>(64, 0.5), o.noiseTable.data());
        for (std::size_t i = 0; i < 64; ++i) {
          // The start value 10 of the history makes one sample of 9 d, and float steps there are ten times as
          // wide.
          const double tolerance = (kSquareRounding * d + kWaveRounding) * (block == 0 && i == 0 ? 20 : 1);
          ASSERT_NEAR(static_cast<double>(got.left[i]), want[i].left, tolerance) << block << " " << i;
          if (want[i].writesRight) {
            ASSERT_NEAR(static_cast<double>(got.right[i]), want[i].right, tolerance) << block << " " << i;
          } else {
            ASSERT_EQ(got.right[i], kUntouched);
          }
        }
      }
    }
  }
}

TEST_F(ZRVAOscillatorTest, PulseModesFollowTheirFormulas) {
  for (const bool lfo : {false, true}) {
    for (const int mode : {1, 2}) {
      SCOPED_TRACE(testing::Message() << "lfo " << lfo << " mode " << mode);
      ZRVAOscillator o(kRate, 64, &counter, lfo);
      o.pulseMode = mode;
      o.oscFreq = 300.0F;
      o.oscPulsewidth = 0.3F;
      o.oscWave = 0.7F;
      PlainOscillator plain;
      plain.lfo = lfo;
      plain.pulseMode = mode;
      const std::vector<float> f(64, 300.0F);
      const double d = 44100.0 / 1200.0;

      for (int block = 0; block < 20; ++block) {
        const Block got = run(o, 64);
        const auto want = plain.run(f, std::vector<float>(64, 0.0F), 0.3F, 0, static_cast<double>(0.7F),
                                    std::vector<double>(64, 0.5), o.noiseTable.data());
        for (std::size_t i = 0; i < 64; ++i) {
          const double tolerance =
              (2 * kSquareRounding * d + kWaveRounding) * (block == 0 && i == 0 ? 20 : 1);
          ASSERT_NEAR(static_cast<double>(got.left[i]), want[i].left, tolerance) << block << " " << i;
          ASSERT_EQ(got.right[i], kUntouched);
        }
      }
    }
  }
}

TEST_F(ZRVAOscillatorTest, ModulationOfPitchWidthAndLevelReachesEverySample) {
  for (const bool lfo : {false, true}) {
    SCOPED_TRACE(testing::Message() << "lfo " << lfo);
    ZRVAOscillator o(kRate, 256, &counter, lfo);
    ZRDSPModMatrix own(256);
    own.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore());
    o.setModMatrix(&own, false);
    o.oscFreq = 200.0F;
    o.oscOctave = 1.0F;
    o.oscSemitones = 3.0F;
    o.oscCents = 20.0F;
    o.oscWave = 2.0F;
    o.level = 0.25F;
    std::vector<float> f(256);
    std::vector<float> widths(256);
    std::vector<double> gains(256);
    for (std::size_t i = 0; i < 256; ++i) {
      const auto x = static_cast<float>(i);
      const float cents = i < 64 ? 30.0F : 0.5F * x;
      own.destinationBuffer(o.oscFreq.address)[i] = 10.0F + 0.1F * x;
      own.destinationBuffer(o.oscCents.address)[i] = cents;
      own.destinationBuffer(o.oscPulsewidth.address)[i] = 0.0001F * x;
      own.destinationBuffer(o.level.address)[i] = 0.001F * x;
      own.destinationBuffer(o.oscOctave.address)[i] = i == 0 ? -1.7F : 2.0F;
      own.destinationBuffer(o.oscSemitones.address)[i] = i == 0 ? 2.9F : -12.0F;
      const float octaves = 2.0F * 0.5F;
      const float semitones = std::pow(2.0F, 0.25F) * std::pow(2.0F, static_cast<float>(2.0 / 12.0));
      const float c =
          std::pow(2.0F, static_cast<float>(static_cast<double>((20.0F + cents) / 100.0F) / 12.0));
      f[i] = (200.0F + (10.0F + 0.1F * x)) * octaves * semitones * c;
      widths[i] = 0.0001F * x;
      gains[i] = static_cast<double>(0.25F + 0.001F * x);
    }
    PlainOscillator plain;
    plain.lfo = lfo;

    const Block got = run(o, 256);
    const auto want = plain.run(f, widths, 0.5F, 2, 2.0, gains, o.noiseTable.data());

    EXPECT_EQ(o.frequency, f.back());
    EXPECT_EQ(o.phase, plain.p);
    EXPECT_EQ(o.secondPhase, plain.q);
    EXPECT_EQ(o.sign, plain.s);
    for (std::size_t i = 1; i < 256; ++i) {
      ASSERT_NEAR(static_cast<double>(got.left[i]), want[i].left, 2e-5) << i;  // d is near 40
      ASSERT_NEAR(static_cast<double>(got.right[i]), want[i].right, 2e-5) << i;
    }
  }
}

TEST_F(ZRVAOscillatorTest, OctaveAndSemitoneModulationIsReadOncePerBlockAndTruncated) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.setModMatrix(&matrix, false);
  o.oscFreq = 100.0F;
  modulate(o.oscOctave, [](int i) { return i == 0 ? 1.99F : -3.0F; });
  modulate(o.oscSemitones, [](int i) { return i == 0 ? -12.99F : 7.0F; });

  run(o, 64);

  EXPECT_FLOAT_EQ(o.frequency, 100.0F);  // an octave up, twelve semitones down
  modulate(o.oscOctave, [](int) { return 0.99F; });
  modulate(o.oscSemitones, [](int) { return 0.99F; });
  run(o, 64);
  EXPECT_FLOAT_EQ(o.frequency, 100.0F);
}

TEST_F(ZRVAOscillatorTest, CentsModulationOfTheLastSampleMakesTheStoredFrequency) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.setModMatrix(&matrix, false);
  o.oscFreq = 100.0F;
  modulate(o.oscCents, [](int i) { return i == 63 ? 1200.0F : 0.0F; });

  run(o, 64);

  EXPECT_FLOAT_EQ(o.frequency, 200.0F);
}

TEST_F(ZRVAOscillatorTest, WithoutAMatrixPitchControlsHaveNoEffect) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.oscFreq = 100.0F;
  o.oscOctave = 2.0F;
  o.oscSemitones = 5.0F;
  o.oscCents = 50.0F;

  run(o, 64);

  EXPECT_EQ(o.frequency, 100.0F);
}

TEST_F(ZRVAOscillatorTest, AnLfosPhaseRestartsExactlyAtMinusOne) {
  ZRVAOscillator lfo(kRate, 4096, &counter, true);
  lfo.oscFreq = 37.7F;
  int wraps = 0;

  for (int block = 0; block < 4; ++block) {
    run(lfo, 4096);
    for (std::size_t i = 1; i < 4096; ++i) {
      if (lfo.phaseBuffer[i] >= lfo.phaseBuffer[i - 1]) continue;
      ++wraps;
      ASSERT_EQ(lfo.phaseBuffer[i], -1.0F);
    }
  }

  EXPECT_GE(wraps, 13);  // 37.7 Hz over 0.37 s
}

TEST_F(ZRVAOscillatorTest, AnAudioOscillatorsPhaseKeepsWhatStandsOverOnAWrap) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.oscFreq = 11025.0F;  // steps of one half
  o.phase = 0.75F;

  run(o, 1);

  EXPECT_EQ(o.phase, -0.75F);
}

TEST_F(ZRVAOscillatorTest, APhaseOfExactlyOneWraps) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.oscFreq = 11025.0F;
  o.phase = 0.5F;
  o.secondPhase = 0.5F;

  run(o, 1);

  EXPECT_EQ(o.phase, -1.0F);
  EXPECT_EQ(o.secondPhase, -1.0F);
  EXPECT_EQ(o.sign, 1.0F);
}

TEST_F(ZRVAOscillatorTest, TheSampleAndHoldShowsTheTablesValueOfTheBlocksLastWrap) {
  ZRVAOscillator lfo(kRate, 4096, &counter, true);
  lfo.oscFreq = 50.0F;
  lfo.oscWave = 4.0F;
  lfo.lfoSmoothing = 0.0F;
  lfo.level = 1.0F;

  const Block got = run(lfo, 2000);  // wraps near 882 and 1764

  std::size_t lastWrap = 0;
  for (std::size_t i = 1; i < 2000; ++i) {
    if (lfo.phaseBuffer[i] < lfo.phaseBuffer[i - 1]) lastWrap = i;
  }
  EXPECT_NEAR(static_cast<double>(lastWrap), 1764.0, 3.0);
  const float held = lfo.noiseTable[lastWrap];
  EXPECT_EQ(lfo.heldValue, held);
  for (std::size_t i = 0; i < 2000; ++i) {
    ASSERT_FLOAT_EQ(got.left[i], std::clamp(lfo.signBuffer[i] * held, -1.0F, 1.0F)) << i;
    ASSERT_EQ(got.right[i], lfo.signBuffer[i] * (1.0F - held)) << i;
  }
}

TEST_F(ZRVAOscillatorTest, SignsTurnWithEachWrapOfTheSecondPhase) {
  ZRVAOscillator lfo(kRate, 4096, &counter, true);
  lfo.oscFreq = 100.0F;
  lfo.oscWave = 4.0F;
  run(lfo, 4096);
  int turns = 0;

  for (std::size_t i = 1; i < 4096; ++i) {
    const bool wrapped = lfo.secondPhaseBuffer[i] < lfo.secondPhaseBuffer[i - 1];
    const bool turned = lfo.signBuffer[i] == -lfo.signBuffer[i - 1];
    ASSERT_EQ(wrapped, turned) << i;
    turns += turned ? 1 : 0;
  }

  EXPECT_EQ(turns, 9);  // at 0.5, 1.5, ... 8.5 cycles; 4096 samples hold 9.29
}

TEST_F(ZRVAOscillatorTest, SyncTurnsTheFrequencyIntoADivisionOfTheBar) {
  struct Row {
    float value;
    double cyclesPerBar;
  };
  // At 120 beats per minute a bar of four beats lasts two seconds.
  const std::vector<Row> rows = {{0.0F, 0.25}, {0.01F, 0.25}, {0.125F, 0.5}, {0.25F, 1},
                                 {0.375F, 2},  {0.5F, 4},     {0.625F, 8},   {0.75F, 16},
                                 {0.875F, 32}, {1.0F, 64},    {0.999F, 32}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value);
    ZRVAOscillator lfo(kRate, 64, &counter, true);
    lfo.bpmSync = true;
    lfo.oscFreq = row.value;

    run(lfo, 64, 120.0F);

    EXPECT_FLOAT_EQ(lfo.frequency, static_cast<float>(row.cyclesPerBar / 2.0));
    run(lfo, 64, 90.0F);
    EXPECT_FLOAT_EQ(lfo.frequency, static_cast<float>(row.cyclesPerBar / (60.0 / 90.0 * 4.0)));
  }
}

TEST_F(ZRVAOscillatorTest, SyncStaysFiniteForAnySetting) {
  for (const float value : {-5.0F, 10.0F, 1e9F}) {
    ZRVAOscillator lfo(kRate, 64, &counter, true);
    lfo.bpmSync = true;
    lfo.oscFreq = value;

    const Block got = run(lfo, 64);

    EXPECT_TRUE(std::isfinite(lfo.frequency)) << value;
    EXPECT_TRUE(std::ranges::all_of(got.left, [](float x) { return std::isfinite(x); })) << value;
  }
}

TEST_F(ZRVAOscillatorTest, TheWaveModulationsFirstSampleIsTruncatedAndAddedToTheRoundedWave) {
  ZRVAOscillator saw(kRate, 64, &counter, false);
  saw.oscWave = 1.0F;
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.setModMatrix(&matrix, false);
  o.oscWave = 2.6F;  // rounds to 3
  modulate(o.oscWave, [](int i) { return i == 0 ? -2.9F : 5.0F; });

  const Block want = run(saw, 64);
  const Block got = run(o, 64);

  EXPECT_EQ(got.left, want.left);
  EXPECT_EQ(got.right, want.right);
}

TEST_F(ZRVAOscillatorTest, AWaveOutsideTheListIsThePlainSaw) {
  for (const float wave : {-1.0F, 6.0F, 40.0F}) {
    ZRVAOscillator saw(kRate, 64, &counter, false);
    saw.oscWave = 1.0F;
    ZRVAOscillator o(kRate, 64, &counter, false);
    o.oscWave = wave;

    const Block want = run(saw, 64);
    const Block got = run(o, 64);

    EXPECT_EQ(got.left, want.left);
    EXPECT_TRUE(std::ranges::all_of(got.right, [](float x) { return x == kUntouched; }));
  }
}

TEST_F(ZRVAOscillatorTest, AnLfosSixthWaveIsFreshUniformNoise) {
  ZRVAOscillator lfo(kRate, 64, &counter, true);
  lfo.setRandomSeed(12);
  lfo.oscWave = 5.0F;
  lfo.lfoSmoothing = 0.0F;
  lfo.level = 1.0F;
  Random reference(12);
  for (std::size_t i = 0; i < 2 * lfo.noiseTable.size(); ++i) reference.unit31();  // behind the noise table

  const Block got = run(lfo, 64);

  for (const float y : got.left) {
    const auto want = static_cast<float>(2.0 * reference.unitDouble() - 1.0);
    // With no smoothing the follower computes 0 x (state - y) + y.
    ASSERT_EQ(y, want);
  }
  EXPECT_TRUE(std::ranges::all_of(got.right, [](float x) { return x == kUntouched; }));
}

TEST_F(ZRVAOscillatorTest, TheLfosSmootherKeepsABoundedState) {
  ZRVAOscillator lfo(kRate, 64, &counter, true);
  lfo.oscWave = 1.0F;
  lfo.level = 0.5F;

  const Block got = run(lfo, 1);  // (phase^2 - 10) x 44100 / 0.4 is far below -1

  EXPECT_EQ(lfo.lfoOutput, -1.0F);
  EXPECT_EQ(got.left[0], -0.5F);
}

TEST_F(ZRVAOscillatorTest, TheLfosSmootherComesWithinAThousandthInAMillisecond) {
  ZRVAOscillator lfo(kRate, 64, &counter, true);
  lfo.oscWave = 4.0F;
  lfo.oscFreq = 0.01F;
  lfo.heldValue = -1.0F;  // with the sign at -1 a constant 1
  lfo.level = 1.0F;

  const Block got = run(lfo, 44);

  EXPECT_NEAR(got.left[43], 0.999F, 2e-5F);  // 44 of 44.1 steps
}

TEST_F(ZRVAOscillatorTest, SmoothingKeepsTheConstructorsRateAndStepsTakeTheNewOne) {
  ZRVAOscillator lfo(kRate, 64, &counter, true);
  ZRVAOscillator fresh(kRate, 64, &counter, true);
  lfo.sampleRate = 88200.0F;
  lfo.oscFreq = 100.0F;
  lfo.oscWave = 1.0F;

  run(lfo, 1);

  EXPECT_EQ(lfo.lfoSmoothing, fresh.lfoSmoothing);
  EXPECT_FLOAT_EQ(lfo.phase, -1.0F + 200.0F / 88200.0F);
}

TEST_F(ZRVAOscillatorTest, ResetPhaseReturnsToTheStartAndCallsBack) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.oscFreq = 1000.0F;
  run(o, 50);
  int calls = 0;
  o.wrapCallbackOwner = &calls;
  o.wrapCallback = [](void* owner) { return ++*static_cast<int*>(owner); };

  o.resetPhase();

  EXPECT_EQ(o.phase, -1.0F);
  EXPECT_EQ(o.secondPhase, 0.0F);
  EXPECT_EQ(o.sign, -1.0F);
  EXPECT_EQ(calls, 1);
}

TEST_F(ZRVAOscillatorTest, TheCallbackCountsTheMainPhasesWraps) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.oscFreq = 441.0F;
  int calls = 0;
  o.wrapCallbackOwner = &calls;
  o.wrapCallback = [](void* owner) { return ++*static_cast<int*>(owner); };

  for (int i = 0; i < 10; ++i) run(o, 441);

  EXPECT_NEAR(calls, 44, 1);  // 44.1 cycles
}

TEST_F(ZRVAOscillatorTest, TheNoiseTableIsThreeFilteredGaussianStreamsAndTheirSource) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.setRandomSeed(7);
  Random random(7);
  double b0 = 0;
  double b1 = 0;
  double b2 = 0;

  for (std::size_t i = 0; i < o.noiseTable.size(); ++i) {
    const auto r1 = static_cast<double>(random.unit31());
    const auto r2 = static_cast<double>(random.unit31());
    const double w = std::sqrt(-2 * std::log(r1)) * std::cos(2 * std::numbers::pi * r2) * 0.25;
    b0 = 0.99765 * b0 + 0.099046 * w;
    b1 = 0.963 * b1 + 0.2965164 * w;
    b2 = 0.57 * b2 + 1.0526913 * w;
    // Float rounding gathers in the slowest state over some 400 samples.
    ASSERT_NEAR(static_cast<double>(o.noiseTable[i]), b0 + b1 + b2 + 0.1848 * w, 2e-5) << i;
  }
}

TEST_F(ZRVAOscillatorTest, TheNoiseFallsByTenDecibelsPerDecade) {
  ZRVAOscillator o(kRate, 1 << 16, &counter, false);
  const int n = 1 << 16;
  // Mean power of a third-octave of bins around a frequency, by plain correlation.
  const auto powerDb = [&](double hz) {
    double power = 0;
    int bins = 0;
    const double width = static_cast<double>(kRate) / n;
    for (double f = hz * 0.9; f < hz * 1.1; f += std::max(width, hz * 0.2 / 60)) {
      const double w = 2 * std::numbers::pi * std::round(f / width) / n;
      double re = 0;
      double im = 0;
      for (int i = 0; i < n; ++i) {
        re += static_cast<double>(o.noiseTable[static_cast<std::size_t>(i)]) * std::cos(w * i);
        im += static_cast<double>(o.noiseTable[static_cast<std::size_t>(i)]) * std::sin(w * i);
      }
      power += re * re + im * im;
      ++bins;
    }
    return 10 * std::log10(power / bins);
  };

  const double low = powerDb(100);
  const double middle = powerDb(1000);
  const double high = powerDb(10000);

  // Some 60 bins leave a standard error of 0.6 dB on each side; the filters themselves ripple by 0.5 dB.
  constexpr double kSpread = 3.0;
  EXPECT_NEAR(low - middle, 10.0, kSpread);
  EXPECT_NEAR(middle - high, 10.0, kSpread);
}

TEST_F(ZRVAOscillatorTest, TheSameSeedGivesTheSameTableAndAnotherSeedAnother) {
  ZRVAOscillator a(kRate, 64, &counter, false);
  ZRVAOscillator b(kRate, 1024, &counter, true);
  ZRVAOscillator c(kRate, 64, &counter, false);
  a.setRandomSeed(5);
  b.setRandomSeed(5);
  c.setRandomSeed(6);
  bool same = true;
  bool other = true;

  for (std::size_t i = 0; i < 4096; ++i) {
    same = same && a.noiseTable[i] == b.noiseTable[i];
    other = other && a.noiseTable[i] == c.noiseTable[i];
  }

  EXPECT_TRUE(same);
  EXPECT_FALSE(other);
}

TEST_F(ZRVAOscillatorTest, OscillatorsOfOneSeedHoldOneTable) {
  ZRVAOscillator a(kRate, 64, &counter, false);
  ZRVAOscillator b(kRate, 64, &counter, true);
  EXPECT_EQ(a.noiseTable.data(), b.noiseTable.data());
  b.setRandomSeed(2);
  EXPECT_NE(a.noiseTable.data(), b.noiseTable.data());
}

TEST_F(ZRVAOscillatorTest, BlocksOfAnyLengthGiveTheSameWaveAtASteadyFrequency) {
  for (const float wave : {0.0F, 1.0F, 2.0F, 3.0F}) {
    for (const bool lfo : {false, true}) {
      ZRVAOscillator whole(kRate, 64, &counter, lfo);
      whole.oscWave = wave;
      whole.oscFreq = 313.0F;
      const Block want = run(whole, 4096);
      for (const int size : {1, 7, 64}) {
        ZRVAOscillator o(kRate, size, &counter, lfo);
        o.oscWave = wave;
        o.oscFreq = 313.0F;
        std::vector<float> got;
        while (got.size() < 4096) {
          const Block block = run(o, std::min(size, 4096 - static_cast<int>(got.size())));
          got.insert(got.end(), block.left.begin(), block.left.end());
        }
        // The smoother of the LFO works on eight samples at a time, so where a block ends moves its rounding.
        constexpr float kSmootherRounding = 5e-7F;
        for (std::size_t i = 0; i < got.size(); ++i) {
          ASSERT_NEAR(got[i], want.left[i], lfo ? kSmootherRounding : 0.0F)
              << wave << " " << lfo << " " << size;
        }
      }
    }
  }
}

// Two LFOs on one matrix, of which one leaves out the second output as long as nobody reads it.
class ZRVAOscillatorUnreadTest : public ZRVAOscillatorTest {
 protected:
  ZRVAOscillatorUnreadTest() {
    for (ZRVAOscillator* o : {&whole, &part}) {
      o->setModMatrix(&matrix, false);
      o->outputSourceLeft = 1;
      o->outputSourceRight = 2;
    }
    part.leavesUnreadRight = true;
  }
  // From the start, with the same settings.
  void restart(float wave, float frequency, float sign) {
    for (ZRVAOscillator* o : {&whole, &part}) {
      o->oscWave = wave;
      o->oscFreq = frequency;
      o->resetPhase();
      o->sign = sign;
      o->lfoOutput = 0.0F;
    }
  }
  bool givesTheSame(int frames, int source) {
    const float* output = matrix.sourceBuffer(source);
    whole.runGenerator(frames, kTempo);
    std::copy_n(output, frames, want_.begin());
    part.runGenerator(frames, kTempo);
    return std::equal(output, output + frames, want_.begin());
  }

  ZRVAOscillator whole{kRate, 64, &counter, true};
  ZRVAOscillator part{kRate, 64, &counter, true};

 private:
  std::vector<float> want_ = std::vector<float>(kMaxFrames);
};

TEST_F(ZRVAOscillatorUnreadTest, ASecondOutputThatNobodyReadsChangesNothingElse) {
  for (int wave = 0; wave <= 6; ++wave) {
    for (const float frequency : {0.01F, 0.9F, 10.0F, 3000.0F, 30000.0F}) {
      restart(static_cast<float>(wave), frequency, -1.0F);
      for (const int frames : {1, 64, 7, 4096, 63, 1024, 1}) {
        ASSERT_TRUE(givesTheSame(frames, 1)) << wave << " " << frequency << " " << frames;
      }
      part.leavesUnreadRight = false;
      ASSERT_TRUE(givesTheSame(64, 2)) << wave << " " << frequency;
      part.leavesUnreadRight = true;
      ASSERT_EQ(part.sign, whole.sign);
      ASSERT_EQ(part.secondPhase, whole.secondPhase);
      ASSERT_EQ(part.heldValue, whole.heldValue);
    }
  }
}

// Two wraps make a sign of anything.
TEST_F(ZRVAOscillatorUnreadTest, ASignOutOfItsRangeComesBackThoughNobodyReadsTheSecondOutput) {
  for (const float sign : {0.5F, -0.5F, 0.0F, std::numeric_limits<float>::quiet_NaN()}) {
    for (const int frames : {1, 16, 33, 48}) {  // none, one, two and three wraps
      restart(0.0F, kRate / 16.0F, sign);

      whole.runGenerator(frames, kTempo);
      part.runGenerator(frames, kTempo);

      EXPECT_TRUE(part.sign == whole.sign || (std::isnan(part.sign) && std::isnan(whole.sign)))
          << sign << " " << frames << ": " << part.sign << " for " << whole.sign;
    }
  }
}

TEST_F(ZRVAOscillatorTest, NoFramesChangeNothing) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.oscWave = 3.0F;
  run(o, 10);
  const float phase = o.phase;
  const float history = o.historyA[0];

  run(o, 0);

  EXPECT_EQ(o.phase, phase);
  EXPECT_EQ(o.historyA[0], history);
}

TEST_F(ZRVAOscillatorTest, ExtremesOfItsSettingsStayFinite) {
  for (const float rate : {8000.0F, 44100.0F, 192000.0F}) {
    for (const bool lfo : {false, true}) {
      for (const float frequency : {0.0001F, 25.0F, 10000.0F, 1000000.0F}) {
        for (int wave = 0; wave <= 6; ++wave) {
          ZRVAOscillator o(rate, 64, &counter, lfo);
          o.oscFreq = frequency;
          o.oscWave = static_cast<float>(wave);
          o.oscOctave = 3.0F;
          o.oscCents = -100.0F;
          for (int block = 0; block < 8; ++block) {
            const Block got = run(o, 64);
            ASSERT_TRUE(std::ranges::all_of(got.left, [](float x) { return std::isfinite(x); }));
            ASSERT_TRUE(std::ranges::all_of(got.right, [](float x) { return std::isfinite(x); }));
          }
        }
      }
    }
  }
}

TEST_F(ZRVAOscillatorTest, RunsIntoItsSourceBuffers) {
  ZRVAOscillator o(kRate, 64, &counter, false);
  o.setModMatrix(&matrix, false);
  ZRVAOscillator twin(kRate, 64, &counter, false);

  o.runGenerator(64, kTempo);
  const Block want = run(twin, 64);

  for (std::size_t i = 0; i < 64; ++i) {
    ASSERT_EQ(matrix.sourceBuffer(o.outputSourceLeft)[i], want.left[i]);
    ASSERT_EQ(matrix.sourceBuffer(o.outputSourceRight)[i], want.right[i]);
  }
}

}  // namespace
}  // namespace morv
