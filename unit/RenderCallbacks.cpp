#include "unit/RenderCallbacks.h"

#include "unit/ZRAudioUnit.h"

namespace morv {

void voiceTriggered(int note, int /*channel*/, void* owner) noexcept {
  static_cast<ZRAudioUnit*>(owner)->postVoiceTriggered(note);
}

int programChange(int program, void* owner) noexcept {
  static_cast<ZRAudioUnit*>(owner)->postProgramChange(program);
  return 0;
}

}  // namespace morv
