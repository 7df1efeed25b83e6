#include "render/BufferedOutputBus.h"

#include <cstring>

namespace morv {

void BufferedOutputBus::prepareOutputBufferList(AudioBufferList* outBufferList, std::uint32_t frameCount,
                                                bool zeroFill) noexcept {
  const auto byteSize = frameCount * static_cast<std::uint32_t>(sizeof(float));
  for (std::uint32_t i = 0; i < outBufferList->mNumberBuffers; ++i) {
    AudioBuffer& buffer = outBufferList->mBuffers[i];
    const AudioBuffer& original = originalAudioBufferList->mBuffers[i];
    buffer.mNumberChannels = original.mNumberChannels;
    buffer.mDataByteSize = byteSize;
    if (buffer.mData == nullptr) buffer.mData = original.mData;
    if (zeroFill) std::memset(buffer.mData, 0, byteSize);
  }
}

}  // namespace morv
