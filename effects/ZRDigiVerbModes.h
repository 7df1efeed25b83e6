#pragma once

#include <cmath>

#include "effects/ZRDigiVerb.h"
#include "platform/NonBlocking.h"

namespace morv {

// What the modes of the digital reverb are made of. Only its own sources include this.

enum DigiVerbMode : int {
  kPlate = 0,
  kHall = 1,
  kChorusHall = 2,
  kTremoloHall = 3,
  kLoFi = 4,
  kSpring = 5,
  kEchoHall = 6,
  kResonance = 7,
  kOneChannel = 8
};

struct ZRDigiVerb::Mode {
  float sizeToTime;   // seconds that a comb's time takes of the size,
  float leastTime;    // and above nothing; both scale the combs' own times
  float leastDecay;   // seconds to -60 dB at no decay,
  float decayToTime;  // and on top of them for each unit of decay
  float inputScale;
  int allpasses;
  int combs;
  bool swings;  // whether the combs' times do
};

// One stretch of samples on its way.
struct ZRDigiVerb::Stretch {
  using Frames = Modulation::Frames;
  Modulation m;
  Frames dryL, dryR;
  Frames left, right;  // input of the mode, then the late signal
  Frames earlyL, earlyR;
};

// Seconds of one sample, rounded down: a line read a hair more than a sample back would lose that sample once
// in each lap, where the interpolation leaves out the line's end.
inline float sampleSeconds(float sampleRateHz) noexcept MORV_NONBLOCKING {
  const float seconds = 1.0F / sampleRateHz;
  const bool isMore = static_cast<double>(seconds) * static_cast<double>(sampleRateHz) > 1.0;
  return isMore ? std::nextafter(seconds, 0.0F) : seconds;
}

}  // namespace morv
