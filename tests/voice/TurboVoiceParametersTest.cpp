// The parameters that a turbo voice registers, row by row.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/voice/VoiceTesting.h"

namespace morv {
namespace {

using U = ZRDSPParameterUnit;

struct Row {
  const ZRDSPParameter* record;
  const char* identifier;
  const char* name;
  float low, high, initial;
  U unit;
  std::vector<std::string> strings;
  bool isExponential;
};

// In the order of their addresses, which follow on the portamento's.
std::vector<Row> expectedRows(const ZRTurboVoice& voice) {
  return {
      {&voice.oscWave, "oscWave", "WAVESHAPE", 0, 1, 0, U::generic, {"SAW", "SQU"}, false},
      {&voice.oscPulseWidth, "oscPulseWidth", "Pulsewidth", 0, 1, 0.5F, U::generic, {}, false},
      {&voice.oscMainLevel, "oscMainLevel", "VCO Level", 0, 1.25F, 0.5F, U::generic, {}, true},
      {&voice.oscNoiseLevel, "oscNoiseLevel", "Noise Level", 0, 1, 0, U::generic, {}, true},
      {&voice.oscSubLevel, "oscSubLevel", "Sub Level", 0, 1.25F, 0, U::generic, {}, true},
      {&voice.oscSubWave, "oscSubWave", "Sub Wave", 0, 1, 0, U::indexed, {"SIN", "SQU"}, false},
      {&voice.oscSubOctave, "oscSubOctave", "Sub Octave", 0, 2, 1, U::indexed, {"-2", "-1", "0"}, false},
      {&voice.oscSubDetune, "oscSubDetune", "Sub Detune", 0, 7, 0, U::generic, {"0", "5th"}, false},
      {&voice.oscEnvModAmount, "oscEnvModAmount", "ENV > PW", -1, 1, 0, U::generic, {}, false},
      {&voice.oscLFOModAmount, "oscLFOModAmount", "LFO > Freq", 0, 1, 0, U::generic, {}, false},
      {&voice.oscPulsewidthLFOModAmount,
       "oscPulsewidthLFOModAmount",
       "LFO > PW",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.oscWaveLFOModAmount, "oscWaveLFOModAmount", "LFO > Shape", 0, 1, 0, U::generic, {}, false},
      {&voice.lfoAmount, "lfoAmount", "LFO Amount", 0, 1, 0, U::generic, {}, false},
      {&voice.lfoFreq, "lfoFreq", "LFO Frequency", 0.1F, 10, 0.5F, U::hertz, {}, false},
      {&voice.lfoShape,
       "lfoShape",
       "LFO Shape",
       0,
       4,
       0,
       U::indexed,
       {"SIN", "SAW", "SQU", "TRI", "S/H"},
       false},
      {&voice.lfoFadeIn, "lfoFadeIn", "LFO Fade In", 0, 1, 0, U::generic, {}, false},
      {&voice.lfoBPMSync, "lfoBPMSync", "LFO BPM Sync", 0, 1, 0, U::boolean, {}, false},
      {&voice.lfoKeySync, "lfoKeySync", "LFO Key Sync", 0, 1, 0, U::boolean, {}, false},
      {&voice.lfoRange, "lfoRange", "LFO Range", 0, 2, 0, U::generic, {}, false},
      {&voice.filterCutoff, "filterCutoff", "Cutoff", 20, 20000, 1000, U::hertz, {}, false},
      {&voice.filterResonance, "filterResonance", "Q", 0, 1, 0.1F, U::generic, {}, true},
      {&voice.filterMode, "filterMode", "Mode", 0, 1, 0, U::generic, {"LP", "NOTCH", "HP"}, false},
      {&voice.filterEnvModAmount, "filterEnvModAmount", "ENV > Cutoff", -1, 1, 0, U::generic, {}, true},
      {&voice.filterLFOModAmount, "filterLFOModAmount", "LFO > Cutoff", 0, 1, 0, U::generic, {}, true},
      {&voice.filterModeModAmount, "filterModeModAmount", "LFO > Mode", 0, 1, 0, U::generic, {}, false},
      {&voice.filterModeEnvModAmount,
       "filterModeEnvModAmount",
       "ENV > Mode",
       -1,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.filterKeyTrackAmount, "filterKeyTrackAmount", "Keytrack", 0, 1, 0, U::generic, {}, false},
      {&voice.filterQLFOAmount, "filterQLFOAmount", "LFO -> Q", 0, 1, 0, U::generic, {}, false},
      {&voice.env1Attack, "env1Attack", "Attack", 0.001F, 1, 0.01F, U::generic, {}, false},
      {&voice.env1Decay, "env1Decay", "Decay", 0, 1, 0.7F, U::generic, {}, false},
      {&voice.env1Sustain, "env1Sustain", "Sustain", 0, 1, 0.8F, U::generic, {}, false},
      {&voice.env1Release, "env1Release", "Release", 0, 1, 0.1F, U::generic, {}, false},
      {&voice.env1Velocity, "env1Velocity", "Velocity", 0, 1, 0, U::generic, {}, false},
      {&voice.env2Attack, "env2Attack", "Attack", 0, 1, 0.01F, U::generic, {}, false},
      {&voice.env2Decay, "env2Decay", "Decay", 0, 1, 0.7F, U::generic, {}, false},
      {&voice.env2Sustain, "env2Sustain", "Sustain", 0, 1, 0.8F, U::generic, {}, false},
      {&voice.env2Release, "env2Release", "Release", 0, 1, 0.3F, U::generic, {}, false},
      {&voice.env2Velocity, "env2Velocity", "Velocity", 0, 1, 0, U::generic, {}, false},
      {&voice.env2Loop, "env2Loop", "Loop", 0, 1, 0, U::boolean, {}, false},
      {&voice.env2Sync, "env2Sync", "Sync", 0, 1, 0, U::boolean, {}, false},
      {&voice.outputDistortion, "outputDistortion", "Drive", 0, 1, 0, U::generic, {}, true},
      {&voice.outputDistortionTone, "outputDistortionTone", "Tone", -1, 1, 0, U::generic, {}, false},
      {&voice.modwheelFilterFreqAmount,
       "modwheelFilterFreqAmount",
       "WHEEL > Freq",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.modwheelFilterModeAmount,
       "modwheelFilterModeAmount",
       "WHEEL > F.Mode",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.modwheelLFOAmount, "modwheelLFOAmount", "WHEEL > LFO AMT", 0, 1, 0, U::generic, {}, false},
      {&voice.modwheelLFOFreqAmount,
       "modwheelLFOFreqAmount",
       "WHEEL > LFO FREQ",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.modwheelAmpModAmount, "modwheelAmpModAmount", "WHEEL > AMP", 0, 1, 0, U::generic, {}, false},
      {&voice.oscSubPressModAmount, "oscSubPressModAmount", "PRESS > Sub", 0, 1, 0, U::generic, {}, false},
      {&voice.oscPWPressModAmount, "oscPWPressModAmount", "PRESS > PW", 0, 1, 0, U::generic, {}, false},
      {&voice.oscShapePressModAmount,
       "oscShapePressModAmount",
       "PRESS > Shape",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.oscNoisePressModAmount,
       "oscNoisePressModAmount",
       "PRESS > Noise",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.oscPWSlideModAmount, "oscPWSlideModAmount", "SLIDE > PW", 0, 1, 0, U::generic, {}, false},
      {&voice.oscShapeSlideModAmount,
       "oscShapeSlideModAmount",
       "SLIDE > Shape",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.oscNoiseSlideModAmount,
       "oscNoiseSlideModAmount",
       "SLIDE > Noise",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.oscSubSlideModAmount, "oscSubSlideModAmount", "SLIDE > Sub", 0, 1, 0, U::generic, {}, false},
      {&voice.filterFreqPressModAmount,
       "filterFreqPressModAmount",
       "PRESS > Freq",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.filterModePressModAmount,
       "filterModePressModAmount",
       "PRESS > Mode",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.filterFreqSlideModAmount,
       "filterFreqSlideModAmount",
       "SLIDE > Freq",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.filterModeSlideModAmount,
       "filterModeSlideModAmount",
       "SLIDE > Mode",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.ampPressModAmount, "ampPressModAmount", "PRESS > Freq", 0, 1, 0, U::generic, {}, false},
      {&voice.ampSlideModAmount, "ampSlideModAmount", "SLIDE > Freq", 0, 1, 0, U::generic, {}, false},
      {&voice.lfoFreqPressModAmount,
       "lfoFreqPressModAmount",
       "PRESS > LFO Freq",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.lfoFreqSlideModAmount,
       "lfoFreqSlideModAmount",
       "SLIDE > LFO Freq",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.lfoAmountPressModAmount,
       "lfoAmountPressModAmount",
       "PRESS > LFO",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.lfoAmountSlideModAmount,
       "lfoAmountSlideModAmount",
       "Slide > LFO",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.outputDistortionPressModAmount,
       "outputDistortionPressModAmount",
       "PRESS > Drive",
       0,
       1,
       0,
       U::generic,
       {},
       false},
      {&voice.outputDistortionSlideModAmount,
       "outputDistortionSlideModAmount",
       "SLIDE > Drive",
       0,
       1,
       0,
       U::generic,
       {},
       false},
  };
}

class TurboVoiceParametersTest : public ::testing::Test {
 protected:
  std::unique_ptr<ZRTurboVoice> voice = testing::makeTurboVoice();
};

TEST_F(TurboVoiceParametersTest, EveryRowOfTheTableStandsAtItsAddress) {
  const std::vector<Row> rows = expectedRows(*voice);
  ASSERT_EQ(rows.size(), 67U);
  int address = voice->portamentoTime.address;
  EXPECT_EQ(address, 0);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.identifier);
    const ZRDSPParameter& p = *row.record;
    EXPECT_EQ(p.identifier, row.identifier);
    EXPECT_EQ(p.name, row.name);
    EXPECT_EQ(p.minValue, row.low);
    EXPECT_EQ(p.maxValue, row.high);
    EXPECT_EQ(p.value, row.initial);
    EXPECT_EQ(p.normalizedValueCache, row.initial / row.high);
    EXPECT_EQ(p.unit, row.unit);
    EXPECT_EQ(p.valueStrings, row.strings);
    EXPECT_EQ(p.flags, row.isExponential ? 0x50000U : 0xC2000000U);
    EXPECT_EQ(p.address, ++address);
    EXPECT_EQ(voice->parameterForAddress(address), row.record);
    EXPECT_EQ(voice->addressForIdentifier(row.identifier), address);
  }
}

