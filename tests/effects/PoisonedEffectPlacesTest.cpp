// Every follower, phase, filter and setting of each effect that its look sees and that it puts back when it
// forgets.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "tests/effects/PoisonedEffects.h"

namespace morv {
namespace {

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

}  // namespace
}  // namespace morv
