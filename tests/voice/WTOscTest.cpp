#include <gtest/gtest.h>

#include <cmath>

#include "voice/WTOsc.h"

namespace morv {
namespace {

constexpr double kRate = 44100.0;

WTOscState makeRamp(int size) {
  WTOscState state;
  initWTOsc(&state, size, 1, 1, sizeof(float));
  for (int n = 0; n < size; ++n) state.samples[static_cast<std::size_t>(n)] = static_cast<float>(n);
  return state;
}

TEST(WTOsc, InitStoresItsNumbersAndClearsItsMemory) {
  WTOscState state;
  state.phase = 3;
  initWTOsc(&state, 1024, 13, 50, 4);

  EXPECT_EQ(state.frequency, 440.0);
  EXPECT_EQ(state.phase, 0.0);
  EXPECT_EQ(state.secondPhase, 0.0);
  EXPECT_EQ(state.size, 1024);
  EXPECT_EQ(state.tables, 13);
  EXPECT_EQ(state.samplesPerWave, 13 * 1024);
  EXPECT_EQ(state.waves, 50);
  EXPECT_EQ(state.samples.size(), std::size_t{1024} * 13 * 50);
  EXPECT_EQ(state.samples[0], 0.0F);
  EXPECT_EQ(state.samples[1024 * 13 * 50 - 1], 0.0F);
}

TEST(WTOsc, ReadsBetweenSamplesByStraightLinesAndClosesTheCycle) {
  WTOscState state = makeRamp(100);
  const double step = 100 * 441.0 / kRate;  // one sample
  for (int n = 0; n < 99; ++n) EXPECT_NEAR(runWTOsc(&state, 441.0, 0, 0, 0, kRate), n * step, 1e-4) << n;
  state.phase = 99.25;

  EXPECT_NEAR(runWTOsc(&state, 441.0, 0, 0, 0, kRate), 99.0 * 0.75, 1e-4);
}

TEST(WTOsc, ThePhaseRisesAndWrapsAndTheSecondOneRunsAtHalfTheSpeed) {
  WTOscState state = makeRamp(600);
  double phase = 0;
  double second = 0;
  for (int n = 0; n < 1000; ++n) {
    runWTOsc(&state, 1234.5, 0, 0, 0, kRate);
    phase = std::fmod(phase + 600 * 1234.5 / kRate, 600.0);
    second = std::fmod(second + 300 * 1234.5 / kRate, 600.0);
    ASSERT_NEAR(state.phase, phase, 1e-6);
    ASSERT_NEAR(state.secondPhase, second, 1e-6);
  }
}

TEST(WTOsc, StoresTheCopyThatWouldSuitTheFrequency) {
  WTOscState state = makeRamp(600);
  const double low = 0.9 * kRate / 600;
  const auto copyAt = [&](double f) {
    runWTOsc(&state, f, 0, 0, 0, kRate);
    return state.tableIndex;
  };

  EXPECT_EQ(copyAt(low * 0.5), 0);
  EXPECT_EQ(copyAt(low * 1.43), 0);
  EXPECT_EQ(copyAt(low * 1.45), 1);
  EXPECT_EQ(copyAt(low * std::pow(1.44, 4.5)), 4);
}

TEST(WTOsc, WavesStandAFixedDistanceApart) {
  WTOscState state;
  initWTOsc(&state, 600, 52, 3, sizeof(float));
  state.samples[31200] = 0.5F;
  state.samples[62400] = 0.25F;

  state.currentWave = 1;
  EXPECT_EQ(runWTOsc(&state, 100.0, 0, 0, 0, kRate), 0.5F);
  state.phase = 0;
  state.currentWave = 2;
  EXPECT_EQ(runWTOsc(&state, 100.0, 0, 0, 0, kRate), 0.25F);
  state.currentWave = 3;
  EXPECT_EQ(runWTOsc(&state, 100.0, 0, 0, 0, kRate), 0.0F);
}

TEST(WTOsc, TheThreeArgumentsInBetweenAreNotUsed) {
  WTOscState a = makeRamp(100);
  WTOscState b = makeRamp(100);
  for (int n = 0; n < 50; ++n)
    ASSERT_EQ(runWTOsc(&a, 777.0, 0, 0, 0, kRate), runWTOsc(&b, 777.0, 9, -5, 3, kRate));
}

}  // namespace
}  // namespace morv
