#pragma once

#include <string>
#include <vector>

#include "platform/Result.h"
#include "unit/ZRAudioUnit.h"

namespace morv::cli {

// One setting of the unit with the value that it has for this run.
struct SettingOverride {
  std::string key;
  double value = 0;
};

// Reads "KEY=VALUE". Known are midiNotePriority (0 lowest, 1 highest, 2 last), midiMPEBendRange (semitones),
// and midiMode (0 or 1) and midiChannel (-1 to 15), which the unit looks at when it takes a state.
Result<SettingOverride> parseSettingOverride(const std::string& text);

// Writes the setting into the store from which the unit reads it.
void applySetting(const SettingOverride& setting, ZRAudioUnit& unit);

}  // namespace morv::cli
