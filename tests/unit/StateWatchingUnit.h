#pragma once

#include <functional>
#include <vector>

#include "tests/unit/PresetSurroundings.h"

namespace morv {

// Writes down each state that it is told to take.
class StateWatchingUnit : public PresetUnit {
 public:
  struct Taken {
    bool isNone = false;
    bool wasMuted = false;
    bool operator==(const Taken&) const = default;
  };
  using PresetUnit::PresetUnit;

  void setFullState(const PropertyListDictionary* state) override {
    taken.push_back({state == nullptr, isMuted()});
    if (onTake) onTake();
    PresetUnit::setFullState(state);
  }

  std::vector<Taken> taken;
  std::function<void()> onTake;  // called at each, ahead of its application
};

inline constexpr StateWatchingUnit::Taken kStateMuted{.isNone = false, .wasMuted = true};
inline constexpr StateWatchingUnit::Taken kNoneMuted{.isNone = true, .wasMuted = true};

}  // namespace morv
