#include "render/SequencerLanes.h"

#include <algorithm>

namespace morv {
namespace {

constexpr int kHighestNote = 127;
constexpr int kTwelfths = 12;
constexpr int kMiddleC = 60;

}  // namespace

SequencerLanes::SequencerLanes() noexcept {
  for (std::size_t i = 0; i < lanes_.size(); ++i) {
    lanes_[i].steps = steps_[i].data();
    lanes_[i].maxValue = i == kNote ? kHighestNote : kTwelfths;
  }
  for (SequencerStep& step : steps_[kNote]) step.value = kMiddleC;
}

bool SequencerLanes::setStep(int lane, int step, bool gate, int value) noexcept {
  if (lane < 0 || lane >= kLanes || step < 0 || step >= kSteps) return false;
  SequencerLane& chosen = lanes_[static_cast<std::size_t>(lane)];
  if (value < chosen.minValue || value > chosen.maxValue) return false;
  chosen.steps[step] = {gate, value};
  return true;
}

const SequencerStep& SequencerLanes::step(Lane lane, int step) const noexcept {
  return lanes_[static_cast<std::size_t>(lane)].steps[std::clamp(step, 0, kSteps - 1)];
}

}  // namespace morv
