#pragma once

#include <array>

#include "voice/ZRTurboVoice.h"

namespace morv {

// The voice's own parameters in the order of their addresses, which follow on `portamentoTime`. Identifiers
// ending in "Amount" are depths of matrix rows.
struct TurboVoiceParameterRow {
  ParameterRow row;
  ZRDSPParameter ZRTurboVoice::*member;
};

inline constexpr std::array kWaveStrings = {"SAW", "SQU"};
inline constexpr std::array kSubWaveStrings = {"SIN", "SQU"};
inline constexpr std::array kSubOctaveStrings = {"-2", "-1", "0"};
inline constexpr std::array kSubDetuneStrings = {"0", "5th"};
inline constexpr std::array kLfoShapeStrings = {"SIN", "SAW", "SQU", "TRI", "S/H"};
inline constexpr std::array kFilterModeStrings = {"LP", "NOTCH", "HP"};

inline constexpr auto kTurboVoiceParameters = [] {
  using U = ZRDSPParameterUnit;
  using V = ZRTurboVoice;
  return std::to_array<TurboVoiceParameterRow>({
      {{"oscWave", "WAVESHAPE", 0, 1, 0, U::generic, kWaveStrings}, &V::oscWave},
      {{"oscPulseWidth", "Pulsewidth", 0, 1, 0.5F}, &V::oscPulseWidth},
      {{"oscMainLevel", "VCO Level", 0, 1.25F, 0.5F, U::generic, {}, kExponentialDisplayFlags},
       &V::oscMainLevel},
      {{"oscNoiseLevel", "Noise Level", 0, 1, 0, U::generic, {}, kExponentialDisplayFlags},
       &V::oscNoiseLevel},
      {{"oscSubLevel", "Sub Level", 0, 1.25F, 0, U::generic, {}, kExponentialDisplayFlags}, &V::oscSubLevel},
      {{"oscSubWave", "Sub Wave", 0, 1, 0, U::indexed, kSubWaveStrings}, &V::oscSubWave},
      {{"oscSubOctave", "Sub Octave", 0, 2, 1, U::indexed, kSubOctaveStrings}, &V::oscSubOctave},
      {{"oscSubDetune", "Sub Detune", 0, 7, 0, U::generic, kSubDetuneStrings}, &V::oscSubDetune},
      {{"oscEnvModAmount", "ENV > PW", -1, 1, 0}, &V::oscEnvModAmount},
      {{"oscLFOModAmount", "LFO > Freq", 0, 1, 0}, &V::oscLFOModAmount},
      {{"oscPulsewidthLFOModAmount", "LFO > PW", 0, 1, 0}, &V::oscPulsewidthLFOModAmount},
      {{"oscWaveLFOModAmount", "LFO > Shape", 0, 1, 0}, &V::oscWaveLFOModAmount},
      {{"lfoAmount", "LFO Amount", 0, 1, 0}, &V::lfoAmount},
      {{"lfoFreq", "LFO Frequency", 0.1F, 10, 0.5F, U::hertz}, &V::lfoFreq},
      {{"lfoShape", "LFO Shape", 0, 4, 0, U::indexed, kLfoShapeStrings}, &V::lfoShape},
      {{"lfoFadeIn", "LFO Fade In", 0, 1, 0}, &V::lfoFadeIn},
      {{"lfoBPMSync", "LFO BPM Sync", 0, 1, 0, U::boolean}, &V::lfoBPMSync},
      {{"lfoKeySync", "LFO Key Sync", 0, 1, 0, U::boolean}, &V::lfoKeySync},
      {{"lfoRange", "LFO Range", 0, 2, 0}, &V::lfoRange},
      {{"filterCutoff", "Cutoff", 20, 20000, 1000, U::hertz}, &V::filterCutoff},
      {{"filterResonance", "Q", 0, 1, 0.1F, U::generic, {}, kExponentialDisplayFlags}, &V::filterResonance},
      {{"filterMode", "Mode", 0, 1, 0, U::generic, kFilterModeStrings}, &V::filterMode},
      {{"filterEnvModAmount", "ENV > Cutoff", -1, 1, 0, U::generic, {}, kExponentialDisplayFlags},
       &V::filterEnvModAmount},
      {{"filterLFOModAmount", "LFO > Cutoff", 0, 1, 0, U::generic, {}, kExponentialDisplayFlags},
       &V::filterLFOModAmount},
      {{"filterModeModAmount", "LFO > Mode", 0, 1, 0}, &V::filterModeModAmount},
      {{"filterModeEnvModAmount", "ENV > Mode", -1, 1, 0}, &V::filterModeEnvModAmount},
      {{"filterKeyTrackAmount", "Keytrack", 0, 1, 0}, &V::filterKeyTrackAmount},
      {{"filterQLFOAmount", "LFO -> Q", 0, 1, 0}, &V::filterQLFOAmount},
      {{"env1Attack", "Attack", 0.001F, 1, 0.01F}, &V::env1Attack},
      {{"env1Decay", "Decay", 0, 1, 0.7F}, &V::env1Decay},
      {{"env1Sustain", "Sustain", 0, 1, 0.8F}, &V::env1Sustain},
      {{"env1Release", "Release", 0, 1, 0.1F}, &V::env1Release},
      {{"env1Velocity", "Velocity", 0, 1, 0}, &V::env1Velocity},
      {{"env2Attack", "Attack", 0, 1, 0.01F}, &V::env2Attack},
      {{"env2Decay", "Decay", 0, 1, 0.7F}, &V::env2Decay},
      {{"env2Sustain", "Sustain", 0, 1, 0.8F}, &V::env2Sustain},
      {{"env2Release", "Release", 0, 1, 0.3F}, &V::env2Release},
      {{"env2Velocity", "Velocity", 0, 1, 0}, &V::env2Velocity},
      {{"env2Loop", "Loop", 0, 1, 0, U::boolean}, &V::env2Loop},
      {{"env2Sync", "Sync", 0, 1, 0, U::boolean}, &V::env2Sync},
      {{"outputDistortion", "Drive", 0, 1, 0, U::generic, {}, kExponentialDisplayFlags},
       &V::outputDistortion},
      {{"outputDistortionTone", "Tone", -1, 1, 0}, &V::outputDistortionTone},
      {{"modwheelFilterFreqAmount", "WHEEL > Freq", 0, 1, 0}, &V::modwheelFilterFreqAmount},
      {{"modwheelFilterModeAmount", "WHEEL > F.Mode", 0, 1, 0}, &V::modwheelFilterModeAmount},
      {{"modwheelLFOAmount", "WHEEL > LFO AMT", 0, 1, 0}, &V::modwheelLFOAmount},
      {{"modwheelLFOFreqAmount", "WHEEL > LFO FREQ", 0, 1, 0}, &V::modwheelLFOFreqAmount},
      {{"modwheelAmpModAmount", "WHEEL > AMP", 0, 1, 0}, &V::modwheelAmpModAmount},
      {{"oscSubPressModAmount", "PRESS > Sub", 0, 1, 0}, &V::oscSubPressModAmount},
      {{"oscPWPressModAmount", "PRESS > PW", 0, 1, 0}, &V::oscPWPressModAmount},
      {{"oscShapePressModAmount", "PRESS > Shape", 0, 1, 0}, &V::oscShapePressModAmount},
      {{"oscNoisePressModAmount", "PRESS > Noise", 0, 1, 0}, &V::oscNoisePressModAmount},
      {{"oscPWSlideModAmount", "SLIDE > PW", 0, 1, 0}, &V::oscPWSlideModAmount},
      {{"oscShapeSlideModAmount", "SLIDE > Shape", 0, 1, 0}, &V::oscShapeSlideModAmount},
      {{"oscNoiseSlideModAmount", "SLIDE > Noise", 0, 1, 0}, &V::oscNoiseSlideModAmount},
      {{"oscSubSlideModAmount", "SLIDE > Sub", 0, 1, 0}, &V::oscSubSlideModAmount},
      {{"filterFreqPressModAmount", "PRESS > Freq", 0, 1, 0}, &V::filterFreqPressModAmount},
      {{"filterModePressModAmount", "PRESS > Mode", 0, 1, 0}, &V::filterModePressModAmount},
      {{"filterFreqSlideModAmount", "SLIDE > Freq", 0, 1, 0}, &V::filterFreqSlideModAmount},
      {{"filterModeSlideModAmount", "SLIDE > Mode", 0, 1, 0}, &V::filterModeSlideModAmount},
      {{"ampPressModAmount", "PRESS > Freq", 0, 1, 0}, &V::ampPressModAmount},
      {{"ampSlideModAmount", "SLIDE > Freq", 0, 1, 0}, &V::ampSlideModAmount},
      {{"lfoFreqPressModAmount", "PRESS > LFO Freq", 0, 1, 0}, &V::lfoFreqPressModAmount},
      {{"lfoFreqSlideModAmount", "SLIDE > LFO Freq", 0, 1, 0}, &V::lfoFreqSlideModAmount},
      {{"lfoAmountPressModAmount", "PRESS > LFO", 0, 1, 0}, &V::lfoAmountPressModAmount},
      {{"lfoAmountSlideModAmount", "Slide > LFO", 0, 1, 0}, &V::lfoAmountSlideModAmount},
      {{"outputDistortionPressModAmount", "PRESS > Drive", 0, 1, 0}, &V::outputDistortionPressModAmount},
      {{"outputDistortionSlideModAmount", "SLIDE > Drive", 0, 1, 0}, &V::outputDistortionSlideModAmount},
  });
}();

static_assert(kTurboVoiceParameters.size() == 67);

}  // namespace morv
