#include "unit/ZRAudioUnitDelegate.h"

namespace morv {

ZRAudioUnitDelegate::~ZRAudioUnitDelegate() = default;
void ZRAudioUnitDelegate::audioUnitDidTriggerVoiceForNote(ZRAudioUnit* /*unit*/, int /*note*/) {}

}  // namespace morv
