#include "hosts/lv2/ControlPort.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "render/ZRDSPParameter.h"

namespace morv::lv2 {
namespace {

constexpr std::string_view kInstrumentGroup = "morv";

bool hasUnit(const AUParameter& parameter, ZRDSPParameterUnit unit) {
  return parameter.unit() == static_cast<std::int32_t>(unit);
}

const PortText& textOf(const AUParameter& parameter) {
  const std::string path = parameter.keyPath();
  for (const PortText& text : portTexts()) {
    if (text.parameter == path) return text;
  }
  throw std::logic_error("no texts for the parameter " + path);
}

const PortTraits& traitsOf(const AUParameter& parameter) {
  static constexpr PortTraits kNone;
  const std::string path = parameter.keyPath();
  for (const PortTrait& each : portTraits()) {
    if (each.parameter == path) return each.traits;
  }
  return kNone;
}

bool isPort(const AUParameter& parameter) {
  const auto without = parametersWithoutPort();
  return std::find(without.begin(), without.end(), parameter.keyPath()) == without.end();
}

std::string symbolOf(const AUParameterGroup& group, const AUParameter& parameter) {
  if (group.identifier() == kInstrumentGroup) return parameter.identifier();
  return group.identifier() + "_" + parameter.identifier();
}

}  // namespace

bool ControlPort::isToggled() const { return hasUnit(*parameter, ZRDSPParameterUnit::boolean); }

bool ControlPort::isEnumeration() const {
  const auto steps = static_cast<std::size_t>(parameter->maxValue() - parameter->minValue()) + 1;
  return hasUnit(*parameter, ZRDSPParameterUnit::indexed) && parameter->valueStrings().size() == steps;
}

bool ControlPort::isInteger() const {
  return hasUnit(*parameter, ZRDSPParameterUnit::indexed) || text->isWhole;
}

bool ControlPort::isLogarithmic() const {
  return hasUnit(*parameter, ZRDSPParameterUnit::hertz) && parameter->minValue() > 0;
}

int ControlPort::steps() const {
  if (traits->steps > 0) return traits->steps;
  return isInteger() ? static_cast<int>(parameter->maxValue() - parameter->minValue()) + 1 : 0;
}

float ControlPort::held(float value) const noexcept {
  const float inRange = std::clamp(value, parameter->minValue(), parameter->maxValue());
  // Adding 0 makes minus zero plain zero, which no port tells apart.
  return (isInteger() || isToggled() ? std::round(inRange) : inRange) + 0.0F;
}

std::vector<ControlPort> controlPorts(const AUParameterTree& tree) {
  std::vector<ControlPort> ports;
  for (const auto& group : tree.children()) {
    for (const auto& parameter : group->children()) {
      if (!isPort(*parameter)) continue;
      ports.push_back({parameter.get(), symbolOf(*group, *parameter), &textOf(*parameter),
                       &traitsOf(*parameter), parameter->value()});
    }
  }
  return ports;
}

}  // namespace morv::lv2
