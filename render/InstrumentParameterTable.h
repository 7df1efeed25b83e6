#pragma once

#include <array>

#include "render/ZRDSPInstrument.h"

namespace morv {

// The instrument's global parameters in the order in which they draw their addresses. `midiMode` and
// `voiceNumber` take their default and maximum from how the instrument is built.
struct InstrumentParameterRow {
  ParameterRow row;
  unsigned flagBit;  // registered if this bit of the flags is set; 0 for always
  ZRDSPParameter ZRDSPInstrument::*member;
};

inline constexpr std::array kMidiModeStrings = {"Default", "MPE"};
inline constexpr std::array kVolumeStrings = {"MIN", "MAX"};
inline constexpr std::array kVoiceModeStrings = {"Poly", "Unison"};
inline constexpr std::array kArpModeStrings = {"UP", "DWN", "UP/DWN", "RND", "SEQ"};
inline constexpr std::array kClockDivisionStrings = {"1/1", "1/2",  "1/4",  "1/8H",
                                                     "1/8", "1/8T", "1/16", "1/32"};
inline constexpr std::array kArpRangeStrings = {"+ 1", "+ 2", "+ 3"};
inline constexpr std::array kSeqModeStrings = {"FWD", "BWD", "PEND1", "PEND2", "RND", "SEQ"};
inline constexpr std::array kSeqRangeStrings = {"1", "2", "3"};
inline constexpr std::array kSeqScaleStrings = {
    "Chromatic",     "Major",         "Dorian",   "Phrygian", "Lydian",   "Mixolydian", "Aeolian/Min",
    "Locrain",       "MajBlues",      "MinBlues", "MajThird", "MinThird", "Fifth",      "Wholetone",
    "MajPentatonic", "MinPentatonic", "Arabic",   "Spanish",  "Gypsy",    "Ryukyu"};
inline constexpr std::array kSeqRootStrings = {"C",  "Db", "D",  "Eb", "E",  "F",
                                               "Gb", "G",  "Ab", "A",  "Bb", "B"};
inline constexpr std::array kSeqVariationTypeStrings = {"GATE", "PITCH", "DIR", "SHIFT", "E",  "F",
                                                        "Gb",   "G",     "Ab",  "A",     "Bb", "B"};

inline constexpr auto kInstrumentParameters = [] {
  using U = ZRDSPParameterUnit;
  using I = ZRDSPInstrument;
  constexpr unsigned kAlways = 0;
  return std::to_array<InstrumentParameterRow>({
      {{"midiMode", "MIDI Mode", 0, 1, 0, U::indexed, kMidiModeStrings}, kInstrumentMidi, &I::midiMode},
      {{"volume", "Volume", 0, 1, 0.75F, U::generic, kVolumeStrings}, kAlways, &I::volume},
      {{"pitchbendRange", "Wheel Range", 0, 12, 3, U::relativeSemitones},
       kInstrumentMidi,
       &I::pitchbendRange},
      {{"modwheelAmount", "Wheel Amount", -1, 1, 1}, kInstrumentMidi, &I::modwheelAmount},
      {{"voiceMode", "Voice Mode", 0, 1, 0, U::indexed, kVoiceModeStrings}, kInstrumentVoices, &I::voiceMode},
      {{"voiceNumber", "#Voices", 1, 1, 1}, kInstrumentVoices, &I::voiceNumber},
      {{"voiceDetune", "Slop/Detune", 0, 1, 0}, kInstrumentVoices, &I::voiceDetune},
      {{"outputSaturation", "Soft Clip", 0, 1, 0}, kInstrumentVoices, &I::outputSaturation},
      {{"outputDistortion", "Drive", 0, 1, 0}, kInstrumentDistortion, &I::outputDistortion},
      {{"outputDistortionTone", "Tone", -1, 1, 0}, kInstrumentDistortion, &I::outputDistortionTone},
      {{"aftertouchAmount", "Key Pressure", -1, 1, 0}, kInstrumentVoices, &I::aftertouchAmount},
      {{"legato", "Legato", 0, 1, 0, U::boolean}, kInstrumentVoices, &I::legato},
      {{"panSpread", "Pan Spread", 0, 1, 0}, kInstrumentVoices, &I::panSpread},
      {{"glideAmount", "Key Glide", 0, 1, 0}, kInstrumentGlideAndMPE, &I::glideAmount},
      {{"slideAmount", "Key Slide", -1, 1, 0}, kInstrumentGlideAndMPE, &I::slideAmount},
      {{"controlA", "CC A", 0, 255, 20}, kInstrumentControllers, &I::controlA},
      {{"controlB", "CC B", 0, 255, 21}, kInstrumentControllers, &I::controlB},
      {{"controlC", "CC C", 0, 255, 22}, kInstrumentControllers, &I::controlC},
      {{"controlX", "CC X", 0, 255, 4}, kInstrumentControllers, &I::controlX},
      {{"controlY", "CC Y", 0, 255, 1}, kInstrumentControllers, &I::controlY},
      {{"arpEnabled", "ARP Enabled", 0, 1, 0, U::boolean}, kInstrumentArpeggiator, &I::arpEnabled},
      {{"arpMode", "ARP Mode", 0, 4, 0, U::indexed, kArpModeStrings}, kInstrumentArpeggiator, &I::arpMode},
      {{"arpClockDivision", "ARP Division", 0, 7, 4, U::indexed, kClockDivisionStrings},
       kInstrumentArpeggiator,
       &I::arpClockDivision},
      {{"arpRange", "ARP Range", 0, 2, 0, U::indexed, kArpRangeStrings},
       kInstrumentArpeggiator,
       &I::arpRange},
      {{"arpGateLength", "ARP Gate", 0, 100, 50, U::percent}, kInstrumentArpeggiator, &I::arpGateLength},
      {{"arpLatch", "ARP Latch", 0, 1, 0, U::boolean}, kInstrumentArpeggiator, &I::arpLatch},
      {{"midiChannel", "MIDI Channel", -1, 15, -1}, kInstrumentMidi, &I::midiChannel},
      {{"seqEnabled", "SEQ Enabled", 0, 1, 0, U::boolean}, kInstrumentSequencer, &I::seqEnabled},
      {{"seqMode", "SEQ Mode", 0, 4, 0, U::indexed, kSeqModeStrings}, kInstrumentSequencer, &I::seqMode},
      {{"seqClockDivision", "SEQ Division", 0, 7, 4, U::indexed, kClockDivisionStrings},
       kInstrumentSequencer,
       &I::seqClockDivision},
      {{"seqRange", "SEQ Range", 0, 2, 0, U::indexed, kSeqRangeStrings}, kInstrumentSequencer, &I::seqRange},
      {{"seqGateLength", "SEQ Gate", 0, 100, 50, U::percent}, kInstrumentSequencer, &I::seqGateLength},
      {{"seqScale", "SEQ Scale", 0, 17, 0, U::indexed, kSeqScaleStrings}, kInstrumentSequencer, &I::seqScale},
      {{"seqRoot", "SEQ Root", 0, 11, 0, U::indexed, kSeqRootStrings}, kInstrumentSequencer, &I::seqRoot},
      {{"seqKeyTranspose", "SEQ Transpose", 0, 1, 0, U::boolean}, kInstrumentSequencer, &I::seqKeyTranspose},
      {{"seqVariation", "SEQ Variation", 0, 100, 0, U::percent}, kInstrumentSequencer, &I::seqVariation},
      {{"seqVariationType", "SEQ Variation Type", 0, 3, 0, U::indexed, kSeqVariationTypeStrings},
       kInstrumentSequencer,
       &I::seqVariationType},
      {{"pitchbendRangeUp", "Wheel Range Up", 0, 12, 2, U::relativeSemitones},
       kInstrumentSplitBend,
       &I::pitchbendRangeUp},
      {{"pitchbendRangeDown", "Wheel Range Down", 0, 24, 12, U::relativeSemitones},
       kInstrumentSplitBend,
       &I::pitchbendRangeDown},
  });
}();

static_assert(kInstrumentParameters.size() == 39);

}  // namespace morv
