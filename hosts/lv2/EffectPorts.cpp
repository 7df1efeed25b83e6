#include "hosts/lv2/EffectPorts.h"

#include <stdexcept>

namespace morv::lv2 {
namespace {

constexpr PortTraits kNoTraits;

const EffectPortText& textOf(const std::string& path) {
  for (const EffectPortText& text : effectPortTexts()) {
    if (text.text.parameter == path) return text;
  }
  throw std::logic_error("no texts for the control " + path);
}

ZRDSPParameterUnit unitOf(const EffectControl& control, const EffectPortText& text) {
  if (control.unit() != ZRDSPParameterUnit::generic) return control.unit();
  return control.isSwitch() ? ZRDSPParameterUnit::boolean : text.unit;
}

}  // namespace

EffectPlaces::EffectPlaces(const EffectFacts& facts) noexcept {
  std::uint32_t next = kEnabled + 1;
  if (facts.followsTempo) control = next++;
  if (facts.tellsSpectrum) notify = next++;
  if (facts.isLate) latency = next++;
  firstParameter = next;
}

EffectPorts::EffectPorts(const EffectFacts& facts, std::span<const EffectControl> controls) {
  for (const EffectControl& control : controls) {
    const std::string path = std::string(facts.kind) + "." + control.identifier();
    const EffectPortText& text = textOf(path);
    if (!control.range()) throw std::logic_error("no bounds for the control " + path);
    AUParameter::Description description;
    description.identifier = control.identifier();
    description.displayName = control.name();
    description.minValue = control.range()->least;
    description.maxValue = control.range()->greatest;
    description.unit = static_cast<std::int32_t>(unitOf(control, text));
    description.valueStrings = control.valueStrings();
    if (!text.steps.empty()) description.valueStrings.assign(text.steps.begin(), text.steps.end());
    parameters_.push_back(std::make_unique<AUParameter>(std::move(description)));
    ControlPort& port = ports_.emplace_back();
    port.parameter = parameters_.back().get();
    port.symbol = control.identifier();
    port.text = &text.text;
    port.traits = &kNoTraits;
    port.defaultValue = text.start.value_or(control.value());
  }
}

}  // namespace morv::lv2
