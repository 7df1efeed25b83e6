#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "tests/platform/TakenDiagnostics.h"
#include "tests/voice/VoiceTesting.h"
#include "voice/ZRSequencer.h"

namespace morv {
namespace {

TEST(ZRSequencer, StartsAtItsFirstStepWithAPatternOfClosedAndOpen) {
  const ZRSequencer sequencer(48000.0F, 256);

  EXPECT_EQ(sequencer.sampleRate, 48000.0F);
  EXPECT_EQ(sequencer.blockSize, 256);
  EXPECT_EQ(sequencer.tempo, 120.0F);
  EXPECT_EQ(sequencer.currentStep, 0);
  EXPECT_EQ(sequencer.phase, 0.0F);
  EXPECT_EQ(sequencer.steps, (std::array<float, 8>{0, 1, 0, 1, 0, 1, 0, 1}));
}

TEST(ZRSequencer, MovesOnceABarAndPlaysTheNewStepFromTheNextCallOn) {
  ZRSequencer sequencer(1000.0F, 500);  // a bar is 2000 samples, four calls
  takeDiagnostics();
  std::vector<float> levels;
  std::vector<int> steps;

  for (int call = 0; call < 36; ++call) {
    float level = 9;
    sequencer.tick(&level, 1);
    levels.push_back(level);
    steps.push_back(sequencer.currentStep);
  }

  for (int call = 0; call < 36; ++call) {
    // The step moves in calls 4, 8, 12, ... and is heard one call later.
    EXPECT_EQ(steps[static_cast<std::size_t>(call)], call / 4 % 8) << call;
    EXPECT_EQ(levels[static_cast<std::size_t>(call)],
              call == 0 ? 0.0F : static_cast<float>((call - 1) / 4 % 2))
        << call;
  }
  EXPECT_EQ(takeDiagnostics(), "1 tick \n2 tick \n3 tick \n4 tick \n5 tick \n6 tick \n7 tick \n0 tick \n");
}

TEST(ZRSequencer, KeepsTheRemainderOfABar) {
  ZRSequencer sequencer(1000.0F, 300);  // reached at 2100

  float level = 0;
  for (int call = 0; call < 8; ++call) sequencer.tick(&level, 1);

  EXPECT_EQ(sequencer.currentStep, 1);
  EXPECT_EQ(sequencer.phase, 400.0F);
}

TEST(ZRSequencer, CountsItsBlockSizeWhateverTheFramesAndFillsJustThose) {
  ZRSequencer sequencer(1000.0F, 64);
  sequencer.currentStep = 3;
  std::vector<float> out(8, 9.0F);

  sequencer.tick(out.data(), 5);
  sequencer.tick(out.data(), 0);

  EXPECT_EQ(out, (std::vector<float>{1, 1, 1, 1, 1, 9, 9, 9}));
  EXPECT_EQ(sequencer.phase, 128.0F);
}

TEST(ZRSequencer, FollowsItsTempo) {
  ZRSequencer sequencer(1000.0F, 1000);
  sequencer.tempo = 240.0F;  // a bar is 1000 samples
  float level = 0;

  for (int call = 0; call < 4; ++call) sequencer.tick(&level, 1);

  EXPECT_EQ(sequencer.currentStep, 3);
}

TEST(ZRSequencer, StandsAtATempoOfZero) {
  ZRSequencer sequencer(1000.0F, 4096);
  sequencer.tempo = 0.0F;
  float level = 0;

  for (int call = 0; call < 100; ++call) sequencer.tick(&level, 1);

  EXPECT_EQ(sequencer.currentStep, 0);
}

TEST(ZRSequencer, EachTurboVoiceOwnsOneThatDrawsNoAddressAndIsNotRun) {
  const auto voice = testing::makeTurboVoice(48000.0F, 128);
  voice->setGateWithNote(1, 60, 127);
  testing::runVoice(*voice, 48000 * 3, 128);

  ASSERT_NE(voice->sequencer, nullptr);
  EXPECT_EQ(voice->sequencer->sampleRate, 48000.0F);
  EXPECT_EQ(voice->sequencer->blockSize, 128);
  EXPECT_EQ(voice->sequencer->phase, 0.0F);
  EXPECT_EQ(voice->sequencer->currentStep, 0);
}

}  // namespace
}  // namespace morv
