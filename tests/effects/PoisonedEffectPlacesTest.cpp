// Every place of each effect that its look sees and that it puts back when it forgets.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

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

namespace morv {
namespace {

constexpr float kRate = 48000;
constexpr int kSpringMode = 5;
const float kNoNumber = std::numeric_limits<float>::quiet_NaN();

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

float nothing(ZRDSPEffect& /*effect*/) { return 0.0F; }

struct Follower {
  const char* kind;
  const char* name;
  float& (*value)(ZRDSPEffect& effect);
  float (*fresh)(ZRDSPEffect& effect) = nothing;
};

const Follower kFollowers[] = {
    {"basicchorus", "phase", Of<&ZRBasicChorus::phase1>::in},
    {"basicchorus", "second phase", Of<&ZRBasicChorus::phase2>::in},
    {"basicchorus", "spread", [](ZRDSPEffect& e) -> float& { return as<ZRBasicChorus>(e).smoothed.spread; },
     [](ZRDSPEffect& e) { return as<ZRBasicChorus>(e).chorusSpread.normalizedValue(); }},
    {"basicchorus", "amount", [](ZRDSPEffect& e) -> float& { return as<ZRBasicChorus>(e).smoothed.amount; },
     [](ZRDSPEffect& e) { return as<ZRBasicChorus>(e).chorusModAmount.normalizedValue(); }},
    {"basicchorus", "mix", [](ZRDSPEffect& e) -> float& { return as<ZRBasicChorus>(e).smoothed.mix; },
     [](ZRDSPEffect& e) { return e.mix.normalizedValue(); }},
    {"basicchorus", "left noise's target", Of<&ZRBasicChorus::noiseTargetL>::in},
    {"basicchorus", "right noise's target", Of<&ZRBasicChorus::noiseTargetR>::in},
    {"basicchorus", "left noise", Of<&ZRBasicChorus::noiseL>::in},
    {"basicchorus", "right noise", Of<&ZRBasicChorus::noiseR>::in},
    {"basicdelay", "left time", Of<&ZRBasicDelay::timeL>::in, [](ZRDSPEffect& /*e*/) { return 0.125F; }},
    {"basicdelay", "right time", Of<&ZRBasicDelay::timeR>::in, [](ZRDSPEffect& /*e*/) { return 0.125F; }},
    {"ecoverb", "phase", Of<&ZREcoVerb::phase>::in},
    {"digiverb", "decay", Of<&ZRDigiVerb::decaySmoothed>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiVerb>(e).decay; }},
    {"digiverb", "pre-delay", Of<&ZRDigiVerb::preDelaySmoothed>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiVerb>(e).preDelay; }},
    {"digiverb", "size", Of<&ZRDigiVerb::sizeSmoothed>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiVerb>(e).size; }},
    {"digiverb", "mix", Of<&ZRDigiVerb::mixSmoothed>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiVerb>(e).mix; }},
    {"digiverb", "spread", Of<&ZRDigiVerb::spreadSmoothed>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiVerb>(e).spread; }},
    {"digiverb", "depth", Of<&ZRDigiVerb::modDepthSmoothed>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiVerb>(e).modDepth; }},
    {"digiverb", "phase", Of<&ZRDigiVerb::phase>::in},
    {"digiverb", "second phase", Of<&ZRDigiVerb::phase2>::in},
    {"digiverb", "noise", Of<&ZRDigiVerb::noise>::in},
    {"vachorus", "left noise's target", Of<&ZRVAChorus::noiseTargetLeft>::in},
    {"vachorus", "right noise's target", Of<&ZRVAChorus::noiseTargetRight>::in},
    {"vachorus", "left noise", Of<&ZRVAChorus::noiseLeft>::in},
    {"vachorus", "right noise", Of<&ZRVAChorus::noiseRight>::in},
    {"vachorus", "depth", Of<&ZRVAChorus::smoothedDepth>::in,
     [](ZRDSPEffect& e) { return as<ZRVAChorus>(e).modAmount.normalizedValue(); }},
    {"vachorus", "spread", Of<&ZRVAChorus::smoothedSpread>::in,
     [](ZRDSPEffect& e) { return as<ZRVAChorus>(e).spread.normalizedValue(); }},
    {"vachorus", "mix", Of<&ZRVAChorus::smoothedMix>::in,
     [](ZRDSPEffect& e) { return e.mix.normalizedValue(); }},
    {"vachorus", "first phase", [](ZRDSPEffect& e) -> float& { return as<ZRVAChorus>(e).phaseA[0]; }},
    {"vachorus", "last second phase",
     [](ZRDSPEffect& e) -> float& { return as<ZRVAChorus>(e).phaseB.back(); }},
    {"vadelay", "left time", Of<&ZRVADelay::smoothedTimeLeft>::in,
     [](ZRDSPEffect& e) { return as<ZRVADelay>(e).time.value / 1000.0F; }},
    {"vadelay", "right time", Of<&ZRVADelay::smoothedTimeRight>::in,
     [](ZRDSPEffect& e) { return as<ZRVADelay>(e).smoothedTimeLeft; }},
    {"vadelay", "feedback", Of<&ZRVADelay::smoothedFeedback>::in,
     [](ZRDSPEffect& e) { return as<ZRVADelay>(e).feedback.value / 100.0F; }},
    {"vadelay", "tape", Of<&ZRVADelay::tapePosition>::in},
    {"vadelay", "wow", Of<&ZRVADelay::wow>::in},
    {"vadelay", "fast phase", Of<&ZRVADelay::phaseFast>::in},
    {"vadelay", "slow phase", Of<&ZRVADelay::phaseSlow>::in},
    {"vadelay", "hum", Of<&ZRVADelay::phaseHum>::in},
    {"digidelay", "phase", Of<&ZRDigiDelay::phaseA>::in},
    {"digidelay", "second phase", Of<&ZRDigiDelay::phaseB>::in},
    {"digidelay", "last left", Of<&ZRDigiDelay::lastLeft>::in},
    {"digidelay", "last right", Of<&ZRDigiDelay::lastRight>::in},
    {"digidelay", "left time", Of<&ZRDigiDelay::delayLeft>::in,
     [](ZRDSPEffect& /*e*/) { return (80.0F + 0.25F * 50.0F) / 1000.0F; }},
    {"digidelay", "right time", Of<&ZRDigiDelay::delayRight>::in,
     [](ZRDSPEffect& /*e*/) { return (80.0F - 0.25F * 50.0F) / 1000.0F; }},
    {"digidelay", "feedback", Of<&ZRDigiDelay::smoothedFeedback>::in,
     [](ZRDSPEffect& /*e*/) { return 0.25F; }},
    {"digidelay", "amount", Of<&ZRDigiDelay::smoothedAmount>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiDelay>(e).modAmount; }},
    {"digiphaser", "phase", Of<&ZRDigiPhaser::phase>::in},
    {"digiphaser", "depth", Of<&ZRDigiPhaser::smoothedDepth>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiPhaser>(e).depth; }},
    {"digiphaser", "mix", Of<&ZRDigiPhaser::smoothedMix>::in,
     [](ZRDSPEffect& e) { return as<ZRDigiPhaser>(e).mix; }},
    {"digiphaser", "last left", Of<&ZRDigiPhaser::lastLeft>::in},
    {"digiphaser", "last right", Of<&ZRDigiPhaser::lastRight>::in},
    {"springverb", "first all-pass",
     [](ZRDSPEffect& e) -> float& { return as<ZRSpringVerb>(e).allpasses.front().state; }},
    {"springverb", "last all-pass",
     [](ZRDSPEffect& e) -> float& { return as<ZRSpringVerb>(e).allpasses.back().state; }},
};

