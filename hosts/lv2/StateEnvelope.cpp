#include "hosts/lv2/StateEnvelope.h"

#include <cmath>
#include <utility>

#include "platform/PropertyList.h"

namespace morv::lv2 {
namespace {

constexpr const char* kVersion = "version";
constexpr const char* kUnit = "unit";
constexpr const char* kPorts = "ports";
constexpr const char* kPreset = "preset";
constexpr int kVersionWritten = 1;

}  // namespace

Result<std::string> StateEnvelope::text() const {
  PropertyListDictionary symbols;
  for (const Port& port : ports) symbols.set(port.symbol, port.value);
  return writePropertyList(PropertyListDictionary{
      {kVersion, kVersionWritten}, {kUnit, unit}, {kPorts, symbols}, {kPreset, preset}});
}

Result<StateEnvelope> StateEnvelope::fromText(const std::string& text) {
  const auto list = readPropertyList(text);
  if (!list) return list.failure();
  const PropertyListDictionary* whole = list.value().dictionary();
  const PropertyListValue* unit = whole != nullptr ? whole->find(kUnit) : nullptr;
  if (unit == nullptr || unit->dictionary() == nullptr) return Failure{"the state holds no \"unit\""};
  StateEnvelope envelope;
  envelope.unit = *unit->dictionary();
  if (const PropertyListValue* ports = whole->find(kPorts);
      ports != nullptr && ports->dictionary() != nullptr) {
    for (const auto& [symbol, value] : ports->dictionary()->entries()) {
      const auto number = value.number();
      if (number && std::isfinite(static_cast<float>(*number))) {
        envelope.ports.push_back({symbol, static_cast<float>(*number)});
      }
    }
  }
  const PropertyListValue* preset = whole->find(kPreset);
  if (preset != nullptr && preset->string() != nullptr) envelope.preset = *preset->string();
  return envelope;
}

}  // namespace morv::lv2
