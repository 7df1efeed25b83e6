#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "platform/AUAudioUnitBus.h"

namespace morv {

enum class AUAudioUnitBusType : std::uint8_t { input = 1, output = 2 };

// The buses of one side of a unit. It does not own them. Main thread.
class AUAudioUnitBusArray {
 public:
  AUAudioUnitBusArray(AUAudioUnitBusType type, std::vector<AUAudioUnitBus*> busses)
      : type_(type), busses_(std::move(busses)) {}

  AUAudioUnitBusType busType() const noexcept { return type_; }
  const std::vector<AUAudioUnitBus*>& busses() const noexcept { return busses_; }

 private:
  AUAudioUnitBusType type_;
  std::vector<AUAudioUnitBus*> busses_;
};

}  // namespace morv
