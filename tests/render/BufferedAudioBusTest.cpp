#include <gtest/gtest.h>

#include <vector>

#include "render/BufferedAudioBus.h"
#include "render/BufferedOutputBus.h"

namespace morv {
namespace {

constexpr AVAudioFormat kStereo{48000.0, 2};

TEST(BufferedAudioBus, InitMakesTheBusAndHoldsNoMemory) {
  BufferedAudioBus bus;

  bus.init(kStereo, 8);

  ASSERT_TRUE(bus.bus.has_value());
  EXPECT_EQ(bus.bus->format.sampleRate, 48000.0);
  EXPECT_EQ(bus.bus->format.channelCount, 2U);
  EXPECT_EQ(bus.bus->maximumChannelCount, 8U);
  EXPECT_EQ(bus.maxFrames, 0U);
  EXPECT_EQ(bus.pcmBuffer, nullptr);
  EXPECT_EQ(bus.originalAudioBufferList, nullptr);
  EXPECT_EQ(bus.mutableAudioBufferList, nullptr);
}

TEST(BufferedAudioBus, AllocationMakesABufferOfTheBusFormat) {
  BufferedAudioBus bus;
  bus.init(kStereo, 2);

  bus.allocateRenderResources(512);

  EXPECT_EQ(bus.maxFrames, 512U);
  ASSERT_NE(bus.pcmBuffer, nullptr);
  EXPECT_EQ(bus.originalAudioBufferList, bus.pcmBuffer->audioBufferList());
  EXPECT_EQ(bus.mutableAudioBufferList, bus.pcmBuffer->mutableAudioBufferList());
  ASSERT_EQ(bus.originalAudioBufferList->mNumberBuffers, 2U);
  for (std::uint32_t channel = 0; channel < 2; ++channel) {
    EXPECT_EQ(bus.originalAudioBufferList->mBuffers[channel].mNumberChannels, 1U);
    EXPECT_EQ(bus.originalAudioBufferList->mBuffers[channel].mDataByteSize, 512U * 4U);
    EXPECT_NE(bus.originalAudioBufferList->mBuffers[channel].mData, nullptr);
  }
}

TEST(BufferedAudioBus, ChannelsOfABufferDoNotOverlap) {
  BufferedAudioBus bus;
  bus.init(kStereo, 2);
  bus.allocateRenderResources(16);
  auto* left = static_cast<float*>(bus.mutableAudioBufferList->mBuffers[0].mData);
  auto* right = static_cast<float*>(bus.mutableAudioBufferList->mBuffers[1].mData);

  for (int i = 0; i < 16; ++i) left[i] = 1.0F;

  for (int i = 0; i < 16; ++i) EXPECT_EQ(right[i], 0.0F);
}

TEST(BufferedAudioBus, AllocationMayBeRepeatedWithAnotherSize) {
  BufferedAudioBus bus;
  bus.init(kStereo, 2);
  bus.allocateRenderResources(64);

  bus.allocateRenderResources(1024);

  EXPECT_EQ(bus.maxFrames, 1024U);
  EXPECT_EQ(bus.originalAudioBufferList->mBuffers[0].mDataByteSize, 1024U * 4U);
}

TEST(BufferedAudioBus, DeallocationDropsTheBufferAndBothLists) {
  BufferedAudioBus bus;
  bus.init(kStereo, 2);
  bus.allocateRenderResources(64);

  bus.deallocateRenderResources();

  EXPECT_EQ(bus.pcmBuffer, nullptr);
  EXPECT_EQ(bus.originalAudioBufferList, nullptr);
  EXPECT_EQ(bus.mutableAudioBufferList, nullptr);
}

TEST(BufferedAudioBus, InitDropsWhatWasAllocated) {
  BufferedAudioBus bus;
  bus.init(kStereo, 2);
  bus.allocateRenderResources(64);

  bus.init(kStereo, 4);

  EXPECT_EQ(bus.maxFrames, 0U);
  EXPECT_EQ(bus.pcmBuffer, nullptr);
  EXPECT_EQ(bus.bus->maximumChannelCount, 4U);
}

class BufferedOutputBusTest : public ::testing::Test {
 protected:
  BufferedOutputBusTest() {
    bus.init(kStereo, 2);
    bus.allocateRenderResources(64);
    host.mNumberBuffers = 2;
    host.mBuffers[0] = {7, 1, left.data()};
    host.mBuffers[1] = {7, 1, right.data()};
  }
  BufferedOutputBus bus;
  std::vector<float> left = std::vector<float>(64, 1.0F);
  std::vector<float> right = std::vector<float>(64, 1.0F);
  AudioBufferList host;
};

TEST_F(BufferedOutputBusTest, HostBuffersKeepTheirMemoryAndTakeTheBlocksSize) {
  bus.prepareOutputBufferList(&host, 32, false);

  EXPECT_EQ(host.mBuffers[0].mData, left.data());
  EXPECT_EQ(host.mBuffers[1].mData, right.data());
  for (int channel = 0; channel < 2; ++channel) {
    EXPECT_EQ(host.mBuffers[static_cast<std::size_t>(channel)].mNumberChannels, 1U);
    EXPECT_EQ(host.mBuffers[static_cast<std::size_t>(channel)].mDataByteSize, 128U);
  }
  EXPECT_EQ(left[0], 1.0F);
}

TEST_F(BufferedOutputBusTest, ZeroFillClearsTheBlocksFramesAndNoMore) {
  bus.prepareOutputBufferList(&host, 32, true);

  for (std::size_t i = 0; i < 64; ++i) {
    EXPECT_EQ(left[i], i < 32 ? 0.0F : 1.0F) << i;
    EXPECT_EQ(right[i], i < 32 ? 0.0F : 1.0F) << i;
  }
}

TEST_F(BufferedOutputBusTest, AnEmptyHostBufferGetsTheBusMemory) {
  host.mBuffers[1].mData = nullptr;
  auto* own = static_cast<float*>(bus.originalAudioBufferList->mBuffers[1].mData);
  own[0] = 3.0F;

  bus.prepareOutputBufferList(&host, 64, true);

  EXPECT_EQ(host.mBuffers[0].mData, left.data());
  EXPECT_EQ(host.mBuffers[1].mData, own);
  EXPECT_EQ(own[0], 0.0F);
}

TEST_F(BufferedOutputBusTest, BusMemoryIsLeftAsItIsWithoutZeroFill) {
  host.mBuffers[0].mData = nullptr;
  auto* own = static_cast<float*>(bus.originalAudioBufferList->mBuffers[0].mData);
  own[0] = 3.0F;

  bus.prepareOutputBufferList(&host, 64, false);

  EXPECT_EQ(own[0], 3.0F);
}

TEST_F(BufferedOutputBusTest, OneHostBufferIsEnough) {
  host.mNumberBuffers = 1;

  bus.prepareOutputBufferList(&host, 64, true);

  EXPECT_EQ(left[63], 0.0F);
  EXPECT_EQ(right[0], 1.0F);
  EXPECT_EQ(host.mBuffers[1].mDataByteSize, 1U);
}

TEST_F(BufferedOutputBusTest, NoFramesMakeAnEmptyBlock) {
  bus.prepareOutputBufferList(&host, 0, true);

  EXPECT_EQ(host.mBuffers[0].mDataByteSize, 0U);
  EXPECT_EQ(left[0], 1.0F);
}

}  // namespace
}  // namespace morv
