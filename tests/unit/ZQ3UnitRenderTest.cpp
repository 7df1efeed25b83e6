#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "tests/unit/UnitSurroundings.h"

namespace morv {
namespace {

constexpr std::uint32_t kFrames = 256;
constexpr float kUntouched = 7.0F;

class ZQ3UnitRender : public testing::Test {
 protected:
  static AURenderEvent midi(std::uint8_t status, std::uint8_t first, std::uint8_t second) {
    AURenderEvent event{};
    event.MIDI = {nullptr, 0, AURenderEventMIDI, 3, 0, {status, first, second}};
    return event;
  }
  AUAudioUnitStatus render(const AURenderEvent* events = nullptr, std::uint32_t frames = kFrames) {
    const AudioTimeStamp timestamp{sampleTime_};
    const auto bytes = frames * static_cast<std::uint32_t>(sizeof(float));
    AudioBufferList output;
    output.mNumberBuffers = 2;
    output.mBuffers[0] = {1, bytes, left_.data()};
    output.mBuffers[1] = {1, bytes, right_.data()};
    AudioUnitRenderActionFlags flags = 0;
    sampleTime_ += frames;
    return block_(&flags, &timestamp, frames, 0, &output, events, nullptr);
  }
  float peak() const {
    float greatest = 0;
    for (std::size_t i = 0; i < kFrames; ++i) {
      greatest = std::max({greatest, std::abs(left_[i]), std::abs(right_[i])});
    }
    return greatest;
  }
  // Greatest sample over a number of blocks.
  float peakOver(int blocks) {
    float greatest = 0;
    for (int i = 0; i < blocks; ++i) {
      render();
      greatest = std::max(greatest, peak());
    }
    return greatest;
  }

  UnitSurroundings around_;
  OpenUnit unit_{around_};
  AUInternalRenderBlock block_ = unit_.internalRenderBlock();
  std::vector<float> left_ = std::vector<float>(4096, kUntouched);
  std::vector<float> right_ = std::vector<float>(4096, kUntouched);
  double sampleTime_ = 0;
};

TEST_F(ZQ3UnitRender, LeavesTheOutputAsItCameWithoutResources) {
  EXPECT_EQ(render(), 0);

  EXPECT_THAT(left_, testing::Each(kUntouched));
  EXPECT_THAT(right_, testing::Each(kUntouched));
}

TEST_F(ZQ3UnitRender, TakesTheTempoEvenWithoutResources) {
  unit_.musicalContextBlock = [](double* tempo) {
    *tempo = 133.25;
    return true;
  };

  render();

  EXPECT_EQ(unit_.tempo(), 133.25F);
  EXPECT_EQ(unit_.kernel().tempo.load(), 133.25F);
}

TEST_F(ZQ3UnitRender, KeepsTheLastTempoWhenAHostTellsWhatIsNoNumber) {
  constexpr double kLost[] = {std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity()};
  for (const double lost : kLost) {
    unit_.setTempo(90.0F);
    unit_.musicalContextBlock = [lost](double* tempo) {
      *tempo = lost;
      return true;
    };
    render();
    EXPECT_EQ(unit_.tempo(), 90.0F);
    EXPECT_EQ(unit_.kernel().tempo.load(), 90.0F);

    unit_.setTempo(static_cast<float>(lost));
    EXPECT_EQ(unit_.tempo(), 90.0F);
    EXPECT_EQ(unit_.kernel().tempo.load(), 90.0F);
  }
}

TEST_F(ZQ3UnitRender, KeepsTheTempoOfAHostThatTellsNone) {
  unit_.setTempo(90.0F);
  render();
  EXPECT_EQ(unit_.kernel().tempo.load(), 90.0F);

  unit_.musicalContextBlock = [](double*) { return false; };
  render();

  EXPECT_EQ(unit_.tempo(), 90.0F);
  EXPECT_EQ(unit_.kernel().tempo.load(), 90.0F);
}

TEST_F(ZQ3UnitRender, IsExactlySilentWhenFresh) {
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));

  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(render(), 0);
    EXPECT_EQ(peak(), 0.0F);
  }
}

TEST_F(ZQ3UnitRender, SoundsForANote) {
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));
  const AURenderEvent on = midi(0x90, 60, 100);

  render(&on);

  EXPECT_GT(peakOver(40), 0.001F);
}

TEST_F(ZQ3UnitRender, IsExactlySilentFromTheBlockThatFollowsTheMute) {
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));
  const AURenderEvent on = midi(0x90, 60, 100);
  render(&on);
  ASSERT_GT(peakOver(40), 0.001F);

  unit_.setIsMuted(true);
  EXPECT_EQ(peakOver(10), 0.0F);
  unit_.unmute();

  EXPECT_GT(peakOver(10), 0.001F);
}

TEST_F(ZQ3UnitRender, CarriesOutParameterEvents) {
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));
  AURenderEvent ramp{};
  ramp.parameter = {nullptr, 100, AURenderEventParameterRamp, 5000, unit_.outputVolumeParameter()->address(),
                    0.25F};

  render(&ramp);

  EXPECT_EQ(unit_.outputVolumeParameter()->value(), 0.25F);
}

TEST_F(ZQ3UnitRender, LendsItsOwnMemoryToBuffersWithoutAny) {
  unit_.setMaximumFramesToRender(kFrames);
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));
  const AudioTimeStamp timestamp{0};
  AudioBufferList output;
  output.mNumberBuffers = 2;
  AudioUnitRenderActionFlags flags = 0;

  block_(&flags, &timestamp, kFrames, 0, &output, nullptr, nullptr);

  for (int channel = 0; channel < 2; ++channel) {
    const AudioBuffer& buffer = output.mBuffers.at(static_cast<std::size_t>(channel));
    ASSERT_NE(buffer.mData, nullptr);
    EXPECT_EQ(buffer.mDataByteSize, kFrames * sizeof(float));
    EXPECT_EQ(buffer.mNumberChannels, 1U);
    const auto* samples = static_cast<const float*>(buffer.mData);
    EXPECT_TRUE(std::all_of(samples, samples + kFrames, [](float sample) { return sample == 0.0F; }));
  }
  EXPECT_NE(output.mBuffers[0].mData, output.mBuffers[1].mData);
}

