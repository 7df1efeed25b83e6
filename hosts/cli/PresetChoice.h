#pragma once

#include <string>
#include <vector>

#include "hosts/cli/ExitCode.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/PresetCategories.h"
#include "platform/Result.h"

namespace morv::cli {

// The one preset that a word means: a full name or, if only one preset has it, a short name; capitals count
// as small letters unless a full name fits exactly. The reason tells the nearest names, or those between
// which the word does not choose.
Result<std::string> choosePreset(const std::string& wanted, const std::vector<std::string>& names,
                                 const PresetCategories& categories);

// Whether a word means a preset's file and not a name: it has a slash in it or ends in ".aupreset".
bool meansPresetFile(const std::string& wanted);

// Loads what a word means into the unit: a preset's file, a preset of the unit's list, or one that the user
// keeps. A word that means a file is a full name all the same if there is no such file but such a preset.
// Gives the full name; on failure `code` is `usage` for an unknown name, and `badInput` for a file that is no
// preset and for a name that holds no state.
Result<std::string> loadPresetFor(OfflineUnit& offline, const std::string& wanted,
                                  const std::string& resources, ExitCode* code);
// Tells why that failed. For a wrong command line, what stands ahead of the reason says where in it.
ExitCode failPreset(const std::string& command, const std::string& where, ExitCode code,
                    const std::string& reason);

}  // namespace morv::cli
