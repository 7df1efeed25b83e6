#include "render/DSPKernel.h"

namespace morv {

DSPKernel::~DSPKernel() = default;

void DSPKernel::handleMIDIEvent(const AUMIDIEvent& /*event*/) noexcept {}

void DSPKernel::handleOneEvent(const AURenderEvent& event) noexcept {
  switch (event.head.eventType) {
    case AURenderEventParameter:
    case AURenderEventParameterRamp:
      startRamp(event.parameter.parameterAddress, event.parameter.value,
                event.parameter.rampDurationSampleFrames);
      break;
    case AURenderEventMIDI:
      handleMIDIEvent(event.MIDI);
      break;
    default:
      break;
  }
}

void DSPKernel::performAllSimultaneousEvents(AUEventSampleTime now, const AURenderEvent*& event) noexcept {
  do {
    handleOneEvent(*event);
    event = event->head.next;
  } while (event != nullptr && event->head.eventSampleTime == now);
}

void DSPKernel::processWithEvents(const AudioTimeStamp* blockTimestamp, std::uint32_t frameCount,
                                  const AURenderEvent* events) noexcept {
  const auto now = static_cast<AUEventSampleTime>(blockTimestamp->mSampleTime);
  if (frameCount == 0) return;
  while (events != nullptr) performAllSimultaneousEvents(now, events);
  timestamp = blockTimestamp;
  process(frameCount, 0);
  timestamp = nullptr;
}

}  // namespace morv
