#pragma once

#include <cstdint>

#include "platform/NonBlocking.h"

namespace morv {

struct PhaseWalk {
  float position = 0;
  std::int64_t steps = 0;   // that were taken
  bool reachesEnd = false;  // the last of them came to `end` or beyond it
};

// Adds `step` to `position`, one float addition behind the other, until `end` is reached or `steps` are
// taken: the same bits, in some dozens of operations for any number of steps. While a float stays between two
// powers of two, each addition rounds alike and moves it by the same amount, so such a stretch is one
// product. `step` is above 0, `end` not below 0. Any thread.
PhaseWalk walkPhase(float position, float step, float end, std::int64_t steps) noexcept MORV_NONBLOCKING;

// The same with every sum written to `out`, up to and with the one that reaches the end. `position` becomes
// the last; returns how many there are.
int fillPhase(float* position, float step, float end, float* out, int steps) noexcept MORV_NONBLOCKING;

}  // namespace morv
