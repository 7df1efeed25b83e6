#include "hosts/HostBlockCutter.h"

#include <cstddef>

namespace morv {
namespace {

// Chains the first `count` events to a list and gives its head, none for no event.
AURenderEvent* linked(std::span<AURenderEvent> events, std::size_t count) noexcept {
  if (count == 0) return nullptr;
  for (std::size_t i = 0; i + 1 < count; ++i) events[i].head.next = &events[i + 1];
  events[count - 1].head.next = nullptr;
  return events.data();
}

std::size_t countBefore(std::span<const AURenderEvent> events, AUEventSampleTime end) noexcept {
  std::size_t count = 0;
  while (count < events.size() && events[count].head.eventSampleTime < end) ++count;
  return count;
}

}  // namespace

HostBlockCutter::HostBlockCutter(ZQ3Unit& unit, std::uint32_t blockFrames)
    : unit_(unit), blockFrames_(blockFrames), renderBlock_(unit.internalRenderBlock()), spare_(blockFrames) {
  unit_.musicalContextBlock = [this](double* tempo) {
    const double told = tempo_;
    if (!(told > 0)) return false;
    *tempo = told;
    return true;
  };
}

HostBlockCutter::~HostBlockCutter() { unit_.musicalContextBlock = nullptr; }

void HostBlockCutter::render(double sampleTime, std::uint32_t frames, float* left, float* right,
                             std::span<AURenderEvent> events) noexcept {
  cutIntoBlocks(frames, blockFrames_, [&](std::uint32_t done, std::uint32_t count) {
    const bool isLast = done + count == frames;
    const AudioTimeStamp timestamp{sampleTime + done};
    const auto end = static_cast<AUEventSampleTime>(timestamp.mSampleTime) + count;
    const std::size_t taken = isLast ? events.size() : countBefore(events, end);

    const std::uint32_t bytes = count * static_cast<std::uint32_t>(sizeof(float));
    AudioBufferList output;
    output.mNumberBuffers = 2;
    float* const leftBlock = left != right ? left + done : spare_.data();
    output.mBuffers[0] = {1, bytes, leftBlock};
    output.mBuffers[1] = {1, bytes, right + done};
    AudioUnitRenderActionFlags flags = 0;
    renderBlock_(&flags, &timestamp, count, 0, &output, linked(events, taken), nullptr);
    const std::uint32_t numberless = holdLevel(leftBlock, count) + holdLevel(right + done, count);
    if (numberless > 0) numberlessSamples_ = numberlessSamples_ + numberless;

    events = events.subspan(taken);
  });
}

}  // namespace morv
