// The wavetable oscillator's modes beside the voice's.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/voice/PlainWavetableOscillator.h"
#include "voice/OscillatorLaws.h"

namespace morv {
namespace {

using testing::at;
using testing::FedMatrix;
using testing::Signal;

constexpr float kRounding = 1e-6F;
constexpr float kEdgeError = 5e-4F;  // a phase in single precision on the edge of a square

struct Rig {
  explicit Rig(ZROscillatorMode mode) : osc(44100.0F, 64, mode, &counter) {
    osc.setModMatrix(&fed.matrix, false, false);
    osc.oscFreq = 440.0F;
    osc.level = 0.75F;
    osc.noteFrequency = 60.0F;  // copy 1
  }
  Signal run(int frames, float before = 9.0F) {
    Signal left(at(frames), before);
    fed.run(frames);
    osc.runGenerator(left.data(), nullptr, frames, 120.0F);
    return left;
  }
  // Sample i of the cycle that is read: copy 1 from one sample inside.
  float cycle(int wave, int i) const { return osc.table(wave)[1024 + 1 + i]; }
  float atPhase(int wave, double phase) const {
    const int i = static_cast<int>(phase);
    const auto fraction = static_cast<float>(phase - i);
    return cycle(wave, i) + fraction * (cycle(wave, i + 1) - cycle(wave, i));
  }

