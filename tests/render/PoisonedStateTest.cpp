#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZREcoVerb.h"
#include "tests/render/InstrumentTesting.h"
#include "tests/render/PoisonedEngine.h"

namespace morv {
namespace {

// Rounding, and what is left of a filter's settling after 100 ms.
constexpr double kSameSoundDb = -60.0;
// Phases that start elsewhere meet those of the other notes elsewhere.
constexpr double kSameLevelDb = 2.0;
constexpr int kHeardFrames = 24000;

enum class Then { sameSound, sameLevel };

// A place in a sounding voice, and what of its sound comes back.
struct Place {
  const char* name;
  void (*poison)(ZRTurboVoice& voice, float value);
  Then then;
  const char* told;               // none where a buffer may be written anew before anything reads it
  bool boundsInfinities = false;  // the ordinary arithmetic takes them home, so that nothing is left to mend
};

float* sourceOf(ZRTurboVoice& v, int source) { return const_cast<float*>(v.modMatrix->readSource(source)); }

float* destinationOf(ZRTurboVoice& v, const ZRDSPParameter& parameter) {
  return const_cast<float*>(v.modMatrix->readDestination(parameter.address));
}

constexpr Place kPlaces[] = {
    {"FirstIntegrator", [](ZRTurboVoice& v, float x) { v.filter->z1 = x; }, Then::sameSound, "filter"},
    {"SecondIntegrator", [](ZRTurboVoice& v, float x) { v.filter->z2 = x; }, Then::sameSound, "filter"},
    {"IdleIntegrators", [](ZRTurboVoice& v, float x) { v.filter->z3 = v.filter->z4 = x; }, Then::sameSound,
     "filter"},
    {"FilterCoefficient",
     [](ZRTurboVoice& v, float x) {
       v.filter->alpha = static_cast<double>(x);
       v.filter->rho = static_cast<double>(x);
     },
     Then::sameSound, "filter"},
    {"OscillatorPhase", [](ZRTurboVoice& v, float x) { v.waveOscillator->phaseOne = x; }, Then::sameLevel,
     "oscillator"},
    {"SecondPhase", [](ZRTurboVoice& v, float x) { v.waveOscillator->phaseTwo = x; }, Then::sameSound,
     "oscillator"},
    {"SubPhase", [](ZRTurboVoice& v, float x) { v.waveOscillator->phaseThree = x; }, Then::sameLevel,
     "oscillator"},
    {"LfoPhase", [](ZRTurboVoice& v, float x) { v.lfo->phase = x; }, Then::sameLevel, "LFO", true},
    {"LfoSecondPhase", [](ZRTurboVoice& v, float x) { v.lfo->secondPhase = x; }, Then::sameSound, "LFO",
     true},
    {"LfoHeldValue", [](ZRTurboVoice& v, float x) { v.lfo->heldValue = x; }, Then::sameSound, "LFO"},
    {"LfoSmoother", [](ZRTurboVoice& v, float x) { v.lfo->lfoOutput = x; }, Then::sameLevel, "LFO", true},
    {"AmplitudeLevel", [](ZRTurboVoice& v, float x) { v.ampEnvelope->stageTarget = x; }, Then::sameSound,
     "amplitude envelope"},
    {"AmplitudeVelocity", [](ZRTurboVoice& v, float x) { v.ampEnvelope->velocityScale = x; }, Then::sameSound,
     "amplitude envelope"},
    {"ModulationEnvelope", [](ZRTurboVoice& v, float x) { v.modEnvelope->stageTarget = x; }, Then::sameSound,
     "modulation envelope"},
    {"FadeEnvelope", [](ZRTurboVoice& v, float x) { v.fadeEnvelope->attackStart = x; }, Then::sameSound,
     "fade envelope"},
    {"Drive",
     [](ZRTurboVoice& v, float x) {
       float samples[4] = {x, x, x, x};
       v.driveTone->runFilter(samples, nullptr, samples, nullptr, 4);
     },
     Then::sameSound, "drive"},
    {"Pan", [](ZRTurboVoice& v, float x) { v.smoothedPan = x; }, Then::sameSound, "smoothing"},
    {"GainFollower", [](ZRTurboVoice& v, float x) { v.outputAmp->smoothedMax = x; }, Then::sameSound,
     "amplifier"},
    {"Pressure", [](ZRTurboVoice& v, float x) { v.smoothedPressure = x; }, Then::sameSound, "smoothing"},
    {"Bend", [](ZRTurboVoice& v, float x) { v.smoothedPitchbend = x; }, Then::sameLevel, "smoothing"},
    {"GateFollower", [](ZRTurboVoice& v, float x) { v.smoothedGate = x; }, Then::sameSound, "smoothing"},
    {"Pitch", [](ZRTurboVoice& v, float x) { v.noteFrequency = x; }, Then::sameLevel, "smoothing"},
    {"PitchSource",
     [](ZRTurboVoice& v, float x) { std::fill_n(sourceOf(v, kSourceNote), kMaxBlockFrames, x); },
     Then::sameLevel, nullptr},
    {"PitchDestination",
     [](ZRTurboVoice& v, float x) {
       std::fill_n(destinationOf(v, v.waveOscillator->oscSemitones), kMaxBlockFrames, x);
     },
     Then::sameLevel, nullptr},
    {"CutoffDestination",
     [](ZRTurboVoice& v, float x) {
       std::fill_n(destinationOf(v, v.filter->filterCutoff), kMaxBlockFrames, x);
     },
     Then::sameSound, nullptr},
    {"LoudnessDestination",
     [](ZRTurboVoice& v, float x) { std::fill_n(destinationOf(v, v.outputAmp->max), kMaxBlockFrames, x); },
     Then::sameSound, nullptr},
    {"LfoSource",
     [](ZRTurboVoice& v, float x) { std::fill_n(sourceOf(v, v.lfoAmp->outputSource), kMaxBlockFrames, x); },
     Then::sameLevel, nullptr},
};

using Case = std::tuple<Place, float, int>;  // place, poison, block

class PoisonedVoice : public ::testing::TestWithParam<Case> {};

TEST_P(PoisonedVoice, IsHeardNoLongerThanATenthOfASecondAndItsSoundComesBack) {
  const auto [place, poison, block] = GetParam();
  PoisonedEngine engine(block);
  PoisonedEngine twin(block);
  for (PoisonedEngine* each : {&engine, &twin}) {
    each->holdChord();
    each->render(12000);
  }
  takeDiagnostics();

  place.poison(engine.sounding(), poison);
  const std::vector<float> recovering = engine.render(kRecoveryFrames);
  twin.render(kRecoveryFrames);
  const std::vector<float> actual = engine.render(kHeardFrames);
  const std::vector<float> expected = twin.render(kHeardFrames);

  EXPECT_TRUE(allFinite(recovering));
  ASSERT_TRUE(allFinite(actual));
  if (place.then == Then::sameSound) {
    EXPECT_LT(distanceDb(expected, actual), kSameSoundDb);
  }
  EXPECT_NEAR(levelDb(actual), levelDb(expected), kSameLevelDb);
  EXPECT_EQ(twin.recoveries(), 0U);
  const std::string diagnostics = takeDiagnostics();
  const bool isBounded = place.boundsInfinities && std::isinf(poison);
  if (place.told != nullptr && !isBounded) {
    EXPECT_EQ(engine.recoveries(), 1U);
    EXPECT_EQ(diagnostics, std::string("[RECOVERY] 1: voice 0 held what is no number: ") + place.told + "\n");
  } else {
    EXPECT_LE(engine.recoveries(), 1U);
    EXPECT_EQ(diagnostics.empty(), engine.recoveries() == 0U);
  }
}

std::string caseName(const ::testing::TestParamInfo<Case>& info) {
  const auto [place, poison, block] = info.param;
  const char* what = std::isnan(poison) ? "NaN" : (poison > 0 ? "Inf" : "MinusInf");
  return std::string(place.name) + what + std::to_string(block);
}

INSTANTIATE_TEST_SUITE_P(Places, PoisonedVoice,
                         ::testing::Combine(::testing::ValuesIn(kPlaces), ::testing::ValuesIn(kPoisons),
                                            ::testing::Values(64, 512)),
                         caseName);

TEST(PoisonedState, InOneFilterLaneLeavesTheOtherVoicesAsTheyAre) {
  PoisonedEngine engine(64);
  PoisonedEngine twin(64);
  for (PoisonedEngine* each : {&engine, &twin}) {
    each->play(0x90, {48, 52, 55});
    each->render(6000);
  }

  engine.sounding().filter->z1 = kPoisons[0];
  engine.render(64);
  twin.render(64);

  for (std::size_t i = 1; i < 8; ++i) {
    ZRTurboVoice& actual = engine.voice(i);
    ZRTurboVoice& expected = twin.voice(i);
    const int source = actual.waveOscillator->outputSourceLeft;
    EXPECT_EQ(actual.filter->z1, expected.filter->z1);
    EXPECT_EQ(actual.filter->z2, expected.filter->z2);
    for (int k = 0; k < 64; ++k) {
      ASSERT_EQ(actual.modMatrix->readSource(source)[k], expected.modMatrix->readSource(source)[k]);
    }
  }
}

TEST(PoisonedState, OfOneVoiceLeavesTheOthersInTheMixOfItsBlock) {
  constexpr double kLeastShareDb = -6.0;  // two notes of three
  PoisonedEngine engine(64);
  engine.holdChord();
  const double before = levelDb(engine.render(6016));

  engine.sounding().filter->z1 = kPoisons[0];
  const std::vector<float> block = engine.render(64);

  EXPECT_GT(levelDb({block.begin(), block.begin() + 64}), before + kLeastShareDb);
  EXPECT_GT(levelDb({block.begin() + 64, block.end()}), before + kLeastShareDb);
}

TEST(PoisonedState, OfARowReachesAllVoicesAndIsPutBackAtItsSource) {
  PoisonedEngine engine(64);
  PoisonedEngine twin(64);
  for (PoisonedEngine* each : {&engine, &twin}) {
    each->holdChord();
    each->render(6000);
  }
  const auto& core = *engine.voice(0).modMatrix->getMatrixCore();
  for (int r = 0; r < core.usedRows; ++r) core.rows[static_cast<std::size_t>(r)]->amount = kPoisons[0];

  const std::vector<float> recovering = engine.render(kRecoveryFrames);
  twin.render(kRecoveryFrames);

  EXPECT_TRUE(allFinite(recovering));
  EXPECT_NEAR(levelDb(engine.render(kHeardFrames)), levelDb(twin.render(kHeardFrames)), kSameLevelDb);
  const std::uint32_t found = engine.recoveries();
  EXPECT_GE(found, 1U);
  engine.render(kHeardFrames);
  EXPECT_EQ(engine.recoveries(), found);
}

TEST(PoisonedState, OfASettingOfTheVoiceGoesBackToItsDefault) {
  PoisonedEngine engine(64);
  engine.holdChord();
  engine.render(6000);
  engine.sounding().filterCutoff = kPoisons[0];

  EXPECT_TRUE(allFinite(engine.render(kRecoveryFrames)));
  EXPECT_TRUE(std::isfinite(engine.sounding().filterCutoff.value.load()));
  EXPECT_EQ(engine.recoveries(), 1U);
}

TEST(PoisonedState, OfTheInstrumentItselfIsPutBack) {
  for (const float poison : kPoisons) {
    PoisonedEngine engine(64);
    PoisonedEngine twin(64);
    for (PoisonedEngine* each : {&engine, &twin}) {
      each->holdChord();
      each->render(24000);
    }
    takeDiagnostics();

    engine.kernel.instrument->smoothedVolume = poison;
    engine.kernel.instrument->arpCounter = -std::numeric_limits<float>::infinity();
    EXPECT_TRUE(allFinite(engine.render(kRecoveryFrames)));
    twin.render(kRecoveryFrames);

    EXPECT_LT(distanceDb(twin.render(kHeardFrames), engine.render(kHeardFrames)), kSameSoundDb);
    EXPECT_EQ(engine.recoveries(), 1U);
    EXPECT_EQ(takeDiagnostics(), "[RECOVERY] 1: the instrument held what is no number\n");
  }
}

TEST(PoisonedState, OfASilentVoiceIsGoneBeforeItsNextNote) {
  PoisonedEngine engine(64);
  engine.holdChord();
  engine.render(2400);
  ZRTurboVoice& voice = engine.sounding();
  engine.releaseChord();
  engine.render(24000);
  voice.filter->z2 = kPoisons[0];
  voice.lfo->phase = kPoisons[2];
  voice.waveOscillator->phaseOne = kPoisons[0];
  const std::vector<float> silent = engine.render(kRecoveryFrames);

  engine.holdChord();
  const std::vector<float> heard = engine.render(kHeardFrames);

  EXPECT_TRUE(allFinite(silent));
  EXPECT_TRUE(allFinite(heard));
  EXPECT_GT(levelDb(heard), -60.0);
  EXPECT_EQ(engine.recoveries(), 1U);
}

// The skip of a sleep goes on steps of the LFO and would take as many of them as there were frames.
TEST(PoisonedState, OfASleepingVoiceIsNeitherCarriedOverTheSleepNorPlayedAgain) {
  for (const float poison : kPoisons) {
    PoisonedEngine engine(64);
    engine.set("env1Release", 0.0F);
    engine.set("env2Release", 0.0F);
    engine.set("portamentoTime", 0.0F);
    engine.holdChord();
    engine.render(2400);
    ZRTurboVoice& voice = engine.sounding();
    engine.releaseChord();
    engine.render(480000);
    ASSERT_TRUE(voice.isAsleep());
    voice.lfo->frequency = poison;
    voice.lfo->phase = poison;
    voice.filter->z1 = poison;
    voice.waveOscillator->phaseOne = poison;

    engine.holdChord();
    const std::vector<float> heard = engine.render(kHeardFrames);

    EXPECT_FALSE(voice.isAsleep());
    EXPECT_TRUE(allFinite(heard));
    EXPECT_GT(levelDb(heard), -60.0);
    EXPECT_EQ(engine.recoveries(), 1U);
  }
}

// A voice is looked at again within 2048 frames.
TEST(PoisonedState, IsToldAFewTimesASecondAtMostAndCountedEachTime) {
  constexpr int kRounds = 22;  // in a second
  PoisonedEngine engine(64);
  engine.holdChord();
  engine.render(6000);
  takeDiagnostics();

  for (int round = 0; round < kRounds; ++round) {
    engine.sounding().filter->z1 = kPoisons[0];
    EXPECT_TRUE(allFinite(engine.render(2176)));
  }

  const std::string told = takeDiagnostics();
  EXPECT_EQ(engine.recoveries(), static_cast<std::uint32_t>(kRounds));
  EXPECT_GE(std::count(told.begin(), told.end(), '\n'), 4);
  EXPECT_LE(std::count(told.begin(), told.end(), '\n'), 5);
}

TEST(PoisonedState, ThatComesBackInEachBlockIsPutBackInEachAndCountedOnceUntilItIsHealthyAgain) {
  PoisonedEngine engine(64);
  engine.holdChord();
  engine.render(6000);

  for (int block = 0; block < 750; ++block) {
    engine.sounding().filter->z1 = kPoisons[0];
    EXPECT_TRUE(allFinite(engine.render(64)));
  }
  EXPECT_EQ(engine.recoveries(), 1U);
  engine.render(kRecoveryFrames);
  engine.sounding().filter->z1 = kPoisons[0];
  engine.render(64);

  EXPECT_EQ(engine.recoveries(), 2U);
}

TEST(PoisonedState, OfTheInstrumentThatComesBackInEachBlockIsCountedOnce) {
  PoisonedEngine engine(64);

  for (int block = 0; block < 100; ++block) {
    engine.kernel.instrument->slopValue = kPoisons[0];
    engine.renderBlock();
  }
  EXPECT_EQ(engine.recoveries(), 1U);
  engine.renderBlock();
  engine.kernel.instrument->slopValue = kPoisons[0];
  engine.renderBlock();

  EXPECT_EQ(engine.recoveries(), 2U);
}

TEST(PoisonedState, OfAnEffectIsForgottenInTheChain) {
  PoisonedEngine engine(64);
  PoisonedEngine twin(64);
  for (PoisonedEngine* each : {&engine, &twin}) {
    for (const auto& effect : each->kernel.instrument->effects) effect->bypass = 0.0F;
    each->holdChord();
    each->render(48000);
  }
  takeDiagnostics();

  for (const auto& effect : engine.kernel.instrument->effects) {
    const std::uint32_t counted = engine.recoveries();
    if (auto* chorus = dynamic_cast<ZRBasicChorus*>(effect.get())) chorus->crossL.z1 = kPoisons[0];
    if (auto* verb = dynamic_cast<ZREcoVerb*>(effect.get())) verb->lowpassA.z1 = kPoisons[0];
    if (auto* echo = dynamic_cast<ZRBasicDelay*>(effect.get())) echo->highpassL.z1 = kPoisons[0];
    EXPECT_TRUE(allFinite(engine.render(48000)));
    twin.render(48000);
    EXPECT_EQ(engine.recoveries(), counted + 1) << effect->name;
  }

  EXPECT_NEAR(levelDb(engine.render(48000)), levelDb(twin.render(48000)), kSameLevelDb);
  EXPECT_EQ(twin.recoveries(), 0U);
  const std::string told = takeDiagnostics();
  EXPECT_NE(told.find("no number: chorus\n"), std::string::npos) << told;
  EXPECT_NE(told.find("no number: plate reverb\n"), std::string::npos) << told;
  EXPECT_NE(told.find("no number: echo\n"), std::string::npos) << told;
}

}  // namespace
}  // namespace morv
