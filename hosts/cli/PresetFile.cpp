#include "hosts/cli/PresetFile.h"

#include <cmath>
#include <cstdint>
#include <optional>

#include "platform/PropertyListFile.h"

namespace morv::cli {
namespace {

// Whether a code of the component is missing or this unit's; its maker is not asked, as in the unit itself.
bool isOwnCode(const PropertyListDictionary& state, const char* key, std::uint32_t own) {
  const PropertyListValue* code = state.find(key);
  return code == nullptr || code->integer() == static_cast<std::int64_t>(own);
}

// Why the parameters are none of a preset, or nothing.
std::optional<std::string> faultOfParameters(const PropertyListDictionary& state, const ZQ3Unit& unit) {
  const PropertyListValue* parameters = state.find("parameters");
  if (parameters == nullptr) return "it has no parameters";
  if (parameters->dictionary() == nullptr) return "its parameters are no dictionary";
  bool knowsOne = false;
  for (const auto& [group, values] : parameters->dictionary()->entries()) {
    if (values.dictionary() == nullptr) return "its parameter group '" + group + "' is no dictionary";
    for (const auto& [identifier, value] : values.dictionary()->entries()) {
      const std::string name = std::string(group).append(".").append(identifier);
      if (unit.parameterTree()->parameterForKeyPath(name) == nullptr) continue;
      const auto number = value.number();
      if (!number || !std::isfinite(*number)) return "its value of '" + name + "' is no finite number";
      knowsOne = true;
    }
  }
  if (!knowsOne) return "it has no parameter of this instrument";
  return std::nullopt;
}

}  // namespace

Result<PropertyListDictionary> checkPreset(const std::string& what, const PropertyListValue& value,
                                           const ZQ3Unit& unit) {
  const auto refused = [&what](const std::string& reason) {
    return Failure{what + ": no preset: " + reason};
  };
  const PropertyListDictionary* state = value.dictionary();
  if (state == nullptr) return refused("it is no dictionary");
  const AudioComponentDescription& own = unit.componentDescription();
  if (!isOwnCode(*state, "type", own.componentType) || !isOwnCode(*state, "subtype", own.componentSubType)) {
    return refused("it belongs to another instrument");
  }
  if (const auto fault = faultOfParameters(*state, unit)) return refused(*fault);
  return *state;
}

Result<PropertyListDictionary> readPreset(const std::string& path, const ZQ3Unit& unit) {
  const auto value = readPropertyListFile(path);
  if (!value) return value.failure();
  return checkPreset(path, *value, unit);
}

}  // namespace morv::cli