struct Filter {
  const char* kind;
  const char* name;
  tpt& (*filter)(ZRDSPEffect& effect);
};

const Filter kFilters[] = {
    {"basicchorus", "left", Of<&ZRBasicChorus::crossL>::in},
    {"basicchorus", "right", Of<&ZRBasicChorus::crossR>::in},
    {"basicdelay", "left", Of<&ZRBasicDelay::highpassL>::in},
    {"basicdelay", "right", Of<&ZRBasicDelay::highpassR>::in},
    {"ecoverb", "first", Of<&ZREcoVerb::lowpassA>::in},
    {"ecoverb", "second", Of<&ZREcoVerb::lowpassB>::in},
    {"digiverb", "first", Of<&ZRDigiVerb::lowpassA>::in},
    {"digiverb", "second", Of<&ZRDigiVerb::lowpassB>::in},
    {"digiverb", "input", Of<&ZRDigiVerb::inputLowpass>::in},
    {"digiverb", "left", [](ZRDSPEffect& e) -> tpt& { return as<ZRDigiVerb>(e).postFilter[0]; }},
    {"digiverb", "right", [](ZRDSPEffect& e) -> tpt& { return as<ZRDigiVerb>(e).postFilter[1]; }},
    {"digiverb", "noise", Of<&ZRDigiVerb::noiseFilter>::in},
    {"vachorus", "left at 5 kHz", Of<&ZRVAChorus::split5kLeft>::in},
    {"vachorus", "right at 5 kHz", Of<&ZRVAChorus::split5kRight>::in},
    {"vachorus", "left at 1 kHz", Of<&ZRVAChorus::split1kLeft>::in},
    {"vachorus", "right at 1 kHz", Of<&ZRVAChorus::split1kRight>::in},
    {"vachorus", "left animation", Of<&ZRVAChorus::animateLeft>::in},
    {"vachorus", "right animation", Of<&ZRVAChorus::animateRight>::in},
    {"vadelay", "wow", Of<&ZRVADelay::wowFilter>::in},
    {"vadelay", "high-pass", Of<&ZRVADelay::highpassFilter>::in},
    {"vadelay", "low-pass", Of<&ZRVADelay::lowpassFilter>::in},
    {"digidelay", "left high-pass", Of<&ZRDigiDelay::highpassLeft>::in},
    {"digidelay", "right high-pass", Of<&ZRDigiDelay::highpassRight>::in},
    {"digidelay", "left low-pass", Of<&ZRDigiDelay::lowpassLeft>::in},
    {"digidelay", "right low-pass", Of<&ZRDigiDelay::lowpassRight>::in},
};

