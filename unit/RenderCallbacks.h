#pragma once

#include "platform/NonBlocking.h"

namespace morv {

// Has the main queue tell the delegate of the unit `owner` (a ZRAudioUnit) that a voice began to play `note`.
// Fits the kernel's slot for it. Render thread.
void voiceTriggered(int note, int channel, void* owner) noexcept MORV_NONBLOCKING;

// Has the main queue tell the unit `owner` (a ZRAudioUnit) to change to the preset of number `program` (0 to
// 127). Answers 0 at once. Fits the kernel's slot for it. Render thread.
int programChange(int program, void* owner) noexcept MORV_NONBLOCKING;

}  // namespace morv
