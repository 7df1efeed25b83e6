#include "hosts/lv2/EffectTexts.h"

#include <array>
#include <string>

namespace morv::lv2 {
namespace {

using U = ZRDSPParameterUnit;

constexpr auto kFacts = std::to_array<EffectFacts>({
    {"basicchorus", "lv2:ChorusPlugin"},
    {"ecoverb", "lv2:ReverbPlugin"},
    {"basicdelay", "lv2:DelayPlugin", true},
    {"digiverb", "lv2:ReverbPlugin"},
    {"vachorus", "lv2:ChorusPlugin"},
    {"vadelay", "lv2:DelayPlugin", true, true},
    {"digidelay", "lv2:DelayPlugin", true},
    {"digiphaser", "lv2:PhaserPlugin"},
    {"springverb", "lv2:ReverbPlugin"},
    {"spectrum", "lv2:AnalyserPlugin", false, false, true},
});

constexpr auto kPanels = std::to_array<Panel>({
    {"mix", "Mix"},
    {"time", "Time"},
    {"room", "Room"},
    {"mod", "Modulation"},
    {"tone", "Tone"},
    {"program", "Program"},
});

constexpr std::string_view kMixComment = "Balance of the plain sound and the effect";
constexpr std::string_view kSpreadComment = "Distance between left and right";
constexpr std::string_view kBypassComment = "Leaves the effect out at once, as presets of the instrument do";
constexpr std::string_view kSyncComment = "Ties the time to the tempo of the song";
constexpr std::string_view kModRateComment = "Cycles of the motion in a second";
constexpr std::string_view kModDepthComment = "Depth of the motion";

constexpr auto kReverbModes =
    std::to_array<const char*>({"Plate", "Hall", "Chorused Hall", "Tremolo Hall", "Low-Fi", "Spring",
                                "Echo Hall", "Resonator", "Mono Hall"});
constexpr auto kModTypes =
    std::to_array<const char*>({"Chorus", "Vibrato", "Flanger", "Auto-Pan", "Phaser", "Tremolo", "Delayed"});
constexpr auto kModPositions = std::to_array<const char*>({"Before", "Behind", "Off"});
constexpr auto kSyncTypes = std::to_array<const char*>({"Straight", "Dotted", "Triplet"});

constexpr auto kPortTexts = std::to_array<EffectPortText>({
    {{"basicchorus.chorusBypass", "mix", "Bypass", "Bypass", kBypassComment}, U::generic, {}, 0},
    {{"basicchorus.chorusMix", "mix", "Mix", "Mix", kMixComment, 100}},
    {{"basicchorus.chorusSpread", "mod", "Spread", "Spread", kSpreadComment, 70}},
    {{"basicchorus.chorusModFreq", "mod", "Rate", "Rate", kModRateComment, 90}},
    {{"basicchorus.chorusModAmount", "mod", "Depth", "Depth", kModDepthComment, 80}},
    {{"basicchorus.modShape", "mod", "Shape", "Shape", "Motion, from regular to random"}},
    {{"basicchorus.inputVolume", "mix", "Input Volume", "Input", "Level into the chorus"}},
    {{"basicchorus.outputVolume", "mix", "Output Volume", "Output", "Level of the chorus"}},

    {{"ecoverb.reverbBypass", "mix", "Bypass", "Bypass", kBypassComment}, U::generic, {}, 0},
    {{"ecoverb.reverbMix", "mix", "Mix", "Mix", kMixComment, 100}},
    {{"ecoverb.reverbSize", "room", "Size", "Size", "Size of the plate", 90}},
    {{"ecoverb.reverbDecay", "room", "Decay", "Decay", "How slowly the plate's sound dies away", 80}},
    {{"ecoverb.spread", "room", "Spread", "Spread", kSpreadComment, 70}},
    {{"ecoverb.modAmount", "mod", "Mod Depth", "Mod Depth", kModDepthComment}},
    {{"ecoverb.modFrequency", "mod", "Mod Rate", "Mod Rate", kModRateComment}},
    {{"ecoverb.highpass", "tone", "High-pass", "High-pass", "Takes the low frequencies out of the reverb"}},

    {{"basicdelay.echoBypass", "mix", "Bypass", "Bypass", kBypassComment}, U::generic, {}, 0},
    {{"basicdelay.echoMix", "mix", "Mix", "Mix", kMixComment, 100}},
    {{"basicdelay.echoTime", "time", "Time", "Time", "Time from echo to echo", 90}},
    {{"basicdelay.echoRelative", "time", "Offset", "Offset",
      "Kept with sessions; the sound does not depend on it"}},
    {{"basicdelay.echoFeedback", "time", "Feedback", "Feedback",
      "How much of each echo comes back as the next", 80}},
    {{"basicdelay.syncTempo", "time", "Tempo Sync", "Tempo Sync", kSyncComment, 60}},
    {{"basicdelay.highpass", "tone", "High-pass", "High-pass", "Frequency below which echoes are taken out"}},
    {{"basicdelay.echoSpread", "time", "Spread", "Spread", kSpreadComment, 70}},

    {{"digiverb.mode", "program", "Mode", "Mode", "Kind of room", 100}, U::indexed, kReverbModes},
    {{"digiverb.highShelfFrequency", "tone", "High Shelf Freq", "High Shelf Freq",
      "Frequency at which the high shelf begins"},
     U::hertz},
    {{"digiverb.diffusion", "room", "Diffusion", "Diffusion", "How soon single echoes run into each other"},
     U::generic,
     {},
     0.7F},
    {{"digiverb.decay", "room", "Decay", "Decay", "How slowly the room's sound dies away", 80},
     U::generic,
     {},
     0.5F},
    {{"digiverb.preDelay", "room", "Pre-delay", "Pre-delay", "Time until the room answers"}, U::milliseconds},
    {{"digiverb.damping", "room", "Damping", "Damping", "How much sooner high frequencies die away", 70},
     U::generic,
     {},
     0.3F},
    {{"digiverb.size", "room", "Size", "Size", "Size of the room", 85}},
    {{"digiverb.mix", "mix", "Mix", "Mix", kMixComment, 90}, U::generic, {}, 0.3F},
    {{"digiverb.spread", "room", "Spread", "Spread", kSpreadComment}, U::generic, {}, 0.5F},
    {{"digiverb.modDepth", "mod", "Mod Depth", "Mod Depth", kModDepthComment}, U::generic, {}, 0.2F},
    {{"digiverb.lfoRate", "mod", "Mod Rate", "Mod Rate", kModRateComment}, U::hertz},
    {{"digiverb.earlyGain", "mix", "Early Gain", "Early", "Level of the first reflections"}},
    {{"digiverb.lateGain", "mix", "Late Gain", "Late", "Level of what follows the first reflections"}},
    {{"digiverb.dryGain", "mix", "Dry Gain", "Dry", "Level of the plain sound ahead of the mix"},
     U::generic,
     {},
     1},
    {{"digiverb.lowShelfGain", "tone", "Low Shelf", "Low Shelf", "Gain of the low frequencies into the room"},
     U::decibels},
    {{"digiverb.highShelfGain", "tone", "High Shelf", "High Shelf",
      "Gain of the high frequencies into the room"},
     U::decibels},
    {{"digiverb.inputGain", "mix", "Input Gain", "Input", "Level into the room"}},
    {{"digiverb.outputGain", "mix", "Output Gain", "Output", "Level of the room"}},

    {{"vachorus.program", "program", "Program", "Program", "Kind of line", 100}},
    {{"vachorus.chorusBypass", "mix", "Bypass", "Bypass", kBypassComment}},
    {{"vachorus.chorusMix", "mix", "Mix", "Mix", kMixComment, 95}},
    {{"vachorus.spread", "mod", "Spread", "Spread", kSpreadComment, 70}},
    {{"vachorus.modFreq", "mod", "Rate", "Rate", kModRateComment, 90}},
    {{"vachorus.modAmount", "mod", "Depth", "Depth", kModDepthComment, 80}},
    {{"vachorus.modShape", "mod", "Shape", "Shape", "Motion, regular or random", 0, true}},
    {{"vachorus.modRouting", "program", "Routing", "Routing", "Stages one behind the other or side by side",
      0, true}},
    {{"vachorus.numStages", "program", "Stages", "Stages", "Number of lines on each side"}},
    {{"vachorus.shape", "mod", "Cross-feed", "Cross-feed", "How much of each side the other one takes"}},
    {{"vachorus.animate", "mod", "Animation", "Animation", "How far the cross-feed moves"}},
    {{"vachorus.minDelay", "time", "Least Delay", "Least Delay",
      "Least delay of a line, in tenths of the unit"}},
    {{"vachorus.inGainLow", "tone", "Low Gain", "Low Gain", "Level below 1 kHz into the lines"}},
    {{"vachorus.inGainMid", "tone", "Mid Gain", "Mid Gain", "Level between 1 and 5 kHz into the lines"}},
    {{"vachorus.inGainHigh", "tone", "High Gain", "High Gain", "Level above 5 kHz into the lines"}},
    {{"vachorus.lowShelf", "tone", "Low Shelf", "Low Shelf", "Gain of the low frequencies behind the lines"}},
    {{"vachorus.highShelf", "tone", "High Shelf", "High Shelf",
      "Gain of the high frequencies behind the lines"}},
    {{"vachorus.inputVolume", "mix", "Input Volume", "Input", "Level into the chorus"}},
    {{"vachorus.outputVolume", "mix", "Output Volume", "Output", "Level of the chorus"}},

    {{"vadelay.mix", "mix", "Mix", "Mix", kMixComment, 100}},
    {{"vadelay.program", "program", "Program", "Program", "Kind of echo; the tape is the one that repeats",
      0}},
    {{"vadelay.time", "time", "Time", "Time", "Time from echo to echo", 90}},
    {{"vadelay.feedback", "time", "Feedback", "Feedback", "How much of each echo comes back as the next",
      80}},
    {{"vadelay.spread", "time", "Spread", "Spread",
      "Time that is added for the left side, five seconds at most"}},
    {{"vadelay.tempoSync", "time", "Tempo Sync", "Tempo Sync", kSyncComment, 60}},
    {{"vadelay.oversample", "program", "Oversampling", "Oversampling",
      "Runs the tape at eight times the rate, and starts it anew when it changes"}},

    {{"digidelay.time", "time", "Time", "Time",
      "Time from echo to echo; with the tempo, doublings of a sixteenth of a beat, up to 8", 100},
     U::milliseconds,
     {},
     300},
    {{"digidelay.feedback", "time", "Feedback", "Feedback", "How much of each echo comes back as the next",
      90}},
    {{"digidelay.mix", "mix", "Mix", "Mix", kMixComment, 95}, U::generic, {}, 0.35F},
    {{"digidelay.spread", "time", "Spread", "Spread", kSpreadComment}},
    {{"digidelay.modAmount", "mod", "Mod Amount", "Mod Amount", kModDepthComment, 70}},
    {{"digidelay.modRate", "mod", "Mod Rate", "Mod Rate", kModRateComment, 60}, U::hertz},
    {{"digidelay.modFeedback", "mod", "Mod Feedback", "Mod Feedback", "Feedback within the modulation"}},
    {{"digidelay.modType", "mod", "Mod Type", "Mod Type", "Kind of modulation", 80}, U::indexed, kModTypes},
    {{"digidelay.modPosition", "mod", "Mod Position", "Mod Position", "Place of the modulation by the echo"},
     U::indexed,
     kModPositions},
    {{"digidelay.syncTempo", "time", "Tempo Sync", "Tempo Sync", kSyncComment, 65}},
    {{"digidelay.syncType", "time", "Sync Type", "Sync Type", "Kind of note that the time is tied to"},
     U::indexed,
     kSyncTypes},
    {{"digidelay.delayBypass", "mix", "Echo Bypass", "Echo Bypass",
      "Leaves filters and modulation alone at work"}},
    {{"digidelay.lowpass", "tone", "Low-pass", "Low-pass", "Frequency above which echoes are taken out"},
     U::hertz},
    {{"digidelay.highpass", "tone", "High-pass", "High-pass", "Frequency below which echoes are taken out"},
     U::hertz},
    {{"digidelay.modBase", "mod", "Mod Base", "Mod Base",
      "Middle of the modulation's line in seconds, for kinds that do not set their own"}},
    {{"digidelay.modDepth", "mod", "Mod Depth", "Mod Depth",
      "Swing of the modulation's line in seconds, for kinds that do not set their own"}},

    {{"digiphaser.mix", "mix", "Mix", "Mix", kMixComment, 100}},
    {{"digiphaser.feedback", "mod", "Feedback", "Feedback", "How sharp the notches are", 70},
     U::generic,
     {},
     0.3F},
    {{"digiphaser.depth", "mod", "Depth", "Depth", kModDepthComment, 80}, U::generic, {}, 0.5F},
    {{"digiphaser.rate", "mod", "Rate", "Rate", kModRateComment, 90}, U::hertz},

    {{"springverb.program", "program", "Program", "Program", "The spring, or nothing"}},
    {{"springverb.mix", "mix", "Mix", "Mix", kMixComment, 100}},
    {{"springverb.decay", "room", "Decay", "Decay", "How slowly the spring comes to rest", 90}},
    {{"springverb.level", "room", "Level", "Level", "Level of the spring", 80}},
});

}  // namespace

std::span<const EffectFacts> effectFacts() { return kFacts; }

const EffectFacts* factsOfEffect(std::string_view kind) {
  for (const EffectFacts& facts : kFacts) {
    if (facts.kind == kind) return &facts;
  }
  return nullptr;
}

std::span<const Panel> effectPanels() { return kPanels; }

std::span<const EffectPortText> effectPortTexts() { return kPortTexts; }

std::optional<float> startOfControl(std::string_view kind, std::string_view identifier) {
  const std::string path = std::string(kind) + "." + std::string(identifier);
  for (const EffectPortText& text : kPortTexts) {
    if (text.text.parameter == path) return text.start;
  }
  return std::nullopt;
}

}  // namespace morv::lv2
