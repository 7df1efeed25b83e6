#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "modulation/ZRDSPModMatrix.h"
#include "voice/ZRVAEnvelope.h"

namespace morv {
namespace {

constexpr float kRate = 8000.0F;  // a low rate keeps the tables short
constexpr float kTempo = 120.0F;
constexpr float kRampRounding = 2e-5F;  // the float step of a ramp gathers over some hundred points

// Stages of 100, 200 and 400 samples at 8000 Hz.
void setStages(ZRVAEnvelope& e, float sustain) {
  e.attack = 0.0101F;
  e.decay = 0.02501F;
  e.release = 0.04751F;
  e.sustain = sustain;
}

std::vector<float> run(ZRVAEnvelope& e, int frames, float tempo = kTempo) {
  std::vector<float> buffer(static_cast<std::size_t>(frames), 1.0F);
  e.runAndApplyEnvelope(buffer.data(), frames, tempo);
  return buffer;
}

std::vector<float> play(ZRVAEnvelope& e, int frames, int block) {
  std::vector<float> all;
  for (int done = 0; done < frames; done += block) {
    const auto part = run(e, std::min(block, frames - done));
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

double rampAt(double from, double to, int count, int i) { return from + i * (to - from) / (count - 1); }

class ZRVAEnvelopeTest : public ::testing::Test {
 protected:
  ZRVAEnvelope e{kRate, 64};
};

TEST_F(ZRVAEnvelopeTest, StartsSilentWithItsDefaults) {
  EXPECT_EQ(e.name, "VAEnvelope");
  EXPECT_EQ(e.blockSize, 64);
  EXPECT_EQ(e.curve, 0);
  EXPECT_EQ(e.attack, 0.01F);
  EXPECT_EQ(e.decay, 0.5F);
  EXPECT_EQ(e.sustain, 1.0F);
  EXPECT_EQ(e.release, 0.1F);
  EXPECT_EQ(e.peak, 1.0F);
  EXPECT_FALSE(e.loop);
  EXPECT_FALSE(e.sync);
  EXPECT_EQ(e.modMatrix, nullptr);
  EXPECT_EQ(e.gate, 0);
  EXPECT_EQ(e.attackDecayTable.size(), 40000U);
  EXPECT_EQ(e.releaseTable.size(), 40000U);
  EXPECT_EQ(e.counter, 40000);
  EXPECT_EQ(e.releaseCounter, 40000);
  EXPECT_NEAR(e.attackSamples, 100, 1);  // 12.5 ms and 102.5 ms lie on the edge of a sample
  EXPECT_EQ(e.decaySamples, 4000);
  EXPECT_NEAR(e.releaseSamples, 820, 1);
  const auto out = run(e, 64);
  EXPECT_TRUE(std::ranges::all_of(out, [](float x) { return x == 0.0F; }));
}

TEST_F(ZRVAEnvelopeTest, LinearTablesAreRampsWithBothEnds) {
  setStages(e, 0.5F);

  e.setGate(1);

  ASSERT_EQ(e.attackSamples, 100);
  ASSERT_EQ(e.decaySamples, 200);
  ASSERT_EQ(e.releaseSamples, 400);
  EXPECT_EQ(e.signature, 700);
  for (int i = 0; i < 100; ++i) {
    ASSERT_NEAR(e.attackDecayTable[static_cast<std::size_t>(i)],
                static_cast<float>(rampAt(0.0001, 1, 100, i)), kRampRounding);
  }
  for (int i = 0; i < 200; ++i) {
    ASSERT_NEAR(e.attackDecayTable[static_cast<std::size_t>(100 + i)],
                static_cast<float>(rampAt(1, 0.5, 200, i)), kRampRounding);
  }
  for (std::size_t i = 300; i < 364; ++i) ASSERT_EQ(e.attackDecayTable[i], 0.5F);
  for (int i = 0; i < 400; ++i) {
    ASSERT_NEAR(e.releaseTable[static_cast<std::size_t>(i)], static_cast<float>(rampAt(0.5, 0, 400, i)),
                kRampRounding);
  }
}

TEST_F(ZRVAEnvelopeTest, ExponentialTablesBendAttackAndDecay) {
  setStages(e, 0.25F);
  e.curve = 1;

  e.setGate(1);

  for (int i = 0; i < 100; ++i) {
    ASSERT_NEAR(e.attackDecayTable[static_cast<std::size_t>(i)],
                static_cast<float>(std::exp(5 * (rampAt(0.0001, 1, 100, i) - 1))), 5 * kRampRounding);
  }
  for (int i = 0; i < 200; ++i) {
    ASSERT_NEAR(e.attackDecayTable[static_cast<std::size_t>(100 + i)],
                static_cast<float>(std::exp(rampAt(0, 1, 200, i) * std::log(0.25))), kRampRounding);
  }
  EXPECT_FLOAT_EQ(e.releaseTable[0], 0.25F);
}

TEST_F(ZRVAEnvelopeTest, AnExponentialDecayToNothingStaysANumber) {
  setStages(e, 0.0F);
  e.curve = 1;

  e.setGate(1);

  EXPECT_EQ(e.attackDecayTable[100], 1.0F);
  EXPECT_EQ(e.attackDecayTable[101], 0.0F);
}

TEST_F(ZRVAEnvelopeTest, ThePeakIsTheTopOfTheAttack) {
  setStages(e, 0.5F);
  e.peak = 0.8F;

  e.setGate(1);

  EXPECT_NEAR(e.attackDecayTable[99], 0.8F, kRampRounding);
  EXPECT_FLOAT_EQ(e.attackDecayTable[100], 0.8F);
}

TEST_F(ZRVAEnvelopeTest, PlaysItsTablesThenTheSustainThenTheRelease) {
  setStages(e, 0.5F);
  e.setGate(1);

  const auto open = play(e, 640, 64);
  e.setGate(0);
  const auto closed = play(e, 640, 64);

  for (std::size_t i = 0; i < 300; ++i) ASSERT_EQ(open[i], e.attackDecayTable[i]);
  for (std::size_t i = 300; i < 640; ++i) ASSERT_EQ(open[i], 0.5F);
  for (std::size_t i = 0; i < 400; ++i) ASSERT_EQ(closed[i], e.releaseTable[i]);
  for (std::size_t i = 400; i < 640; ++i) ASSERT_EQ(closed[i], 0.0F);
  EXPECT_FLOAT_EQ(closed[0], 0.5F);
  EXPECT_EQ(e.releaseCounter, 640);
  EXPECT_EQ(e.counter, 1280);
}

TEST_F(ZRVAEnvelopeTest, MultipliesWhatItIsGiven) {
  setStages(e, 0.5F);
  e.setGate(1);
  std::vector<float> buffer(64, -2.0F);

  e.runAndApplyEnvelope(buffer.data(), 64, kTempo);

  for (std::size_t i = 0; i < 64; ++i) ASSERT_EQ(buffer[i], -2.0F * e.attackDecayTable[i]);
  EXPECT_EQ(e.lastValue, buffer[63]);
}

TEST_F(ZRVAEnvelopeTest, TablesStayWhileTheFirstStagesRun) {
  setStages(e, 0.5F);
  e.setGate(1);
  run(e, 64);
  const float before = e.attackDecayTable[250];

  e.sustain = 0.9F;
  e.updateEnvelope();

  EXPECT_EQ(e.attackDecayTable[250], before);
  play(e, 300, 64);
  e.updateEnvelope();
  EXPECT_NEAR(e.attackDecayTable[250], static_cast<float>(rampAt(1, 0.9, 200, 150)), kRampRounding);
}

TEST_F(ZRVAEnvelopeTest, EqualSettingsLeaveTheTablesAsTheyAre) {
  setStages(e, 1.0F);  // a whole number of samples and sustain: the cut signature equals it
  e.updateEnvelope();
  e.attackDecayTable[5] = 33.0F;

  e.updateEnvelope();

  EXPECT_EQ(e.attackDecayTable[5], 33.0F);
  e.sustain = 0.0F;  // another sum
  e.updateEnvelope();
  EXPECT_NE(e.attackDecayTable[5], 33.0F);
}

TEST_F(ZRVAEnvelopeTest, ARetriggerRampsUpFromWhereTheEnvelopeStood) {
  setStages(e, 0.5F);
  e.setGate(1);
  play(e, 448, 64);
  e.setGate(0);
  const float last = play(e, 128, 64).back();

  e.setGate(1);
  const auto out = run(e, 128);

  EXPECT_EQ(e.gate, 1);
  EXPECT_EQ(e.releaseCounter, 0);
  for (int i = 0; i < 100; ++i) {
    ASSERT_NEAR(out[static_cast<std::size_t>(i)],
                static_cast<float>(rampAt(static_cast<double>(last), 1, 100, i)), kRampRounding);
  }
}

TEST_F(ZRVAEnvelopeTest, ANoteLongAfterTheLastStartsFromItsFloor) {
  setStages(e, 0.5F);
  e.setGate(1);
  play(e, 448, 64);
  e.setGate(0);
  play(e, 704, 64);

  e.setGate(1);

  EXPECT_FLOAT_EQ(run(e, 1)[0], 0.0001F);
}

TEST_F(ZRVAEnvelopeTest, AGateThatStaysOpenIsNoNewNote) {
  setStages(e, 0.5F);
  e.setGate(1);
  run(e, 64);

  e.setGate(2);

  EXPECT_EQ(e.counter, 64);
  EXPECT_EQ(e.gate, 2);
}

TEST_F(ZRVAEnvelopeTest, AReleaseBeforeTheSustainFallsFromTheTopOfTheAttack) {
  setStages(e, 0.5F);
  e.setGate(1);
  play(e, 128, 64);

  e.setGate(0);
  const auto out = play(e, 512, 64);

  for (int i = 0; i < 400; ++i) {
    ASSERT_NEAR(out[static_cast<std::size_t>(i)], static_cast<float>(rampAt(1, 0, 400, i)), kRampRounding);
  }
  for (std::size_t i = 400; i < 512; ++i) ASSERT_EQ(out[i], 0.0F);
}

TEST_F(ZRVAEnvelopeTest, ALoopStartsAgainBehindABlockOfSustain) {
  setStages(e, 0.5F);
  e.loop = true;
  e.setGate(1);

  const auto out = play(e, 640, 50);

  for (std::size_t i = 0; i < 300; ++i) ASSERT_EQ(out[i], e.attackDecayTable[i]);
  for (std::size_t i = 300; i < 350; ++i) ASSERT_EQ(out[i], 0.5F);
  for (std::size_t i = 350; i < 600; ++i) ASSERT_EQ(out[i], e.attackDecayTable[i - 300]);
}

TEST_F(ZRVAEnvelopeTest, ASyncedLoopWaitsUntilTheQuarterNoteIsPassed) {
  setStages(e, 0.5F);
  e.loop = true;
  e.sync = true;
  e.setGate(1);

  const auto out = play(e, 4300, 50);  // a quarter note at 120 lasts 4000 samples

  // The block at 4000 is not past it; the one at 4050 is, and counts as the loop's first.
  for (std::size_t i = 300; i < 4100; ++i) ASSERT_EQ(out[i], 0.5F) << i;
  for (std::size_t i = 4100; i < 4300; ++i) ASSERT_EQ(out[i], e.attackDecayTable[i - 4050]) << i;
}

TEST_F(ZRVAEnvelopeTest, ResetSilencesAndTakesTheSettingsOver) {
  setStages(e, 0.5F);
  e.setGate(1);
  play(e, 640, 64);
  e.sustain = 0.25F;

  e.reset();
  e.setGate(0);

  EXPECT_EQ(e.counter, 40000);
  EXPECT_EQ(e.releaseCounter, 40000);
  EXPECT_FLOAT_EQ(e.releaseTable[0], 0.25F);
  EXPECT_EQ(run(e, 64)[0], 0.0F);
}

TEST_F(ZRVAEnvelopeTest, StagesLongerThanTheTablesAreCutAndStayFinite) {
  e.attack = 3.0F;
  e.decay = 4.0F;
  e.release = 20.0F;
  e.sustain = 0.5F;
  e.sampleRate = 16000.0F;
  e.reset();
  e.counter = e.releaseCounter = 1 << 20;
  e.setGate(1);

  const auto open = play(e, 120000, 4096);
  e.setGate(0);
  const auto closed = play(e, 400000, 4096);

  EXPECT_TRUE(std::ranges::all_of(open, [](float x) { return std::isfinite(x) && x >= 0.0F && x <= 1.0F; }));
  EXPECT_TRUE(std::ranges::all_of(closed, [](float x) { return std::isfinite(x) && x <= 1.0F; }));
  EXPECT_EQ(open.back(), 0.5F);
  EXPECT_EQ(closed.back(), 0.0F);
}

TEST_F(ZRVAEnvelopeTest, BlocksOfAnyLengthGiveTheSameEnvelope) {
  const auto perform = [](int size) {
    ZRVAEnvelope fresh(kRate, size);
    setStages(fresh, 0.5F);
    fresh.setGate(1);
    auto all = play(fresh, 4096, size);
    fresh.setGate(0);
    const auto closed = play(fresh, 4096, size);
    all.insert(all.end(), closed.begin(), closed.end());
    return all;
  };

  const auto want = perform(1);

  for (const int size : {7, 64, 512}) EXPECT_EQ(perform(size), want) << size;
}

TEST_F(ZRVAEnvelopeTest, AReleaseWithinOneBlockOfTheFirstStagesFallsFromTheTopOfTheAttack) {
  setStages(e, 0.5F);
  e.setGate(1);
  EXPECT_EQ(run(e, 4096).back(), 0.5F);

  e.setGate(0);
  const auto out = run(e, 4096);  // 4096 samples on, and the block reaches back below 300

  EXPECT_NEAR(out[0], 1.0F, kRampRounding);
  EXPECT_EQ(out[400], 0.0F);
}

TEST_F(ZRVAEnvelopeTest, RunsIntoASourceThatTheUserIsNotOffered) {
  ZRDSPModMatrix matrix(64);
  matrix.setMatrixCore(ZRDSPModMatrix::initSingleton()->getMatrixCore());
  const int offered = matrix.getNumPublicSources();

  e.setModMatrix(&matrix);
  e.setGate(1);
  e.runGenerator(64, kTempo);

  EXPECT_EQ(e.outputSource, 11);
  EXPECT_EQ(matrix.getNumPublicSources(), offered);
  EXPECT_EQ(matrix.getNameForSource(11), "VAEnvelope");
  for (std::size_t i = 0; i < 64; ++i) ASSERT_EQ(matrix.sourceBuffer(11)[i], e.attackDecayTable[i]);
}

TEST_F(ZRVAEnvelopeTest, WithoutAMatrixHasNoBufferToRunInto) {
  e.setGate(1);

  e.runGenerator(64, kTempo);

  EXPECT_EQ(e.counter, 0);
}

TEST_F(ZRVAEnvelopeTest, NoFramesChangeNothing) {
  e.setGate(1);
  run(e, 64);
  const float last = e.lastValue;

  run(e, 0);

  EXPECT_EQ(e.counter, 64);
  EXPECT_EQ(e.lastValue, last);
}

}  // namespace
}  // namespace morv
