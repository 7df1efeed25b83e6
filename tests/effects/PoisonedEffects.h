#pragma once

// Effects whose state is no number, in whatever place.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <string>

#include "effects/EffectCatalogue.h"
#include "effects/EffectMemory.h"
#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZREcoVerb.h"
#include "effects/ZRSpringVerb.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVADelay.h"
#include "tests/effects/EffectTesting.h"
#include "tests/platform/TakenDiagnostics.h"

namespace morv {

inline constexpr float kRate = 48000;
inline constexpr int kSpringMode = 5;
inline constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kPoisons[] = {kNoNumber, std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity()};

// The base's own operations, which it calls on any effect.
struct Opened : ZRDSPEffect {
  static bool holds(const ZRDSPEffect& effect) { return (effect.*(&Opened::_holdsNumbers))(); }
  static void forget(ZRDSPEffect& effect) {
    EffectMemory memory(0, std::numeric_limits<std::size_t>::max());
    (effect.*(&Opened::_forget))(&memory);
  }
};

template <typename Effect>
Effect& as(ZRDSPEffect& effect) {
  return dynamic_cast<Effect&>(effect);
}

template <auto kMember>
struct Of;
template <typename Effect, typename Member, Member Effect::*kMember>
struct Of<kMember> {
  static Member& in(ZRDSPEffect& e) { return as<Effect>(e).*kMember; }
};

template <typename Line>
void fill(Line& line, float value) {
  std::fill_n(line.buffer.data(), line.buffer.size(), value);
}

class PoisonedEffectPlaces : public ::testing::Test {
 protected:
  // One of each kind, whose plain members stand in their ranges and differ from 0.
  ZRDSPEffect& effectOf(const char* kind) {
    std::unique_ptr<ZRDSPEffect>& effect = effects_[kind];
    if (effect != nullptr) return *effect;
    effect = makeEffect(kind, static_cast<double>(kRate));
    effect->prepare(kRate, 64);
    if (auto* verb = dynamic_cast<ZRDigiVerb*>(effect.get())) {
      verb->decay = 0.5F;
      verb->preDelay = 20.0F;
      verb->mix = 0.375F;
      verb->spread = 0.625F;
      verb->modDepth = 0.125F;
    } else if (auto* delay = dynamic_cast<ZRDigiDelay*>(effect.get())) {
      delay->time = 80.0F;
      delay->spread = 0.25F;
      delay->modAmount = 0.75F;
    } else if (auto* phaser = dynamic_cast<ZRDigiPhaser*>(effect.get())) {
      phaser->depth = 0.25F;
    }
    return *effect;
  }

 private:
  std::map<std::string, std::unique_ptr<ZRDSPEffect>> effects_;
};

// Of a kind, with its continuous controls in the middle but for a moderate feedback.
inline std::unique_ptr<ZRDSPEffect> madeEffect(const char* kind) {
  std::unique_ptr<ZRDSPEffect> effect = makeEffect(kind, static_cast<double>(kRate));
  effect->prepare(kRate, 64);
  effect->bypass = 0.0F;
  for (EffectControl& control : controlsOf(kind, *effect)) {
    const auto range = control.range();
    if (!range.has_value() || control.isWhole()) continue;
    if (control.identifier().find("igh") != std::string::npos) continue;
    control.set(0.5F * (range->least + range->greatest));
  }
  return effect;
}

inline long recoveriesTold() {
  const std::string told = takeDiagnostics();
  long count = 0;
  for (std::size_t at = told.find("[RECOVERY]"); at != std::string::npos;
       at = told.find("[RECOVERY]", at + 1)) {
    ++count;
  }
  return count;
}

inline Stereo cut(const Stereo& s, int from, int to) {
  Stereo part;
  part.left.assign(s.left.begin() + from, s.left.begin() + to);
  part.right.assign(s.right.begin() + from, s.right.begin() + to);
  return part;
}

}  // namespace morv
