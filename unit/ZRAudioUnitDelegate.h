#pragma once

#include "platform/Export.h"

namespace morv {

class ZRAudioUnit;

// Told of what happens in a unit; the view is one. Every operation is optional. Main queue.
class MORV_EXPORT ZRAudioUnitDelegate {
 public:
  virtual ~ZRAudioUnitDelegate();
  // A voice began to play `note` (0 to 120).
  virtual void audioUnitDidTriggerVoiceForNote(ZRAudioUnit* unit, int note);
};

}  // namespace morv
