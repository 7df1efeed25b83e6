#pragma once

#include <cstdint>

#include "platform/LockFreeRing.h"

namespace morv {

// A small message from a render thread to the main queue's thread.
struct RenderMessage {
  std::int32_t kind = 0;
  std::int32_t value = 0;
};

using RenderMessageRing = LockFreeRing<RenderMessage, 256>;

}  // namespace morv
