// Run in a process of its own: addresses come from a counter that the whole process shares.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "render/ZQ3DSPKernel.h"
#include "voice/ZRTurboVoice.h"

namespace morv {
namespace {

// The first voice's parameters start at 0; behind them stand the addresses that its modules draw, up to 109.
// The globals follow on the registrations of all voices.
constexpr int kRegistrationsPerVoice = 68 + 9 + 9 + 3 * 3 + 2 * 6;

const std::vector<std::string> kVoiceIdentifiers = {"portamentoTime",
                                                    "oscWave",
                                                    "oscPulseWidth",
                                                    "oscMainLevel",
                                                    "oscNoiseLevel",
                                                    "oscSubLevel",
                                                    "oscSubWave",
                                                    "oscSubOctave",
                                                    "oscSubDetune",
                                                    "oscEnvModAmount",
                                                    "oscLFOModAmount",
                                                    "oscPulsewidthLFOModAmount",
                                                    "oscWaveLFOModAmount",
                                                    "lfoAmount",
                                                    "lfoFreq",
                                                    "lfoShape",
                                                    "lfoFadeIn",
                                                    "lfoBPMSync",
                                                    "lfoKeySync",
                                                    "lfoRange",
                                                    "filterCutoff",
                                                    "filterResonance",
                                                    "filterMode",
                                                    "filterEnvModAmount",
                                                    "filterLFOModAmount",
                                                    "filterModeModAmount",
                                                    "filterModeEnvModAmount",
                                                    "filterKeyTrackAmount",
                                                    "filterQLFOAmount",
                                                    "env1Attack",
                                                    "env1Decay",
                                                    "env1Sustain",
                                                    "env1Release",
                                                    "env1Velocity",
                                                    "env2Attack",
                                                    "env2Decay",
                                                    "env2Sustain",
                                                    "env2Release",
                                                    "env2Velocity",
                                                    "env2Loop",
                                                    "env2Sync",
                                                    "outputDistortion",
                                                    "outputDistortionTone",
                                                    "modwheelFilterFreqAmount",
                                                    "modwheelFilterModeAmount",
                                                    "modwheelLFOAmount",
                                                    "modwheelLFOFreqAmount",
                                                    "modwheelAmpModAmount",
                                                    "oscSubPressModAmount",
                                                    "oscPWPressModAmount",
                                                    "oscShapePressModAmount",
                                                    "oscNoisePressModAmount",
                                                    "oscPWSlideModAmount",
                                                    "oscShapeSlideModAmount",
                                                    "oscNoiseSlideModAmount",
                                                    "oscSubSlideModAmount",
                                                    "filterFreqPressModAmount",
                                                    "filterModePressModAmount",
                                                    "filterFreqSlideModAmount",
                                                    "filterModeSlideModAmount",
                                                    "ampPressModAmount",
                                                    "ampSlideModAmount",
                                                    "lfoFreqPressModAmount",
                                                    "lfoFreqSlideModAmount",
                                                    "lfoAmountPressModAmount",
                                                    "lfoAmountSlideModAmount",
                                                    "outputDistortionPressModAmount",
                                                    "outputDistortionSlideModAmount"};

const std::vector<std::string> kGlobalIdentifiers = {
    "midiMode",         "volume",      "pitchbendRange",   "modwheelAmount",   "voiceMode",
    "voiceNumber",      "voiceDetune", "outputSaturation", "aftertouchAmount", "legato",
    "panSpread",        "glideAmount", "slideAmount",      "controlA",         "controlB",
    "controlC",         "controlX",    "controlY",         "arpEnabled",       "arpMode",
    "arpClockDivision", "arpRange",    "arpGateLength",    "arpLatch",         "midiChannel"};

const std::vector<std::string> kEffectIdentifiers = {
    "vachorus.chorusBypass",    "vachorus.chorusMix",   "vachorus.chorusSpread", "vachorus.chorusModFreq",
    "vachorus.chorusModAmount", "vachorus.modShape",    "vachorus.inputVolume",  "vachorus.outputVolume",
    "ecoverb.reverbBypass",     "ecoverb.reverbMix",    "ecoverb.reverbSize",    "ecoverb.reverbDecay",
    "ecoverb.spread",           "ecoverb.modAmount",    "ecoverb.modFrequency",  "ecoverb.highpass",
    "basicdelay.echoBypass",    "basicdelay.echoMix",   "basicdelay.echoTime",   "basicdelay.echoRelative",
    "basicdelay.echoFeedback",  "basicdelay.syncTempo", "basicdelay.highpass",   "basicdelay.echoSpread"};

std::vector<std::pair<std::string, int>> expectedMap(int firstGlobal) {
  std::vector<std::pair<std::string, int>> map;
  int address = 0;
  for (const std::string& identifier : kVoiceIdentifiers) map.emplace_back(identifier, address++);
  address = firstGlobal;
  for (const std::string& identifier : kGlobalIdentifiers) map.emplace_back(identifier, address++);
  return map;
}

std::vector<std::pair<std::string, int>> mapOf(ZQ3DSPKernel& kernel) {
  std::vector<std::pair<std::string, int>> map;
  for (const ZRDSPParameter* p : kernel.instrument->parameters()) map.emplace_back(p->identifier, p->address);
  return map;
}

TEST(AddressMap, EightVoicesInAFreshProcessPinEveryIdentifier) {
  ZRDSPEntity::addr = 0;
  ZQ3DSPKernel kernel;

  kernel.init(2, 44100.0, 1024, 8);

  EXPECT_EQ(mapOf(kernel), expectedMap(8 * kRegistrationsPerVoice));
  EXPECT_EQ(8 * kRegistrationsPerVoice, 856);
}

TEST(AddressMap, EffectsFollowTheGlobalsGroupByGroup) {
  ZRDSPEntity::addr = 0;
  ZQ3DSPKernel kernel;
  std::vector<std::pair<std::string, int>> expected;
  int address = 881;
  for (const std::string& identifier : kEffectIdentifiers) expected.emplace_back(identifier, address++);

  kernel.init(2, 44100.0, 1024, 8);

  std::vector<std::pair<std::string, int>> map;
  for (const auto& effect : kernel.instrument->effects) {
    for (const ZRDSPParameter* p : effect->parameters()) {
      map.emplace_back(effect->identifier + "." + p->identifier, p->address);
    }
  }
  EXPECT_EQ(map, expected);
}

TEST(AddressMap, ASecondInstrumentInTheProcessKeepsVoiceAddressesAndMovesItsGlobals) {
  ZQ3DSPKernel first;
  first.init(2, 44100.0, 1024, 8);
  const int before = static_cast<int>(ZRDSPEntity::addr);
  ZQ3DSPKernel second;

  second.init(2, 44100.0, 1024, 8);

  EXPECT_EQ(mapOf(second), expectedMap(before + 8 * kRegistrationsPerVoice));
}

TEST(AddressMap, FourVoicesMoveTheGlobals) {
  const int before = static_cast<int>(ZRDSPEntity::addr);
  ZQ3DSPKernel kernel;

  kernel.init(2, 44100.0, 1024, 4);

  EXPECT_EQ(mapOf(kernel), expectedMap(before + 4 * kRegistrationsPerVoice));
}

TEST(AddressMap, ModulesOfTheVoiceDrawTheirAddressesInTheirOrder) {
  ZQ3DSPKernel kernel;
  kernel.init(2, 44100.0, 1024, 8);

  for (const auto& voice : kernel.instrument->voices) {
    const auto* turbo = dynamic_cast<const ZRTurboVoice*>(voice.get());
    ASSERT_NE(turbo, nullptr);
    EXPECT_EQ(turbo->waveOscillator->oscFreq.address, 68);
    EXPECT_EQ(turbo->waveOscillator->oscPhaseModulation.address, 76);
    EXPECT_EQ(turbo->filter->filterCutoff.address, 77);
    EXPECT_EQ(turbo->filter->filterMode.address, 78);
    EXPECT_EQ(turbo->filter->filterResonance.address, 79);
    EXPECT_EQ(turbo->lfo->oscFreq.address, 80);
    EXPECT_EQ(turbo->ampEnvelope->envVelocity.address, 89);
    EXPECT_EQ(turbo->modEnvelope->envGate.address, 93);
    EXPECT_EQ(turbo->fadeEnvelope->envMax.address, 97);
    EXPECT_EQ(turbo->outputAmp->volume.address, 98);
    EXPECT_EQ(turbo->outputAmp->input2.address, 103);
    EXPECT_EQ(turbo->lfoAmp->volume.address, 104);
    EXPECT_EQ(turbo->lfoAmp->input2.address, 109);
  }
}

}  // namespace
}  // namespace morv
