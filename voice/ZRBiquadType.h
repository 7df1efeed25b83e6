#pragma once

#include <cstdint>

namespace morv {

// What the sections of a ZRBiquadFilter do. Cascades of types 0 to 4 spread Butterworth's Q over their
// sections; in all other types every section is the same.
enum class ZRBiquadType : std::int32_t {
  lowpass = 0,
  highpass = 1,
  bandpass = 2,
  notch = 3,
  allpass = 4,
  lowShelf = 5,
  highShelf = 6,
  peaking = 7,           // Q from cutoff over bandwidth
  resonantBandpass = 8,  // Q from the resonance parameter
  onePoleLowpass = 9,
  onePoleHighpass = 10,
  none = 11,  // silence
};

}  // namespace morv
