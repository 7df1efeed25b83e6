#pragma once

#include <cstdint>
#include <string>

namespace morv {

// Name and number of a preset; its state is found again by the name.
struct AUAudioUnitPreset {
  std::string name;
  std::int64_t number = 0;
  bool operator==(const AUAudioUnitPreset&) const = default;
};

}  // namespace morv
