#include "effects/EffectCatalogue.h"

#include <array>
#include <cmath>
#include <mutex>
#include <utility>

#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZRDigiDelay.h"
#include "effects/ZRDigiPhaser.h"
#include "effects/ZRDigiVerb.h"
#include "effects/ZREcoVerb.h"
#include "effects/ZRSpectrumAnalyzer.h"
#include "effects/ZRSpringVerb.h"
#include "effects/ZRVAChorus.h"
#include "effects/ZRVADelay.h"
#include "render/SafeCast.h"

namespace morv {
namespace {

struct Recipe {
  EffectKind kind;
  std::unique_ptr<ZRDSPEffect> (*make)(float sampleRateHz);
  // Controls that are plain members; none where all are parameters.
  std::vector<EffectControl> (*members)(ZRDSPEffect& effect);
};

template <typename Effect>
std::unique_ptr<ZRDSPEffect> make(float sampleRateHz) {
  return std::make_unique<Effect>(sampleRateHz);
}

// What an owner sets on a reverb that declares no parameters, within what is of use.
std::vector<EffectControl> digiVerbControls(ZRDSPEffect& effect) {
  using Range = EffectControl::Range;
  auto& verb = static_cast<ZRDigiVerb&>(effect);
  constexpr Range kFraction = {0, 1};
  constexpr Range kGain = {0, 2};
  constexpr Range kDecibels = {-12, 12};
  return {{"mode", &verb.mode, Range{0, ZRDigiVerb::kModes - 1}},
          {"highShelfFrequency", &verb.highShelfFrequency, Range{20, 20000}},
          {"diffusion", &verb.diffusion, kFraction},
          {"decay", &verb.decay, kFraction},
          {"preDelay", &verb.preDelay, Range{0, 500}},
          {"damping", &verb.damping, kFraction},
          {"size", &verb.size, kFraction},
          {"mix", &verb.mix, kFraction},
          {"spread", &verb.spread, kFraction},
          {"modDepth", &verb.modDepth, kFraction},
          {"lfoRate", &verb.lfoRate, Range{0, 10}},
          {"earlyGain", &verb.earlyGain, kGain},
          {"lateGain", &verb.lateGain, kGain},
          {"dryGain", &verb.dryGain, kGain},
          {"lowShelfGain", &verb.lowShelfGain, kDecibels},
          {"highShelfGain", &verb.highShelfGain, kDecibels},
          {"inputGain", &verb.inputGain, kGain},
          {"outputGain", &verb.outputGain, kGain}};
}

std::vector<EffectControl> digiDelayControls(ZRDSPEffect& effect) {
  using Range = EffectControl::Range;
  auto& delay = static_cast<ZRDigiDelay&>(effect);
  constexpr Range kFraction = {0, 1};
  constexpr Range kSwitch = {0, 1};
  return {{"time", &delay.time, Range{0, 5000}},
          {"feedback", &delay.feedback, kFraction},
          {"mix", &delay.mix, kFraction},
          {"spread", &delay.spread, kFraction},
          {"modAmount", &delay.modAmount, kFraction},
          {"modRate", &delay.modRate, Range{0, 10}},
          {"modFeedback", &delay.modFeedback, Range{-1, 1}},
          {"modType", &delay.modType, Range{0, ZRDigiDelay::kModTypes - 1}},
          {"modPosition", &delay.modPosition, Range{0, 2}},
          {"syncTempo", &delay.syncTempo, kSwitch},
          {"syncType", &delay.syncType, Range{0, 2}},
          {"delayBypass", &delay.delayBypass, kSwitch},
          {"lowpass", &delay.lowpass, Range{20, 20000}},
          {"highpass", &delay.highpass, Range{10, 20000}},
          {"modBase", &delay.modBase, Range{0, 0.1F}},
          {"modDepth", &delay.modDepth, Range{0, 0.1F}}};
}

std::vector<EffectControl> digiPhaserControls(ZRDSPEffect& effect) {
  using Range = EffectControl::Range;
  auto& phaser = static_cast<ZRDigiPhaser&>(effect);
  constexpr Range kFraction = {0, 1};
  return {{"mix", &phaser.mix, kFraction},
          {"feedback", &phaser.feedback, kFraction},
          {"depth", &phaser.depth, kFraction},
          {"rate", &phaser.rate, Range{0, 10}}};
}

std::unique_ptr<ZRDSPEffect> makeAnalyzer(float sampleRateHz) {
  constexpr int kWindow = 2048;
  return std::make_unique<ZRSpectrumAnalyzer>(sampleRateHz, kWindow, static_cast<int>(sizeof(float)));
}

constexpr std::array kRecipes = {
    Recipe{
        {"basicchorus", "Chorus", "Chorus of one moving line for each side"}, make<ZRBasicChorus>, nullptr},
    Recipe{{"ecoverb", "Plate Reverb", "Plate reverb of the instrument's chain"}, make<ZREcoVerb>, nullptr},
    Recipe{{"basicdelay", "Echo", "Stereo echo of the instrument's chain"}, make<ZRBasicDelay>, nullptr},
    Recipe{{"digiverb", "Digital Reverb", "Reverb in nine modes, from plate and halls to a spring"},
           make<ZRDigiVerb>,
           digiVerbControls},
    Recipe{{"vachorus", "Analogue Chorus", "Chorus of up to three bucket-brigade or digital lines"},
           make<ZRVAChorus>,
           nullptr},
    Recipe{{"vadelay", "Tape Echo", "Tape echo with hum, hiss, wow and flutter"}, make<ZRVADelay>, nullptr},
    Recipe{{"digidelay", "Digital Delay", "Stereo delay with a stage of modulation before or behind it"},
           make<ZRDigiDelay>,
           digiDelayControls},
    Recipe{{"digiphaser", "Phaser", "Phaser of four stages a side"}, make<ZRDigiPhaser>, digiPhaserControls},
    Recipe{{"springverb", "Spring Reverb", "Tank of dispersive springs"}, make<ZRSpringVerb>, nullptr},
    Recipe{{"spectrum", "Spectrum Analyser", "Passes the sound and measures its left side"},
           makeAnalyzer,
           nullptr},
};

constexpr auto kKinds = [] {
  std::array<EffectKind, kRecipes.size()> kinds{};
  for (std::size_t i = 0; i < kinds.size(); ++i) kinds[i] = kRecipes[i].kind;
  return kinds;
}();

const Recipe* recipeOf(std::string_view kind) {
  for (const Recipe& recipe : kRecipes) {
    if (recipe.kind.name == kind) return &recipe;
  }
  return nullptr;
}

}  // namespace

EffectControl::EffectControl(ZRDSPEffect& effect, const ZRDSPParameter& parameter)
    : identifier_(parameter.identifier),
      name_(parameter.name),
      range_(Range{parameter.minValue, parameter.maxValue}),
      unit_(parameter.unit),
      valueStrings_(parameter.valueStrings),
      effect_(&effect),
      parameter_(&parameter) {}

EffectControl::EffectControl(std::string identifier, Member member, std::optional<Range> range)
    : identifier_(std::move(identifier)), name_(identifier_), range_(range), member_(member) {}

bool EffectControl::isSwitch() const noexcept {
  return unit_ == ZRDSPParameterUnit::boolean || (member_ && std::holds_alternative<bool*>(*member_));
}

bool EffectControl::isWhole() const noexcept {
  return isSwitch() || unit_ == ZRDSPParameterUnit::indexed ||
         (member_ && std::holds_alternative<int*>(*member_));
}

float EffectControl::value() const noexcept {
  if (parameter_ != nullptr) return parameter_->value;
  if (auto* const* real = std::get_if<float*>(&*member_)) return **real;
  if (auto* const* whole = std::get_if<int*>(&*member_)) return static_cast<float>(**whole);
  auto* const* flag = std::get_if<bool*>(&*member_);
  return flag != nullptr && **flag ? 1.0F : 0.0F;
}

void EffectControl::set(float value) noexcept {
  if (parameter_ != nullptr) {
    effect_->setParameterValueForAddress(parameter_->address, value);
    return;
  }
  if (auto* const* real = std::get_if<float*>(&*member_)) **real = value;
  if (auto* const* whole = std::get_if<int*>(&*member_)) **whole = truncatedInt(std::round(value));
  if (auto* const* flag = std::get_if<bool*>(&*member_)) **flag = value >= 0.5F;
}

std::span<const EffectKind> effectKinds() { return kKinds; }

std::unique_ptr<ZRDSPEffect> makeEffect(std::string_view kind, double sampleRateHz) {
  static std::mutex construction;
  const Recipe* recipe = recipeOf(kind);
  if (recipe == nullptr) return nullptr;
  const std::scoped_lock lock(construction);
  return recipe->make(static_cast<float>(sampleRateHz));
}

std::vector<EffectControl> controlsOf(std::string_view kind, ZRDSPEffect& effect) {
  std::vector<EffectControl> controls;
  const Recipe* recipe = recipeOf(kind);
  if (recipe == nullptr) return controls;
  for (const ZRDSPParameter* parameter : effect.parameters()) controls.emplace_back(effect, *parameter);
  if (recipe->members == nullptr) return controls;
  for (EffectControl& member : recipe->members(effect)) controls.push_back(std::move(member));
  return controls;
}

}  // namespace morv