  int counter = 0;
  FedMatrix fed;
  ZRWavetableOscillator osc;
};

constexpr double kStep = 440.0 * 1024.0 / 44100.0;

TEST(StandardWaves, FiveWavesAreMadeAndCounted) {
  const Rig rig(ZROscillatorMode::standardWaves);
  WavetableSet set(44100.0F);
  for (int w = 0; w < 4; ++w) {
    set.generateWaveInTable(static_cast<ZROscillatorWave>(w), set.wave(w), nullptr);
    EXPECT_EQ(Signal(rig.osc.table(w), rig.osc.table(w) + 13312), Signal(set.wave(w), set.wave(w) + 13312));
  }
  EXPECT_EQ(rig.osc.tableCount, 5);
  EXPECT_NE(rig.osc.table(4)[0], 0.0F);
  EXPECT_EQ(rig.osc.table(5)[0], 0.0F);
}

TEST(StandardWaves, TheWaveIsTheTruncatedSettingPlusTheFirstSampleOfItsModulation) {
  for (const float wave : {0.0F, 0.49F, 1.2F, 2.9F, 3.4F}) {
    SCOPED_TRACE(wave);
    Rig rig(ZROscillatorMode::standardWaves);
    rig.osc.oscWave = wave;
    const Signal x = rig.run(100);
    for (int i = 0; i < 100; ++i)
      ASSERT_NEAR(x[at(i)], 0.75F * rig.atPhase(static_cast<int>(wave), std::fmod(i * kStep, 1024.0)),
                  kEdgeError);
  }
  Rig rig(ZROscillatorMode::standardWaves);
  rig.osc.oscWave = 1.0F;
  Signal modulation(8, 0.0F);
  modulation[0] = 2.5F;
  rig.fed.feed(rig.osc.oscWave, modulation);
  EXPECT_NEAR(rig.run(8)[0], 0.75F * rig.cycle(3, 0), kRounding);
}

TEST(StandardWaves, TheNoiseWaveDrawsGaussianSamples) {
  Rig rig(ZROscillatorMode::standardWaves);
  rig.osc.setRandomSeed(5);
  Random random(5);
  for (int n = 0; n < 13312; ++n) ASSERT_EQ(rig.osc.table(4)[n], gaussianNoise(random));
  rig.osc.oscWave = 3.6F;  // rounds to the noise

  const Signal x = rig.run(50);

  for (const float v : x) EXPECT_EQ(v, gaussianNoise(random) * 0.75F);
}

TEST(StandardWaves, NoiseFromItsTableLeavesTheOutputToTheLevel) {
  Rig rig(ZROscillatorMode::standardWaves);
  rig.osc.oscWave = 4.0F;
  rig.osc.noiseFromTable = true;

  EXPECT_EQ(rig.run(20, 2.0F), Signal(20, 1.5F));
}

TEST(StandardWaves, AnyWaveCanBeNamedTheNoise) {
  Rig rig(ZROscillatorMode::standardWaves);
  rig.osc.noiseWave = 1;
  rig.osc.oscWave = 1.0F;
  Rig other(ZROscillatorMode::standardWaves);
  other.osc.oscWave = 1.0F;

  EXPECT_NE(rig.run(20), other.run(20));
}

TEST(StandardWaves, TheBlendGoesToTheNeighbourBelowOrAbove) {
  struct Case {
    float wave, amount, modulation;
    int from, to;
    float part;
  };
  for (const Case& c :
       {Case{1, 0.25F, 0, 1, 2, 0.25F}, Case{1, -0.25F, 0, 1, 0, 0.25F}, Case{0, -0.5F, 0, 0, 4, 0.5F},
        Case{1, 7.0F, 0, 1, 2, 1.0F}, Case{2, -7.0F, 0, 2, 1, 1.0F}, Case{2, 0, 0, 2, 3, 0}}) {
    SCOPED_TRACE(c.amount);
    Rig rig(ZROscillatorMode::standardWaves);
    rig.osc.morphEnabled = true;
    rig.osc.oscWave = c.wave;
    rig.osc.morphAmount.value = c.amount;
    rig.osc.phaseOne = 300.0F;
    const float from = rig.cycle(c.from, 300);
    const float expected = from + c.part * (rig.cycle(c.to, 300) - from);
    EXPECT_NEAR(rig.run(1)[0], 0.75F * expected, kRounding);
  }
}

TEST(StandardWaves, TheBlendWrapsFromTheLastWaveToTheFirst) {
  Rig rig(ZROscillatorMode::standardWaves);
  rig.osc.morphEnabled = true;
  rig.osc.noiseWave = -1;
  rig.osc.oscWave = 4.0F;
  rig.osc.morphAmount.value = 1.0F;
  rig.osc.phaseOne = 300.0F;

  EXPECT_NEAR(rig.run(1)[0], 0.75F * rig.cycle(0, 300), kRounding);
}

TEST(StandardWaves, ABlendedCycleEndsLevel) {
  Rig rig(ZROscillatorMode::standardWaves);
  rig.osc.morphEnabled = true;
  rig.osc.oscWave = 1.0F;
  rig.osc.phaseOne = 1023.75F;

  EXPECT_NEAR(rig.run(1)[0], 0.75F * rig.cycle(1, 1023), kRounding);
}

TEST(ScaledWave, TwoSinesAreMadeAQuarterCycleApart) {
  const Rig rig(ZROscillatorMode::scaledWave);
  for (int n = 0; n < 1024; n += 31) {
    EXPECT_NEAR(rig.osc.table(0)[n], std::sin(2.0 * std::numbers::pi * n / 1024), 1e-5);
    EXPECT_NEAR(rig.osc.table(1)[n], std::cos(2.0 * std::numbers::pi * n / 1024), 1e-5);
  }
  EXPECT_EQ(rig.osc.tableCount, 2);
}

TEST(ScaledWave, TheWaveSettingScalesThePitchAndTheLevelDoesNothing) {
  for (const float wave : {0.0F, 1.0F, 4.0F}) {
    SCOPED_TRACE(wave);
    Rig rig(ZROscillatorMode::scaledWave);
    rig.osc.oscWave = wave;
    const double step = kStep * (1.0 + static_cast<double>(wave) / 4.0);
    const Signal x = rig.run(200);
    for (int i = 0; i < 200; ++i) {
      const double angle = 2.0 * std::numbers::pi * (1.0 + std::fmod(i * step, 1024.0)) / 1024.0;
      ASSERT_NEAR(x[at(i)], 0.95 * std::sin(angle), 1e-4);
    }
    EXPECT_NEAR(rig.osc.modulatedFrequency, 440.0F, 1e-3F);
  }
}

TEST(BlendMode, IsSilentlyIdleUnlessMorphingIsOn) {
  Rig rig(ZROscillatorMode::blend);

  EXPECT_EQ(rig.run(20, 2.5F), Signal(20, 2.5F));
  EXPECT_NEAR(rig.osc.phaseOne, 20 * kStep, 1e-3);
}

TEST(BlendMode, BlendsTheWaveWithTheChosenOne) {
  Rig rig(ZROscillatorMode::blend);
  rig.osc.generateWaveInTable(ZROscillatorWave::saw, rig.osc.tableForWriting(0));
  rig.osc.generateWaveInTable(ZROscillatorWave::square, rig.osc.tableForWriting(1));
  rig.osc.generateWaveInTable(ZROscillatorWave::sine, rig.osc.tableForWriting(2));
  EXPECT_EQ(rig.osc.tableCount, 3);
  rig.osc.morphEnabled = true;
  rig.osc.oscWave = 1.0F;
  rig.osc.morphTable = 2;
  rig.osc.morphAmount.value = 0.25F;
  rig.osc.phaseOne = 200.5F;

  const float expected = 0.75F * rig.atPhase(1, 200.5) + 0.25F * rig.atPhase(2, 200.5);
  EXPECT_NEAR(rig.run(1)[0], 0.75F * expected, kRounding);
}

class BankMode : public ::testing::Test {
 protected:
  BankMode() : rig(ZROscillatorMode::bank) {
    for (int frame = 0; frame < 3; ++frame)
      for (int n = 0; n < 2048; ++n)
        bank.push_back(static_cast<float>(frame) + static_cast<float>(n) / 4096.0F);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bank.data()), static_cast<std::streamsize>(bank.size() * 4));
    EXPECT_TRUE(rig.osc.loadWavetableBankFromDisk(path, 3, 0));
  }
  ~BankMode() override { std::filesystem::remove(path); }

