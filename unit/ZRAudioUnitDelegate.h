#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/AUAudioUnitPreset.h"
#include "platform/AURenderEvent.h"
#include "platform/Export.h"

namespace morv {

class ZRAudioUnit;

// Told of what happens in a unit; the view is one. Every operation is optional. Main queue.
class MORV_EXPORT ZRAudioUnitDelegate {
 public:
  virtual ~ZRAudioUnitDelegate();
  // A voice began to play `note` (0 to 120).
  virtual void audioUnitDidTriggerVoiceForNote(ZRAudioUnit* unit, int note);
  // A preset is about to become current, or has become it; null for none.
  virtual void audioUnitWillChangePreset(ZRAudioUnit* unit, const AUAudioUnitPreset* preset);
  virtual void audioUnitDidChangePreset(ZRAudioUnit* unit, const AUAudioUnitPreset* preset);
  // The unit has sent MIDI, whether or not a host took it. On the thread that sent it.
  virtual void auDidSendMIDI(AUEventSampleTime eventSampleTime, std::uint8_t cable, std::size_t len,
                             const std::uint8_t* bytes);
};

}  // namespace morv