struct Memory {
  const char* kind;
  const char* name;
  ZeroedFloats& (*buffer)(ZRDSPEffect& effect);
};

template <auto kMember>
ZeroedFloats& lineOf(ZRDSPEffect& e) {
  return Of<kMember>::in(e).buffer;
}

const Memory kMemories[] = {
    {"basicchorus", "left", lineOf<&ZRBasicChorus::delayL>},
    {"basicchorus", "right", lineOf<&ZRBasicChorus::delayR>},
    {"basicdelay", "left", lineOf<&ZRBasicDelay::delayL>},
    {"basicdelay", "right", lineOf<&ZRBasicDelay::delayR>},
    {"ecoverb", "diffuser",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZREcoVerb>(e).diffusers.back().buffer; }},
    {"ecoverb", "all-pass 1", lineOf<&ZREcoVerb::loopAP1>},
    {"ecoverb", "all-pass 2", lineOf<&ZREcoVerb::loopAP2>},
    {"ecoverb", "all-pass 3", lineOf<&ZREcoVerb::loopAP3>},
    {"ecoverb", "all-pass 4", lineOf<&ZREcoVerb::loopAP4>},
    {"ecoverb", "delay 1", lineOf<&ZREcoVerb::loopD1>},
    {"ecoverb", "delay 2", lineOf<&ZREcoVerb::loopD2>},
    {"ecoverb", "delay 3", lineOf<&ZREcoVerb::loopD3>},
    {"ecoverb", "delay 4", lineOf<&ZREcoVerb::loopD4>},
    {"digiverb", "low shelf",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).lowShelf[1].buffer; }},
    {"digiverb", "high shelf",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).highShelf[1].buffer; }},
    {"digiverb", "pre-delay",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).preDelayLine[1].buffer; }},
    {"digiverb", "chorus",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).chorus[1].buffer; }},
    {"digiverb", "spring",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).springLine[0].buffer; }},
    {"digiverb", "echo",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).echoLine[1].buffer; }},
    {"digiverb", "comb",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).combs[1].back().buffer; }},
    {"digiverb", "all-pass",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).allpass[1].back().buffer; }},
    {"digiverb", "second all-pass",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).allpass2[1].back().buffer; }},
    {"digiverb", "lo-fi",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).loFiFIR[0].buffer; }},
    {"digiverb", "spring's half-band", lineOf<&ZRDigiVerb::springFIR>},
    {"digiverb", "spring's lows",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).springLF.back().buffer; }},
    {"digiverb", "spring's highs",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).springHF.back().buffer; }},
    {"digiverb", "diffuser",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiVerb>(e).diffusers.back().buffer; }},
    {"digiverb", "all-pass 1", lineOf<&ZRDigiVerb::loopAP1>},
    {"digiverb", "all-pass 2", lineOf<&ZRDigiVerb::loopAP2>},
    {"digiverb", "all-pass 3", lineOf<&ZRDigiVerb::loopAP3>},
    {"digiverb", "all-pass 4", lineOf<&ZRDigiVerb::loopAP4>},
    {"digiverb", "delay 1", lineOf<&ZRDigiVerb::loopD1>},
    {"digiverb", "delay 2", lineOf<&ZRDigiVerb::loopD2>},
    {"digiverb", "delay 3", lineOf<&ZRDigiVerb::loopD3>},
    {"digiverb", "delay 4", lineOf<&ZRDigiVerb::loopD4>},
    {"digiverb", "early reflections", Of<&ZRDigiVerb::earlyBuffer>::in},
    {"vachorus", "bucket brigade",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).lines[0].back().delayBuffer; }},
    {"vachorus", "comb",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).combs[1].back().buffer; }},
    {"vachorus", "shelf",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).shelves[1].buffer; }},
    {"vachorus", "half-band",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRVAChorus>(e).halfbands[0].buffer; }},
    {"vadelay", "left decimator", Of<&ZRVADelay::decimatorLeft>::in},
    {"vadelay", "right decimator", Of<&ZRVADelay::decimatorRight>::in},
    {"digidelay", "left", lineOf<&ZRDigiDelay::combLeft>},
    {"digidelay", "right", lineOf<&ZRDigiDelay::combRight>},
    {"digidelay", "modulated left", lineOf<&ZRDigiDelay::modLeft>},
    {"digidelay", "modulated right", lineOf<&ZRDigiDelay::modRight>},
    {"digiphaser", "stage",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRDigiPhaser>(e).channels[1].lines.back().buffer; }},
    {"springverb", "all-pass",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRSpringVerb>(e).allpasses.back().buffer; }},
    {"springverb", "line",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRSpringVerb>(e).tanks[0].line.buffer; }},
    {"springverb", "block",
     [](ZRDSPEffect& e) -> ZeroedFloats& { return as<ZRSpringVerb>(e).tanks[0].buffer; }},
};

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

