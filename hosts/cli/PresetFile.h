#pragma once

#include <string>

#include "platform/PropertyListDictionary.h"
#include "platform/Result.h"
#include "unit/ZQ3Unit.h"

namespace morv::cli {

inline constexpr const char* kPresetFileExtension = ".aupreset";

// The state in a preset's file. The reason names the file and tells why it is no preset of this unit: it
// cannot be read or is no property list, belongs to another instrument, has no parameter that the unit knows,
// or a value that is no finite number. Keys that the unit does not know are let through.
Result<PropertyListDictionary> readPreset(const std::string& path, const ZQ3Unit& unit);

}  // namespace morv::cli
