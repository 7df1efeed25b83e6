// One block of the instrument: voices with their detuning, saturation, volume.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/render/InstrumentTesting.h"

namespace morv {
namespace {

// A few roundings of single precision on values near 1.
constexpr double kFloatRounding = 3e-7;
// Single-precision steps of a follower over some ten thousand samples; each rounds by at most 6e-8, and
// errors fade with the follower itself, a time constant of two thousand samples.
constexpr double kFollowerRounding = 1.2e-4;
// A coefficient is rounded to float once, its logarithm before that.
constexpr double kCoefficientRounding = 1e-7;

class InstrumentRender : public RenderFixture {};

TEST_F(InstrumentRender, VoicesRunOneBehindTheOther) {
  render();

  EXPECT_EQ(allCalls(),
            (Calls{"0: run 16 at 120", "1: run 16 at 120", "2: run 16 at 120", "3: run 16 at 120"}));
}

TEST_F(InstrumentRender, OutputIsTheSumOfTheVoices) {
  for (int i = 0; i < 4; ++i) {
    voice(i).levelLeft = std::ldexp(1.0F, -i);
    voice(i).levelRight = -std::ldexp(1.0F, -i);
  }

  render();

  for (std::size_t i = 0; i < 16; ++i) {
    EXPECT_EQ(left[i], 1.875F);
    EXPECT_EQ(right[i], -1.875F);
  }
  EXPECT_EQ(left[16], 99.0F);
  EXPECT_EQ(right[16], 99.0F);
}

TEST_F(InstrumentRender, EveryBlockStartsFromSilence) {
  setLevels(0.25F, 0.5F);

  render();
  render();

  EXPECT_EQ(left[0], 1.0F);
  EXPECT_EQ(right[0], 2.0F);
}

TEST_F(InstrumentRender, BlocksOfDifferentLengthsFollowEachOther) {
  setLevels(0.25F, 0.5F);

  for (const int frames : {1, 7, 64, kMaxBlockFrames, 3}) {
    render(frames);
    EXPECT_EQ(left[static_cast<std::size_t>(frames) - 1], 1.0F) << frames;
    EXPECT_EQ(left[static_cast<std::size_t>(frames)], 99.0F) << frames;
  }
}

TEST_F(InstrumentRender, TempoAndSampleTimeAreKept) {
  std::vector<float> block(4);

  instrument->runInstrument(block.data(), block.data(), 4, 93.5F, 12345.25);

  EXPECT_EQ(instrument->tempo, 93.5F);
  EXPECT_EQ(instrument->blockSampleTime, 12345.25);
  EXPECT_EQ(instrument->timelineSampleTime, 12345.25);
  EXPECT_EQ(callsOf(3), Calls{"run 4 at 93.5"});
}

TEST_F(InstrumentRender, ABlockOfNoFramesRunsTheVoicesAndWritesNothing) {
  setLevels(1, 1);

  render(0);

  EXPECT_EQ(callsOf(0), Calls{"run 0 at 120"});
  EXPECT_EQ(left[0], 99.0F);
}

// A sum may leave the range of floats though each voice is a number; nobody is to blame.
TEST_F(InstrumentRender, AMixThatIsNoNumberStaysWhereNoVoiceIsToBlame) {
  voice(0).levelLeft = 3.0e38F;
  voice(1).levelLeft = 3.0e38F;

  render(8);

  EXPECT_TRUE(std::isinf(left[0]));
  EXPECT_EQ(instrument->recoveryCount(), 0U);
}

TEST_F(InstrumentRender, OnlyTheVoicesBelowTheNumberInUseRun) {
  const auto runningAt = [this](float number) {
    instrument->voiceNumber = number;
    forget();
    render();
    return allCalls().size();
  };

  EXPECT_EQ(runningAt(1.0F), 1U);
  EXPECT_EQ(runningAt(2.0F), 2U);
  EXPECT_EQ(runningAt(2.25F), 3U);
  EXPECT_EQ(runningAt(2.5F), 3U);
  EXPECT_EQ(runningAt(0.0F), 0U);
  EXPECT_EQ(runningAt(-3.0F), 0U);
  EXPECT_EQ(runningAt(100.0F), 4U);
  EXPECT_EQ(runningAt(std::nanf("")), 4U);  // goes back to the default, all of them
  useUnison();
  EXPECT_EQ(runningAt(2.5F), 3U);
  EXPECT_EQ(runningAt(0.0F), 0U);
}

TEST_F(InstrumentRender, ABankWithoutVoicesIsSilent) {
  build(0);
  instrument->volume = 1.0F;

  render();

  EXPECT_EQ(left[0], 0.0F);
  EXPECT_EQ(right[15], 0.0F);
}

TEST_F(InstrumentRender, ABlockLongerThanTheBuffersIsReportedAndSilent) {
  setLevels(1, 1);

  render(kMaxBlockFrames + 1);

  EXPECT_EQ(takeDiagnostics(), "buffer too large\n");
  EXPECT_EQ(left[0], 0.0F);
  EXPECT_EQ(right[kMaxBlockFrames], 0.0F);
  EXPECT_EQ(left[kMaxBlockFrames + 1], 99.0F);
  EXPECT_EQ(allCalls(), Calls{});
}

TEST_F(InstrumentRender, ABlockThatJustFitsIsRendered) {
  setLevels(0.25F, 0.25F);

  render(kMaxBlockFrames);

  EXPECT_EQ(takeDiagnostics(), "");
  EXPECT_EQ(left[kMaxBlockFrames - 1], 1.0F);
}

TEST_F(InstrumentRender, VoicesGetTheTimelineAheadOfTheirBlockInPolyAndBehindItInUnison) {
  instrument->timelinePosition = 5.5;
  instrument->transportState = 1;
  render();
  EXPECT_EQ(voice(2).seenPosition.back(), 5.5);
  EXPECT_EQ(voice(2).seenTransport.back(), 1);

  useUnison();
  instrument->timelinePosition = 7.5;
  instrument->transportState = 3;
  render();

  EXPECT_EQ(voice(2).seenPosition.back(), 5.5);
  EXPECT_EQ(voice(2).seenTransport.back(), 1);
  EXPECT_EQ(voice(2).timelinePosition, 7.5);
  EXPECT_EQ(voice(2).transportState, 3);
}

TEST_F(InstrumentRender, RenderingGoesByTheModeOfTheLastNoteEvent) {
  instrument->voiceDetune = 1.0F;
  instrument->voiceMode = 1.0F;
  render();
  EXPECT_NE(detunes(), (std::vector<float>{0, -1, 0, 3}));

  noteOn(60);
  render();

  EXPECT_EQ(detunes(), (std::vector<float>{0, -1, 0, 3}));
}

TEST_F(InstrumentRender, AnySaturationAboveZeroIsTheFullCurve) {
  setLevels(0.25F, -0.5F);
  instrument->volume = 0.5F;

  instrument->outputSaturation = 0.01F;
  render();
  EXPECT_NEAR(left[5], std::tanh(1.0) * 0.5, kFloatRounding);
  EXPECT_NEAR(right[5], std::tanh(-2.0) * 0.5, kFloatRounding);
  EXPECT_NEAR(left[5], 0.76 * 0.5, 0.001);

  instrument->outputSaturation = 1.0F;
  render();
  EXPECT_NEAR(left[5], std::tanh(1.0) * 0.5, kFloatRounding);
}

TEST_F(InstrumentRender, WithoutSaturationNothingIsBent) {
  setLevels(2.0F, -3.0F);
  instrument->outputSaturation = 0.0F;

  render();
  EXPECT_EQ(left[5], 8.0F);
  instrument->outputSaturation = -1.0F;
  render();

  EXPECT_EQ(right[5], -12.0F);
}

TEST_F(InstrumentRender, WithOneBufferTheRightChannelIsSaturatedAndScaledTwice) {
  setLevels(0.125F, 0.25F);
  instrument->outputSaturation = 1.0F;
  instrument->volume = 0.5F;
  std::vector<float> one(16, 7.0F);

  instrument->runInstrument(one.data(), one.data(), 16, 120.0F, 0.0);

  for (const float sample : one) EXPECT_NEAR(sample, std::tanh(std::tanh(1.0)) * 0.25, kFloatRounding);
}

TEST_F(InstrumentRender, PrepareWorksOutTheFollowers) {
  for (const double rate : {44100.0, 96000.0}) {
    for (const int block : {64, 1024}) {
      instrument->prepare(static_cast<float>(rate), block);
      EXPECT_NEAR(instrument->volumeCoefficient, std::exp(std::log(0.01) / (200.0 * rate * 0.001)),
                  kCoefficientRounding);
      EXPECT_NEAR(instrument->slopCoefficient, std::exp(std::log(0.01) / (10250.0 * (rate / block) * 0.001)),
                  kCoefficientRounding);
      EXPECT_EQ(instrument->sampleCoefficient, instrument->volumeCoefficient);
      EXPECT_EQ(instrument->sampleRate, static_cast<float>(rate));
      EXPECT_EQ(instrument->blockSize, block);
    }
  }
  EXPECT_EQ(callsOf(0).back(), "prepare 96000 1024");
  EXPECT_EQ(callsOf(3).back(), "prepare 96000 1024");
}

TEST_F(InstrumentRender, VolumeFollowsItsParameterSampleBySample) {
  setLevels(0.25F, 0.5F);
  instrument->prepare(44100.0F, 1024);
  instrument->volume = 0.75F;
  const double c = std::exp(std::log(0.01) / (200.0 * 44100.0 * 0.001));
  double gain = 0;

  for (const int frames : {1, 7, 64, 4096, 4096}) {
    render(frames);
    for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
      gain = c * (gain - 0.75) + 0.75;
      ASSERT_NEAR(left[i], gain, kFollowerRounding) << i;
      ASSERT_NEAR(right[i], 2.0 * gain, 2.0 * kFollowerRounding) << i;
    }
  }
  EXPECT_NEAR(instrument->smoothedVolume, gain, kFollowerRounding);
}

TEST_F(InstrumentRender, VolumeIsTheSameWhateverTheBlocksAre) {
  const auto gainAfter = [this](int frames) {
    build(1);
    instrument->prepare(44100.0F, 1024);
    for (int done = 0; done < 4032; done += frames) render(frames);
    return instrument->smoothedVolume;
  };

  const float whole = gainAfter(4032);

  for (const int frames : {1, 7, 64}) EXPECT_EQ(gainAfter(frames), whole) << frames;
}

TEST_F(InstrumentRender, VolumeAtZeroLeavesATailOf200Milliseconds) {
  build(1);
  instrument->prepare(44100.0F, 1024);
  setLevels(1, 1);
  instrument->smoothedVolume = 1.0F;
  instrument->volume = 0.0F;

  for (int i = 0; i < 3; ++i) render(2940);

  EXPECT_GT(left[0], 0.01F);
  EXPECT_NEAR(left[2939], 0.01, 1e-4) << "a hundredth is left behind 8820 samples";
}

TEST_F(InstrumentRender, AFreshInstrumentFadesInFromNothing) {
  setLevels(0.25F, 0.25F);
  instrument->prepare(44100.0F, 1024);

  render(64);

  EXPECT_LT(left[0], 0.001F);
  EXPECT_GT(left[63], left[0]);
}

// Counts how often the sequencer is asked for, and what the timeline's time is then.
class SequencedInstrument : public ZRDSPInstrument {
 public:
  SequencedInstrument() : ZRDSPInstrument(44100.0F) {}
  void runSequencer(double sampleTime) noexcept override {
    ++runs;
    time = sampleTime;
    timelineThen = timelineSampleTime;
    blockThen = blockSampleTime;
  }
  int runs = 0;
  double time = 0, timelineThen = -1, blockThen = -1;
};

TEST(InstrumentSequencer, RunsWhileTheTransportPlaysAndTheSequencerIsOn) {
  SequencedInstrument instrument;
  instrument.initWithNumberOfVoices<RecordingVoice>(1, 44100.0F, 1024, kTurboFlags);
  std::vector<float> block(8);
  const auto runsWith = [&](int transport, float enabled) {
    instrument.runs = 0;
    instrument.transportState = transport;
    instrument.seqEnabled = enabled;
    instrument.runInstrument(block.data(), block.data(), 8, 120.0F, 1000.0);
    return instrument.runs;
  };

  EXPECT_EQ(runsWith(2, 1.0F), 1);
  EXPECT_EQ(runsWith(2, 0.5F), 1);
  EXPECT_EQ(runsWith(2, 0.4F), 0);
  EXPECT_EQ(runsWith(1, 1.0F), 0);
  EXPECT_EQ(runsWith(0, 1.0F), 0);
}

TEST(InstrumentSequencer, RunsAheadOfTheTimelinesNewTime) {
  SequencedInstrument instrument;
  instrument.transportState = 2;
  instrument.seqEnabled = 1.0F;
  instrument.timelineSampleTime = 500.0;

  instrument.runInstrument(nullptr, nullptr, 0, 120.0F, 1000.0);

  EXPECT_EQ(instrument.time, 1000.0);
  EXPECT_EQ(instrument.blockThen, 1000.0);
  EXPECT_EQ(instrument.timelineThen, 500.0);
  EXPECT_EQ(instrument.timelineSampleTime, 1000.0);
}

}  // namespace
}  // namespace morv
