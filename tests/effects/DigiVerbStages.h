#pragma once

// A digital reverb whose stages run one by one.

#include <algorithm>
#include <memory>
#include <numbers>

#include "effects/ZRDigiVerb.h"
#include "tests/effects/EffectTesting.h"

namespace morv {

inline constexpr float kStageRate = 40000.0F;  // comb and all-pass times come to whole samples
inline constexpr double kPi = std::numbers::pi;
inline constexpr float kKernels =
    2e-6F;  // sines and tangents within 4e-7, and a gain taken to its second power
inline constexpr float kPosition = 0.01F;  // of a sample: where a long line's position is rounded

using Modulation = ZRDigiVerb::Modulation;

// A unit whose followers stand at their targets.
inline std::unique_ptr<ZRDigiVerb> settled(int mode, float rate = kStageRate) {
  auto verb = std::make_unique<ZRDigiVerb>(rate);
  verb->mode = mode;
  verb->size = verb->sizeSmoothed = 0.0F;
  verb->preDelay = verb->preDelaySmoothed = 0.0F;
  verb->lfoRate = 0.0F;
  return verb;
}

// `signal` through one stage, after the followers and the swings.
template <typename Stage>
void runStage(ZRDigiVerb* verb, Stereo* signal, Stage stage) {
  const auto m = std::make_unique<Modulation>();
  for (int start = 0; start < signal->frames(); start += ZRDigiVerb::kStretch) {
    const int n = std::min(ZRDigiVerb::kStretch, signal->frames() - start);
    verb->smooth(m.get(), n);
    verb->runLFO(m.get(), n);
    stage(*m, signal->left.data() + start, signal->right.data() + start, n);
  }
}

}  // namespace morv
