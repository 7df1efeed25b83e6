#pragma once

#include <array>
#include <cstdint>

namespace morv {

// The host's event list for one block: a linked list in time order. The host owns the records; they are read
// inside the render call only. An event's kind says which member of the union holds.
using AUEventSampleTime = std::int64_t;
using AUParameterAddress = std::uint64_t;
using AUValue = float;

enum AURenderEventType : std::uint8_t {
  AURenderEventParameter = 1,
  AURenderEventParameterRamp = 2,
  AURenderEventMIDI = 8,
  AURenderEventMIDISysEx = 9,
};

union AURenderEvent;

struct AURenderEventHeader {
  AURenderEvent* next;
  AUEventSampleTime eventSampleTime;  // in samples, on the clock of the block's AudioTimeStamp
  AURenderEventType eventType;
};

struct AUParameterEvent {
  AURenderEvent* next;
  AUEventSampleTime eventSampleTime;
  AURenderEventType eventType;
  std::uint32_t rampDurationSampleFrames;
  AUParameterAddress parameterAddress;
  AUValue value;
};

struct AUMIDIEvent {
  AURenderEvent* next;
  AUEventSampleTime eventSampleTime;
  AURenderEventType eventType;
  std::uint16_t length;  // number of valid bytes in `data`, 1 to 3
  std::uint8_t cable;
  std::array<std::uint8_t, 3> data;
};

union AURenderEvent {
  AURenderEventHeader head;
  AUParameterEvent parameter;
  AUMIDIEvent MIDI;
};

}  // namespace morv