TEST_F(ZQ3UnitRender, DoesNothingWithABlockOfNoFrames) {
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));
  const AURenderEvent on = midi(0x90, 60, 100);

  EXPECT_EQ(render(&on, 0), 0);

  EXPECT_THAT(left_, testing::Each(kUntouched));
  EXPECT_EQ(peakOver(40), 0.0F);
}

TEST_F(ZQ3UnitRender, ScalesTheOneMemoryOfAHostWithOneBufferTwice) {
  constexpr int kBlocks = 400;  // until the volume has arrived
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));
  unit_.outputVolumeParameter()->setValue(0.5F);
  const AURenderEvent on = midi(0x90, 60, 100);
  render(&on);
  ASSERT_GT(peakOver(kBlocks), 0.001F);
  UnitSurroundings around;
  OpenUnit mono(around);
  ASSERT_TRUE(mono.allocateRenderResources(nullptr));
  mono.outputVolumeParameter()->setValue(0.5F);

  std::vector<float> both(kFrames);
  for (int block = 0; block <= kBlocks; ++block) {
    const AudioTimeStamp timestamp{static_cast<double>(block) * kFrames};
    AudioBufferList output;
    output.mNumberBuffers = 1;
    output.mBuffers[0] = {1, kFrames * sizeof(float), both.data()};
    AudioUnitRenderActionFlags flags = 0;
    mono.internalRenderBlock()(&flags, &timestamp, kFrames, 0, &output, block == 0 ? &on : nullptr, nullptr);
  }

  // The right channel lands on top of the left, which brings the same here, and the volume of 0.5 acts twice.
  constexpr float kTolerance = 1e-5F;  // what the volume has still to go, and rounding
  for (std::size_t i = 0; i < kFrames; ++i) ASSERT_NEAR(both[i], 0.5F * left_[i], kTolerance);
}

TEST_F(ZQ3UnitRender, TouchesOnlyTheFramesAskedFor) {
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));

  render(nullptr, 10);

  EXPECT_EQ(left_[9], 0.0F);
  EXPECT_EQ(left_[10], kUntouched);
  EXPECT_EQ(right_[10], kUntouched);
}

TEST_F(ZQ3UnitRender, ShowsEveryMidiMessageToTheMonitorFirst) {
  const auto mapper = std::make_shared<HearingMapper>(around_);
  around_.services.midiMapper = mapper;
  OpenUnit unit(around_);
  ASSERT_TRUE(unit.allocateRenderResources(nullptr));
  block_ = unit.internalRenderBlock();
  const AURenderEvent controller = midi(0xB2, 74, 12);

  render(&controller);
  around_.queue.runDue(0);

  EXPECT_THAT(mapper->heard, testing::ElementsAre(std::tuple(74, 12, 3)));
}

TEST_F(ZQ3UnitRender, FlushesDenormalsInsideTheCallOnly) {
  volatile float tiny = 1e-40F;
  float inside = 1.0F;
  unit_.musicalContextBlock = [&](double*) {
    inside = tiny * 2.0F;
    return false;
  };

  render();
  const float outside = tiny * 2.0F;

  EXPECT_EQ(inside, 0.0F);
  EXPECT_NE(outside, 0.0F);
}

TEST_F(ZQ3UnitRender, AllocationHandsRateAndBlockToTheEngine) {
  unit_.outputBus()->format.sampleRate = 96000.0;
  unit_.setMaximumFramesToRender(512);

  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));

  EXPECT_TRUE(unit_.renderResourcesAllocated());
  EXPECT_EQ(unit_.instrument().sampleRate, 96000.0F);
  EXPECT_EQ(unit_.instrument().blockSize, 512);
  EXPECT_EQ(unit_.output().maxFrames, 512U);
}

TEST_F(ZQ3UnitRender, ARefusedAllocationChangesNothing) {
  const float rate = unit_.instrument().sampleRate;
  unit_.outputBus()->format.sampleRate = 0;
  std::string error;

  EXPECT_FALSE(unit_.allocateRenderResources(&error));

  EXPECT_THAT(error, testing::HasSubstr("sample rate"));
  EXPECT_FALSE(unit_.renderResourcesAllocated());
  EXPECT_EQ(unit_.instrument().sampleRate, rate);
  EXPECT_EQ(unit_.output().pcmBuffer, nullptr);
}

TEST_F(ZQ3UnitRender, DeallocationStopsTheOutputAndKeepsTheInstrument) {
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));
  const ZRDSPInstrument* instrument = &unit_.instrument();

  unit_.deallocateRenderResources();
  render();

  EXPECT_THAT(left_, testing::Each(kUntouched));
  EXPECT_EQ(unit_.output().pcmBuffer, nullptr);
  EXPECT_EQ(&unit_.instrument(), instrument);
}

TEST_F(ZQ3UnitRender, MayBeAllocatedAgainAtAnotherRate) {
  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));
  unit_.deallocateRenderResources();
  unit_.outputBus()->format.sampleRate = 48000.0;

  ASSERT_TRUE(unit_.allocateRenderResources(nullptr));

  EXPECT_EQ(unit_.instrument().sampleRate, 48000.0F);
  EXPECT_EQ(render(), 0);
  EXPECT_EQ(peak(), 0.0F);
}

}  // namespace
}  // namespace morv