TEST_F(TurboVoiceParametersTest, TheVoiceRegistersThePortamentoAndThese67AndNoOthers) {
  const std::vector<ZRDSPParameter*> listed = voice->parameters();

  ASSERT_EQ(listed.size(), 68U);
  EXPECT_EQ(voice->numberOfParameters(), 68);
  std::set<std::string> identifiers;
  for (const ZRDSPParameter* p : listed) identifiers.insert(p->identifier);
  EXPECT_EQ(identifiers.size(), 68U);
}

TEST_F(TurboVoiceParametersTest, AllAddressesFollowTheFirstOneGiven) {
  ZRDSPModMatrix::initSingleton();
  const ZRTurboVoice later(44100.0F, 64, 100);

  EXPECT_EQ(later.portamentoTime.address, 100);
  EXPECT_EQ(later.oscWave.address, 101);
  EXPECT_EQ(later.outputDistortionSlideModAmount.address, 167);
  EXPECT_EQ(later.waveOscillator->oscFreq.address, 168);
}

TEST_F(TurboVoiceParametersTest, ModulesDrawTheirAddressesInOrderBehindTheVoice) {
  EXPECT_EQ(voice->waveOscillator->oscFreq.address, 68);
  EXPECT_EQ(voice->waveOscillator->oscPhaseModulation.address, 76);
  EXPECT_EQ(voice->filter->filterCutoff.address, 77);
  EXPECT_EQ(voice->filter->filterMode.address, 78);
  EXPECT_EQ(voice->filter->filterResonance.address, 79);
  EXPECT_EQ(voice->lfo->oscFreq.address, 80);
  EXPECT_EQ(voice->lfo->oscPhaseModulation.address, 88);
  EXPECT_EQ(voice->ampEnvelope->envVelocity.address, 89);
  EXPECT_EQ(voice->modEnvelope->envVelocity.address, 92);
  EXPECT_EQ(voice->fadeEnvelope->envVelocity.address, 95);
  EXPECT_EQ(voice->fadeEnvelope->envMax.address, 97);
  EXPECT_EQ(voice->outputAmp->volume.address, 98);
  EXPECT_EQ(voice->lfoAmp->volume.address, 104);
  EXPECT_EQ(voice->lfoAmp->input2.address, 109);
}

TEST_F(TurboVoiceParametersTest, TheFilterHasItsOwnParametersOfTheSameNamesAndOtherRanges) {
  EXPECT_EQ(voice->filter->filterCutoff.identifier, voice->filterCutoff.identifier);
  EXPECT_EQ(voice->filter->filterCutoff.minValue, 25.0F);
  EXPECT_EQ(voice->filterCutoff.minValue, 20.0F);
  EXPECT_EQ(voice->parameterForAddress(voice->addressForIdentifier("filterCutoff")), &voice->filterCutoff);
  EXPECT_EQ(voice->parameterForAddress(voice->addressForIdentifier("filterMode")), &voice->filterMode);
  EXPECT_EQ(voice->parameterForAddress(voice->addressForIdentifier("filterResonance")),
            &voice->filterResonance);
}

}  // namespace
}  // namespace morv
