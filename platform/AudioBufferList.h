#pragma once

#include <array>
#include <cstdint>

namespace morv {

// Clock of one block: the sample time of its first frame.
struct AudioTimeStamp {
  double mSampleTime = 0;
};

// One channel of 32-bit floats. The list does not own the samples.
struct AudioBuffer {
  std::uint32_t mNumberChannels = 1;
  std::uint32_t mDataByteSize = 0;
  void* mData = nullptr;
};

// Non-interleaved channels of one block; only the first `mNumberBuffers` entries count.
struct AudioBufferList {
  static constexpr std::uint32_t kMaxBuffers = 8;
  std::uint32_t mNumberBuffers = 0;
  std::array<AudioBuffer, kMaxBuffers> mBuffers{};
};

}  // namespace morv
