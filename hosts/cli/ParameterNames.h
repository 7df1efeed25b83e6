#pragma once

#include <string>

#include "platform/AUParameter.h"
#include "platform/AUParameterTree.h"
#include "platform/Result.h"

namespace morv::cli {

// Group of the instrument's own parameters, which need no group in front.
inline constexpr const char* kMainGroup = "morv";

// How a parameter is named on the command line: its identifier alone in the main group, else
// "group.identifier".
std::string nameOfParameter(const AUParameter& parameter);

// The parameter of that name; "morv.identifier" is understood too. The reason tells the nearest names.
Result<AUParameter*> findParameter(const AUParameterTree& tree, const std::string& name);

// "filterCutoff=30000 lies outside 20 to 20000", or nothing when the value lies inside.
std::string rangeRemark(const AUParameter& parameter, float value);

}  // namespace morv::cli
