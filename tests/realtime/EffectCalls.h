#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "effects/ZRDSPEffect.h"
#include "platform/DiagnosticRing.h"
#include "platform/ScopedFlushDenormals.h"
#include "tests/realtime/RenderTrap.h"

namespace morv {

// Calls of the system in blocks of several sizes, with `change(round)` ahead of each; one sample in each
// block is no number.
template <typename Change>
long callsCaught(ZRDSPEffect& effect, int rounds, Change change) {
  std::vector<float> left(4096);
  std::vector<float> right(4096);
  const long before = RenderTrap::caught();
  for (int round = 0; round < rounds; ++round) {
    for (const int frames : {1, 7, 64, 4096}) {
      std::fill(left.begin(), left.end(), 1.4F);
      std::fill(right.begin(), right.end(), -1.4F);
      left[static_cast<std::size_t>(frames / 2)] = std::numeric_limits<float>::quiet_NaN();
      const ScopedFlushDenormals flush;
      const RenderTrap trap;
      change(round);
      effect.runEffect(left.data(), right.data(), left.data(), right.data(), frames, 120.0F);
    }
  }
  DiagnosticRing::shared().drain(nullptr);
  return RenderTrap::caught() - before;
}

}  // namespace morv
