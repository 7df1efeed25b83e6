#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tests/unit/UnitSurroundings.h"

namespace morv {

struct RenderedBlock {
  double sampleTime;
  std::uint32_t frames;
  std::optional<double> tempo;
  std::vector<int> notes;  // first data bytes
  std::vector<AUEventSampleTime> times;
};

// Writes down each block instead of rendering it, and fills the output with the block's number, from 1.
class WritingUnit : public OpenUnit {
 public:
  using OpenUnit::OpenUnit;

  AUInternalRenderBlock internalRenderBlock() override {
    return {[](void* unit, AudioUnitRenderActionFlags*, const AudioTimeStamp* timestamp, std::uint32_t frames,
               std::int64_t, AudioBufferList* output, const AURenderEvent* events,
               const AURenderPullInputBlock*) noexcept -> AUAudioUnitStatus {
              static_cast<WritingUnit*>(unit)->write(*timestamp, frames, *output, events);
              return 0;
            },
            this};
  }

  std::vector<RenderedBlock> blocks;
  std::optional<float> sample;  // written instead of the block's number

 private:
  void write(const AudioTimeStamp& timestamp, std::uint32_t frames, const AudioBufferList& output,
             const AURenderEvent* events) {
    RenderedBlock block{timestamp.mSampleTime, frames, std::nullopt, {}, {}};
    double tempo = 0;
    if (musicalContextBlock && musicalContextBlock(&tempo)) block.tempo = tempo;
    for (; events != nullptr; events = events->head.next) {
      block.notes.push_back(events->MIDI.data[1]);
      block.times.push_back(events->head.eventSampleTime);
    }
    blocks.push_back(block);
    for (std::size_t channel = 0; channel < 2; ++channel) {
      auto* samples = static_cast<float*>(output.mBuffers.at(channel).mData);
      EXPECT_EQ(output.mBuffers.at(channel).mDataByteSize, frames * sizeof(float));
      for (std::uint32_t i = 0; i < frames; ++i)
        samples[i] = sample.value_or(static_cast<float>(blocks.size()));
    }
  }
};

}  // namespace morv
