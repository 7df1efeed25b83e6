// Every place of a voice that its look sees, with what it is put back to and what is blamed.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/render/PoisonedEngine.h"
#include "voice/TurboVoiceParameterTable.h"

namespace morv {
namespace {

constexpr int kBlock = 64;
const float kNoNumber = kPoisons[0];

struct VoicePlace {
  const char* name;
  const char* told;
  float& (*value)(ZRTurboVoice& voice);
  float fresh;
};

template <auto kMember>
float& own(ZRTurboVoice& v) {
  return v.*kMember;
}

template <auto kMember>
float& ofLfo(ZRTurboVoice& v) {
  return (*v.lfo).*kMember;
}

template <auto kMember>
float& ofOscillator(ZRTurboVoice& v) {
  return (*v.waveOscillator).*kMember;
}

template <auto kMember>
float& ofFilter(ZRTurboVoice& v) {
  return (*v.filter).*kMember;
}

template <auto kMember>
float& ofAmplitude(ZRTurboVoice& v) {
  return (*v.ampEnvelope).*kMember;
}

// What a voice in `disturbed` goes back to.
constexpr VoicePlace kVoicePlaces[] = {
    {"note", "smoothing", own<&ZRTurboVoice::noteFrequency>, 440.0F},
    {"pressure", "smoothing", own<&ZRTurboVoice::pressure>, 0.0F},
    {"slide", "smoothing", own<&ZRTurboVoice::slide>, 0.0F},
    {"velocity", "smoothing", own<&ZRTurboVoice::velocity>, 0.0F},
    {"bend", "smoothing", own<&ZRTurboVoice::pitchbendDelta>, 0.0F},
    {"added bend", "smoothing", own<&ZRTurboVoice::addedPitchbend>, 0.0F},
    {"wheel", "smoothing", own<&ZRTurboVoice::modWheelValue>, 0.0F},
    {"pan", "smoothing", own<&ZRTurboVoice::panTarget>, 0.0F},
    {"detuning", "smoothing", own<&ZRTurboVoice::detuneOffset>, 0.0F},
    {"smoothed bend", "smoothing", own<&ZRTurboVoice::smoothedPitchbend>, 5.0F},
    {"smoothed pressure", "smoothing", own<&ZRTurboVoice::smoothedPressure>, 7.0F},
    {"smoothed slide", "smoothing", own<&ZRTurboVoice::smoothedSlide>, 9.0F},
    {"smoothed gate", "smoothing", own<&ZRTurboVoice::smoothedGate>, 1.0F},
    {"smoothed velocity", "smoothing", own<&ZRTurboVoice::smoothedVelocity>, 100.0F},
    {"glide's start", "smoothing", own<&ZRTurboVoice::glideStartFrequency>, 330.0F},
    {"smoothed pan", "smoothing", own<&ZRTurboVoice::smoothedPan>, 0.25F},
    {"phase of the LFO", "LFO", ofLfo<&ZRVAOscillator::phase>, -1.0F},
    {"second phase of the LFO", "LFO", ofLfo<&ZRVAOscillator::secondPhase>, 0.0F},
    {"sign of the LFO", "LFO", ofLfo<&ZRVAOscillator::sign>, -1.0F},
    {"held value of the LFO", "LFO", ofLfo<&ZRVAOscillator::heldValue>, 0.0F},
    {"output of the LFO", "LFO", ofLfo<&ZRVAOscillator::lfoOutput>, 0.0F},
    {"frequency of the LFO", "LFO", ofLfo<&ZRVAOscillator::frequency>, 0.0F},
    {"history of the LFO", "LFO", [](ZRTurboVoice& v) -> float& { return v.lfo->historyA[0]; }, 0.25F},
    {"second history of the LFO", "LFO", [](ZRTurboVoice& v) -> float& { return v.lfo->historyB[0]; },
     0.0625F},
    {"third history of the LFO", "LFO", [](ZRTurboVoice& v) -> float& { return v.lfo->historyC[0]; },
     -0.9375F},
    {"level", "amplitude envelope", ofAmplitude<&ZRBasicEnvelope::level>, 0.0F},
    {"target", "amplitude envelope", ofAmplitude<&ZRBasicEnvelope::stageTarget>, 0.75F},
    {"attack's start", "amplitude envelope", ofAmplitude<&ZRBasicEnvelope::attackStart>, 0.0F},
    {"velocity of the envelope", "amplitude envelope", ofAmplitude<&ZRBasicEnvelope::velocityScale>, 1.0F},
    {"decay", "amplitude envelope", ofAmplitude<&ZRBasicEnvelope::decay>, 0.5F},
    {"sustain", "amplitude envelope", ofAmplitude<&ZRBasicEnvelope::sustain>, 1.0F},
    {"delay", "amplitude envelope", ofAmplitude<&ZRBasicEnvelope::delay>, 0.0F},
    {"modulation", "modulation envelope", [](ZRTurboVoice& v) -> float& { return v.modEnvelope->level; },
     0.0F},
    {"fade", "fade envelope", [](ZRTurboVoice& v) -> float& { return v.fadeEnvelope->level; }, 0.0F},
    {"main phase", "oscillator", ofOscillator<&ZRWavetableOscillator::phaseOne>, 0.0F},
    {"second phase", "oscillator", ofOscillator<&ZRWavetableOscillator::phaseTwo>, 512.0F},
    {"sub's phase", "oscillator", ofOscillator<&ZRWavetableOscillator::phaseThree>, 0.0F},
    {"raw pitch", "oscillator", ofOscillator<&ZRWavetableOscillator::rawFrequency>, 1.0F},
    {"pitch", "oscillator", ofOscillator<&ZRWavetableOscillator::modulatedFrequency>, 1.0F},
    {"integrator 1", "filter", ofFilter<&ZRSEMFilter::z1>, 0.0F},
    {"integrator 2", "filter", ofFilter<&ZRSEMFilter::z2>, 0.0F},
    {"integrator 3", "filter", ofFilter<&ZRSEMFilter::z3>, 0.0F},
    {"integrator 4", "filter", ofFilter<&ZRSEMFilter::z4>, 0.0F},
    {"last cutoff", "filter", ofFilter<&ZRSEMFilter::lastCutoff>, -1.0F},
    {"last resonance", "filter", ofFilter<&ZRSEMFilter::lastResonance>, -1.0F},
    {"gain", "amplifier", [](ZRTurboVoice& v) -> float& { return v.outputAmp->smoothedMax; }, 1.0F},
    {"gain of the LFO", "amplifier", [](ZRTurboVoice& v) -> float& { return v.lfoAmp->smoothedMax; }, 1.0F},
};

// Puts the voice's targets, and what phases have to do with histories, where nothing else would.
void disturb(ZRTurboVoice& v) {
  v.note = 69;
  v.noteFrequency = 330.0F;
  v.pressure = 7.0F;
  v.slide = 9.0F;
  v.velocity = 100.0F;
  v.gate = 1;
  v.pitchbendDelta = 3.0F;
  v.addedPitchbend = 2.0F;
  v.panTarget = 0.25F;
  v.lfo->phase = 0.5F;
  v.lfo->secondPhase = 0.25F;
  v.lfo->sign = -1.0F;
  v.ampEnvelope->sustain = 0.75F;
}

TEST(PoisonedVoicePlaces, AreSeenAndPutBackAndBlamed) {
  for (const VoicePlace& place : kVoicePlaces) {
    SCOPED_TRACE(place.name);
    PoisonedEngine engine(kBlock);
    ZRTurboVoice& voice = engine.voice(0);
    disturb(voice);
    ASSERT_TRUE(voice.holdsNumbers(kBlock));
    place.value(voice) = kNoNumber;
    ASSERT_FALSE(voice.holdsNumbers(kBlock));

    voice.mendState(kBlock);

    EXPECT_FLOAT_EQ(place.value(voice), place.fresh);
    EXPECT_TRUE(voice.holdsNumbers(kBlock));
    EXPECT_STREQ(voice.recovered, place.told);
    EXPECT_EQ(voice.recoveries, 1);
  }
}

TEST(PoisonedVoicePlaces, OfTheFiltersCoefficientsWaitForTheNextSettings) {
  for (double ZRSEMFilter::*coefficient :
       {&ZRSEMFilter::g, &ZRSEMFilter::alpha0, &ZRSEMFilter::alpha, &ZRSEMFilter::R, &ZRSEMFilter::rho}) {
    PoisonedEngine engine(kBlock);
    ZRTurboVoice& voice = engine.voice(0);
    (*voice.filter).*coefficient = static_cast<double>(kNoNumber);
    ASSERT_FALSE(voice.holdsNumbers(kBlock));

    voice.mendState(kBlock);

    EXPECT_EQ((*voice.filter).*coefficient, 0.0);
    EXPECT_EQ(voice.filter->lastCutoff, -1.0F);
    EXPECT_STREQ(voice.recovered, "filter");
  }
}

// One is as good as the pair.
TEST(PoisonedVoicePlaces, OfAnIntegratorEmptyItsPairAndNoOther) {
  struct Pair {
    float ZRSEMFilter::*lost;
    float ZRSEMFilter::*partner;
    float ZRSEMFilter::*other;
  };
  const Pair pairs[] = {{&ZRSEMFilter::z1, &ZRSEMFilter::z2, &ZRSEMFilter::z3},
                        {&ZRSEMFilter::z2, &ZRSEMFilter::z1, &ZRSEMFilter::z4},
                        {&ZRSEMFilter::z3, &ZRSEMFilter::z4, &ZRSEMFilter::z1},
                        {&ZRSEMFilter::z4, &ZRSEMFilter::z3, &ZRSEMFilter::z2}};
  for (const Pair& pair : pairs) {
    PoisonedEngine engine(kBlock);
    ZRSEMFilter& filter = *engine.voice(0).filter;
    filter.z1 = filter.z2 = filter.z3 = filter.z4 = 0.5F;
    filter.*pair.lost = kNoNumber;

    filter.mendState();

    EXPECT_EQ(filter.*pair.partner, 0.0F);
    EXPECT_EQ(filter.*pair.other, 0.5F);
  }
}

TEST(PoisonedVoicePlaces, OfTheDriveAreSeenAndBlamed) {
  PoisonedEngine engine(kBlock);
  ZRTurboVoice& voice = engine.voice(0);
  float samples[4] = {kNoNumber, kNoNumber, kNoNumber, kNoNumber};
  voice.driveTone->runFilter(samples, nullptr, samples, nullptr, 4);
  ASSERT_FALSE(voice.holdsNumbers(kBlock));

  voice.mendState(kBlock);

  EXPECT_TRUE(voice.holdsNumbers(kBlock));
  EXPECT_STREQ(voice.recovered, "drive");
}

TEST(PoisonedVoicePlaces, OfAnEnvelopesVelocityAreWorkedOutAnew) {
  PoisonedEngine engine(kBlock);
  ZRBasicEnvelope& envelope = *engine.voice(0).ampEnvelope;
  envelope.envVelocity = 0.5F;
  envelope.setGate(1, 0.25F);
  const float expected = envelope.velocityScale;
  ASSERT_LT(expected, 1.0F);
  envelope.velocityScale = kNoNumber;

  envelope.mendState(0.25F);

  EXPECT_EQ(envelope.velocityScale, expected);
}

// A velocity's share above 1 makes a root of what lies below 0.
TEST(PoisonedVoicePlaces, OfAnEnvelopesVelocityGoToOneWhereTheSettingGivesNone) {
  PoisonedEngine engine(kBlock);
  ZRBasicEnvelope& envelope = *engine.voice(0).ampEnvelope;
  envelope.envVelocity = 2.0F;
  envelope.velocityScale = kNoNumber;

  envelope.mendState(0.0F);

  EXPECT_EQ(envelope.velocityScale, 1.0F);
}

TEST(PoisonedVoicePlaces, OfAReleaseFallFromWhereItWas) {
  PoisonedEngine engine(kBlock);
  engine.holdChord();
  engine.render(12000);
  engine.releaseChord();
  ZRBasicEnvelope& envelope = *engine.voice(0).ampEnvelope;
  ASSERT_EQ(envelope.state(), 4);
  envelope.level = 0.375F;
  envelope.stageTarget = kNoNumber;

  envelope.mendState(1.0F);

  EXPECT_EQ(envelope.stageTarget, 0.375F);
}

TEST(PoisonedVoicePlaces, OfEachSettingGoBackToItsDefault) {
  PoisonedEngine engine(kBlock);
  ZRTurboVoice& voice = engine.voice(0);
  for (const TurboVoiceParameterRow& parameter : kTurboVoiceParameters) {
    (voice.*parameter.member) = kNoNumber;
  }

  voice.mendState(kBlock);

  for (const TurboVoiceParameterRow& parameter : kTurboVoiceParameters) {
    EXPECT_EQ((voice.*parameter.member).value.load(), parameter.row.defaultValue) << parameter.row.identifier;
  }
}

TEST(PoisonedVoicePlaces, OfEachSettingAreSeenWhileNothingIsHeardOfThem) {
  PoisonedEngine engine(kBlock);
  ZRTurboVoice& voice = engine.voice(0);
  voice.active = false;
  for (const TurboVoiceParameterRow& parameter : kTurboVoiceParameters) {
    for (const float poison : kPoisons) {
      ASSERT_TRUE(voice.holdsNumbers(kBlock)) << parameter.row.identifier;
      (voice.*parameter.member) = poison;
      EXPECT_FALSE(voice.holdsNumbers(kBlock)) << parameter.row.identifier;

      voice.mendState(kBlock);

      EXPECT_STREQ(voice.recovered, "settings") << parameter.row.identifier;
    }
  }
}

// A depth stands in a row that all voices share, so that it may count once for each of the chord's three.
TEST(PoisonedVoicePlaces, OfEachSettingOfAVoiceThatSoundsGoBackToItsDefault) {
  for (const TurboVoiceParameterRow& parameter : kTurboVoiceParameters) {
    SCOPED_TRACE(parameter.row.identifier);
    PoisonedEngine engine(kBlock);
    engine.holdChord();
    engine.render(6000);
    ZRDSPParameter& setting = engine.sounding().*parameter.member;
    setting = kNoNumber;

    EXPECT_TRUE(allFinite(engine.render(24000)));

    EXPECT_EQ(setting.value.load(), parameter.row.defaultValue);
    const bool isDepth = std::string(parameter.row.identifier).ends_with("Amount");
    EXPECT_GE(engine.recoveries(), 1U);
    EXPECT_LE(engine.recoveries(), isDepth ? 3U : 1U);
  }
}

// What a voice sets in its modules when it makes them differs from the defaults of the modules.
TEST(PoisonedVoicePlaces, OfEachModulesSettingsGoBackToWhatTheVoiceWasMadeWith) {
  PoisonedEngine engine(kBlock);  // gives the voice a row array
  ZRTurboVoice voice(static_cast<float>(kPoisonRateHz), kBlock, 0);
  ZRDSPEntity* const modules[] = {
      voice.waveOscillator.get(), voice.lfo.get(),       voice.ampEnvelope.get(), voice.modEnvelope.get(),
      voice.fadeEnvelope.get(),   voice.outputAmp.get(), voice.lfoAmp.get()};
  for (ZRDSPEntity* module : modules) {
    for (ZRDSPParameter* setting : module->parameters()) {
      const float expected = setting->value;
      *setting = kNoNumber;

      voice.mendState(kBlock);

      EXPECT_EQ(setting->value.load(), expected) << setting->identifier;
    }
  }
}

// A voice that nobody runs leaves old blocks in its buffers.
TEST(PoisonedVoicePlaces, OfTheBuffersOfAnIdleVoiceAreNotLookedAt) {
  PoisonedEngine engine(kBlock);
  ZRTurboVoice& voice = engine.voice(0);
  voice.active = false;
  voice.modMatrix->destinationBuffer(voice.waveOscillator->oscFreq.address)[0] = kNoNumber;
  EXPECT_TRUE(voice.holdsNumbers(kBlock));

  voice.active = true;
  EXPECT_FALSE(voice.holdsNumbers(kBlock));
  voice.mendState(kBlock);
  EXPECT_TRUE(voice.holdsNumbers(kBlock));
  EXPECT_STREQ(voice.recovered, "modulation");
}

}  // namespace
}  // namespace morv