TEST_F(PoisonedEffectPlaces, OfFollowersAndPhasesAreSeenAndGoToTargetsOrStarts) {
  for (const Follower& place : kFollowers) {
    SCOPED_TRACE(std::string(place.kind) + " " + place.name);
    ZRDSPEffect& effect = effectOf(place.kind);
    ASSERT_TRUE(Opened::holds(effect));
    place.value(effect) = kNoNumber;
    EXPECT_FALSE(Opened::holds(effect));

    Opened::forget(effect);

    EXPECT_TRUE(Opened::holds(effect));
    EXPECT_FLOAT_EQ(place.value(effect), place.fresh(effect));
  }
}

// What is a number goes on from where it is, but for what was heard last.
TEST_F(PoisonedEffectPlaces, OfFollowersAndPhasesThatAreNumbersStay) {
  const std::string heard[] = {"last left", "last right", "first all-pass", "last all-pass"};
  for (const Follower& place : kFollowers) {
    SCOPED_TRACE(std::string(place.kind) + " " + place.name);
    ZRDSPEffect& effect = effectOf(place.kind);
    place.value(effect) = 0.0625F;

    Opened::forget(effect);

    const bool isHeard = std::find(std::begin(heard), std::end(heard), place.name) != std::end(heard);
    EXPECT_EQ(place.value(effect), isHeard ? 0.0F : 0.0625F);
  }
}

