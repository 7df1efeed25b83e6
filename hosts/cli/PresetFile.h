#pragma once

#include <string>

#include "platform/PropertyListDictionary.h"
#include "platform/PropertyListValue.h"
#include "platform/Result.h"
#include "unit/ZQ3Unit.h"

namespace morv::cli {

inline constexpr const char* kPresetFileExtension = ".aupreset";

// The state in a value. The reason says what the value is of and why it is no preset of this unit: it is no
// dictionary, belongs to another instrument, has no parameter that the unit knows, or a value that is no
// finite number. Keys that the unit does not know are let through.
Result<PropertyListDictionary> checkPreset(const std::string& what, const PropertyListValue& value,
                                           const ZQ3Unit& unit);
// The same for what a file holds. The reason names the file, which may also not be read or be no property
// list.
Result<PropertyListDictionary> readPreset(const std::string& path, const ZQ3Unit& unit);

}  // namespace morv::cli
