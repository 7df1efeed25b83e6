#pragma once

#include <array>
#include <cstddef>

#include "platform/NonBlocking.h"

namespace morv {

struct SequencerStep {
  bool gate = false;
  int value = 0;
};

// One lane: its steps and the range of their values.
struct SequencerLane {
  SequencerStep* steps = nullptr;  // SequencerLanes::kSteps of them
  int minValue = 0;
  int maxValue = 0;
};

// The step sequencer's table. Lane 0 holds gate and note of each step; in lanes 1 to 3 only the value
// counts, in twelfths: pressure, retrigger rate, chance of a variation. A fresh table is silent: no gate,
// note 60, everything else 0.
//
// Filled on one thread while nothing renders, read by the render thread. Nothing here allocates.
class SequencerLanes {
 public:
  static constexpr int kLanes = 4;
  static constexpr int kSteps = 8;
  enum Lane : int { kNote = 0, kPressure = 1, kRetrigger = 2, kChance = 3 };

  SequencerLanes() noexcept;
  // A lane points into the table.
  SequencerLanes(const SequencerLanes&) = delete;
  SequencerLanes& operator=(const SequencerLanes&) = delete;

  // False, with nothing changed, unless lane is 0 to 3, step 0 to 7 and value in the lane's range: 0 to 127
  // in lane 0, 0 to 12 in the others.
  bool setStep(int lane, int step, bool gate, int value) noexcept;
  // A step outside 0 to 7 reads the nearest.
  const SequencerStep& step(Lane lane, int step) const noexcept MORV_NONBLOCKING;
  const SequencerLane& lane(Lane lane) const noexcept MORV_NONBLOCKING {
    return lanes_[static_cast<std::size_t>(lane)];
  }

 private:
  std::array<std::array<SequencerStep, kSteps>, kLanes> steps_{};
  std::array<SequencerLane, kLanes> lanes_{};
};

}  // namespace morv
