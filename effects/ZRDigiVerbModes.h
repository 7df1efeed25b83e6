#pragma once

#include "effects/ZRDigiVerb.h"

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

}  // namespace morv