TEST_F(PoisonedEffectPlaces, OfFiltersAreSeenAndEmptied) {
  for (const Filter& place : kFilters) {
    SCOPED_TRACE(std::string(place.kind) + " " + place.name);
    ZRDSPEffect& effect = effectOf(place.kind);
    tpt& filter = place.filter(effect);
    setTPTCutoff(&filter, 700.0F, kRate);
    const float coefficient = filter.G;
    for (float tpt::*state : {&tpt::z1, &tpt::z2, &tpt::G}) {
      ASSERT_TRUE(Opened::holds(effect));
      filter.z1 = 0.5F;
      filter.z2 = 0.5F;
      filter.*state = kNoNumber;
      EXPECT_FALSE(Opened::holds(effect));

      Opened::forget(effect);

      EXPECT_EQ(filter.z1, 0.0F);
      EXPECT_EQ(filter.z2, 0.0F);
      EXPECT_EQ(filter.G, coefficient);
    }
  }
}

TEST_F(PoisonedEffectPlaces, OfAFiltersCutoffGoBackToThatOfANewOne) {
  ZRDSPEffect& effect = effectOf("ecoverb");
  tpt fresh;
  initTPT(&fresh);
  tpt& filter = as<ZREcoVerb>(effect).lowpassA;
  filter.cutoff = kNoNumber;
  filter.G = kNoNumber;

  Opened::forget(effect);

  EXPECT_EQ(filter.cutoff, fresh.cutoff);
  EXPECT_TRUE(std::isfinite(filter.G));
}

TEST_F(PoisonedEffectPlaces, OfTheLinesAreEmptied) {
  for (const Memory& place : kMemories) {
    SCOPED_TRACE(std::string(place.kind) + " " + place.name);
    ZRDSPEffect& effect = effectOf(place.kind);
    ZeroedFloats& buffer = place.buffer(effect);
    ASSERT_GT(buffer.size(), 0U);
    std::fill_n(buffer.data(), buffer.size(), kNoNumber);

    Opened::forget(effect);

    EXPECT_TRUE(std::all_of(buffer.data(), buffer.data() + buffer.size(), [](float x) { return x == 0.0F; }));
  }
}

// Each has coefficients and delays of its own.
TEST_F(PoisonedEffectPlaces, OfThePlateReverbsInputFiltersAreSeenAndEmptied) {
  for (ZRBiquadFilter ZREcoVerb::*filter :
       {&ZREcoVerb::variableHighpass, &ZREcoVerb::fixedHighpass, &ZREcoVerb::fixedLowpass}) {
    ZRDSPEffect& effect = effectOf("ecoverb");
    float samples[4] = {kNoNumber, kNoNumber, kNoNumber, kNoNumber};
    (as<ZREcoVerb>(effect).*filter).runFilter(samples, samples, samples, samples, 4);
    ASSERT_FALSE(Opened::holds(effect));

    Opened::forget(effect);

    EXPECT_TRUE(Opened::holds(effect));
  }
}

