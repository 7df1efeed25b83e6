#include "render/BufferedAudioBus.h"

namespace morv {

void BufferedAudioBus::init(const AVAudioFormat& format, std::uint32_t maxChannels) {
  maxFrames = 0;
  deallocateRenderResources();
  bus.emplace(format);
  bus->maximumChannelCount = maxChannels;
}

void BufferedAudioBus::allocateRenderResources(std::uint32_t maximumFrames) {
  maxFrames = maximumFrames;
  pcmBuffer = std::make_unique<AVAudioPCMBuffer>(bus->format, maximumFrames);
  originalAudioBufferList = pcmBuffer->audioBufferList();
  mutableAudioBufferList = pcmBuffer->mutableAudioBufferList();
}

void BufferedAudioBus::deallocateRenderResources() {
  pcmBuffer.reset();
  originalAudioBufferList = nullptr;
  mutableAudioBufferList = nullptr;
}

}  // namespace morv