  float playAt(float morph, float phase) {
    rig.osc.morphAmount.value = morph;
    rig.osc.phaseOne = phase;
    return rig.run(1)[0];
  }

  std::string path =
      (std::filesystem::temp_directory_path() / ("morv_bank_" + std::to_string(::getpid()))).string();
  std::vector<float> bank;
  Rig rig;
};

TEST_F(BankMode, BlendsTwoNeighbouringFramesWithoutALevel) {
  EXPECT_NEAR(playAt(0.0F, 400.0F), bank[400], kRounding);
  EXPECT_NEAR(playAt(0.5F, 400.0F), bank[2048 + 400], kRounding);
  EXPECT_NEAR(playAt(0.25F, 400.5F), 0.5F + 400.5F / 4096.0F, kRounding);
  EXPECT_NEAR(playAt(0.75F, 10.0F), 1.5F + 10.0F / 4096.0F, kRounding);
}

TEST_F(BankMode, BehindTheLastFrameComesTheFirst) {
  EXPECT_NEAR(playAt(1.0F, 16.0F), 2.0F + 16.0F / 4096.0F, kRounding);
  EXPECT_NEAR(playAt(1.25F, 16.0F), 1.0F + 16.0F / 4096.0F, kRounding);  // half of frame 2, half of frame 0
  EXPECT_NEAR(playAt(1.5F, 16.0F), 16.0F / 4096.0F, kRounding);
  EXPECT_NEAR(playAt(9.0F, 16.0F), 16.0F / 4096.0F, kRounding);
}

TEST_F(BankMode, TheFirstBlockMakesTheCycle2048SamplesLongForGood) {
  EXPECT_EQ(rig.osc.tableSize, 1024);
  rig.run(1);
  EXPECT_EQ(rig.osc.tableSize, 2048);
  rig.osc.phaseOne = 0.0F;
  rig.run(100);
  EXPECT_NEAR(rig.osc.phaseOne, std::fmod(100 * 2.0 * kStep, 2048.0), 1e-2);
  EXPECT_NEAR(playAt(0.0F, 2047.5F), bank[2047], kRounding);
  rig.osc.resetPhase();
  EXPECT_EQ(rig.osc.phaseTwo, 1024.0F);
}

TEST_F(BankMode, PositionsBelowTheFirstFrameStayOnIt) {
  EXPECT_NEAR(playAt(-0.7F, 5.0F), bank[5], kRounding);
}

TEST(BankModeEmpty, IsSilent) {
  Rig rig(ZROscillatorMode::bank);

  EXPECT_EQ(rig.run(30), Signal(30, 0.0F));
}

}  // namespace
}  // namespace morv