TEST_F(PoisonedEffectPlaces, OfTheSpringsFrequencyGoBackToHalfTheRateWhereItIsHeard) {
  for (const float poison : {kNoNumber, std::numeric_limits<float>::infinity()}) {
    auto& verb = as<ZRDigiVerb>(effectOf("digiverb"));
    const std::uint32_t before = verb.recoveryCount();
    verb.bypass = 0.0F;
    verb.mode = kSpringMode;
    verb.springFrequency = poison;

    const Stereo heard = runInBlocks(verb, stereoNoise(4800, 3), 64);

    EXPECT_TRUE(isFinite(heard));
    EXPECT_EQ(verb.springFrequency, kRate / 2.0F);
    EXPECT_EQ(verb.recoveryCount(), before + 1);
  }
}

TEST_F(PoisonedEffectPlaces, OfTheDigitalDelaysTimesGoToATenthOfASecondWhereTheSettingGivesNone) {
  ZRDSPEffect& effect = effectOf("digidelay");
  auto& delay = as<ZRDigiDelay>(effect);
  delay.time = kNoNumber;
  delay.delayLeft = delay.delayRight = kNoNumber;

  Opened::forget(effect);

  EXPECT_EQ(delay.delayLeft, 0.1F);
  EXPECT_EQ(delay.delayRight, 0.1F);
}

// What a line of it gives that is no number becomes silence on its way out.
TEST_F(PoisonedEffectPlaces, OfTheDigitalDelaysLinesAreSeenWithoutBeingHeard) {
  ZRDSPEffect& effect = effectOf("digidelay");
  auto& delay = as<ZRDigiDelay>(effect);
  effect.bypass = 0.0F;
  std::fill_n(delay.combLeft.buffer.data(), delay.combLeft.buffer.size(), kNoNumber);
  float left[64] = {};
  float right[64] = {};
  delay._runEffect(left, right, left, right, 64, 120.0F);
  ASSERT_TRUE(std::all_of(left, left + 64, [](float x) { return std::isfinite(x); }));
  EXPECT_FALSE(Opened::holds(effect));

  Opened::forget(effect);

  EXPECT_TRUE(Opened::holds(effect));
}

// A tape that has gone round is written everywhere, and too long to be emptied.
TEST_F(PoisonedEffectPlaces, OfATapeThatHasGoneRoundAreNotReadAgain) {
  constexpr float kSlowRate = 1000;
  ZRVADelay delay(kSlowRate);
  delay.prepare(kSlowRate, 4096);
  delay.bypass = 0.0F;
  std::vector<float> left(1024, 0.25F);
  std::vector<float> right(1024, 0.25F);
  for (int frames = 0; frames < 61 * 1000; frames += 1024) {
    delay._runEffect(left.data(), right.data(), left.data(), right.data(), 1024, 120.0F);
  }
  std::fill_n(delay.delayBuffer.data(), delay.delayBuffer.size(), kNoNumber);

  Opened::forget(delay);

  for (int i = 0; i < 4; ++i) {
    delay._runEffect(left.data(), right.data(), left.data(), right.data(), 1024, 120.0F);
    EXPECT_TRUE(std::all_of(left.begin(), left.end(), [](float x) { return std::isfinite(x); }));
  }
}

// One frame takes what is no number from the line to the feedback and no further.
TEST_F(PoisonedEffectPlaces, OfTheSpringsFeedbackIsSeenAndForgotten) {
  for (const std::size_t side : {0U, 1U}) {
    ZRDSPEffect& effect = effectOf("digiverb");
    auto& verb = as<ZRDigiVerb>(effect);
    effect.bypass = 0.0F;
    verb.mode = kSpringMode;
    uniComb& line = verb.springLine[side];
    std::fill_n(line.buffer.data(), line.buffer.size(), kNoNumber);
    float left = 0.5F;
    float right = 0.5F;
    verb._runEffect(&left, &right, &left, &right, 1, 120.0F);
    EXPECT_FALSE(Opened::holds(effect));

    Opened::forget(effect);

    EXPECT_TRUE(Opened::holds(effect));
  }
}

}  // namespace
}  // namespace morv
