#pragma once

#include <string>
#include <vector>

#include "hosts/cli/ExitCode.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/PresetCategories.h"
#include "hosts/cli/PresetEntries.h"
#include "platform/Result.h"

namespace morv::cli {

// The one preset that a word means, whoever's it is: the one whose full name it is, to the letter; else the
// only one whose full or short name it is, with capitals as small letters. The reason tells the presets
// between which the word does not choose, those of one name with where they come from and, if their name
// means another, with the file that leads to them; or the nearest names, each once.
Result<PresetEntry> choosePreset(const std::string& wanted, const std::vector<PresetEntry>& entries,
                                 const PresetCategories& categories);

// Whether a word means a preset's file and not a name: it has a slash in it or ends in ".aupreset".
bool meansPresetFile(const std::string& wanted);

struct LoadedPreset {
  std::string name;  // in full
  std::string file;  // that was read; empty if the settings hold the preset
};

// Loads what a word means into the unit: a preset's file, or a preset of `presetEntries`. A word that means a
// file is a full name all the same if there is no such file but such a preset. What the user keeps is checked
// as a file is. On failure `code` is `usage` for an unknown name, and `badInput` for what is no preset.
Result<LoadedPreset> loadPresetFor(OfflineUnit& offline, const std::string& wanted,
                                   const std::string& resources, ExitCode* code);
// Tells why that failed. For a wrong command line, what stands ahead of the reason says where in it.
ExitCode failPreset(const std::string& command, const std::string& where, ExitCode code,
                    const std::string& reason);

}  // namespace morv::cli
