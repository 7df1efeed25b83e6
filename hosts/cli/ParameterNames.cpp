#include "hosts/cli/ParameterNames.h"

#include <vector>

#include "hosts/cli/NearestNames.h"
#include "hosts/cli/Numbers.h"
#include "platform/AUParameterGroup.h"

namespace morv::cli {

std::string nameOfParameter(const AUParameter& parameter) {
  const std::string& group = parameter.group()->identifier();
  return group == kMainGroup ? parameter.identifier() : group + "." + parameter.identifier();
}

Result<AUParameter*> findParameter(const AUParameterTree& tree, const std::string& name) {
  AUParameter* found = tree.parameterForKeyPath(std::string(kMainGroup) + "." + name);
  if (found == nullptr) found = tree.parameterForKeyPath(name);
  if (found != nullptr) return found;
  std::vector<std::string> names;
  for (const AUParameter* each : tree.allParameters()) names.push_back(nameOfParameter(*each));
  return Failure{"unknown parameter '" + name + "'; the nearest are " + joined(nearestNames(name, names))};
}

std::string rangeRemark(const AUParameter& parameter, float value) {
  if (value >= parameter.minValue() && value <= parameter.maxValue()) return {};
  return nameOfParameter(parameter) + "=" + printReal(value) + " lies outside " +
         printReal(parameter.minValue()) + " to " + printReal(parameter.maxValue());
}

}  // namespace morv::cli
