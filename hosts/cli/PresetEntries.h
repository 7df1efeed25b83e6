#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/UserPresets.h"

namespace morv::cli {

// A preset that a name can mean.
struct PresetEntry {
  enum class Source : std::uint8_t { factory, user, pack };

  std::string name;  // in full
  Source source = Source::factory;
  std::string file;       // that its state lies in; empty if the settings hold it
  bool isHidden = false;  // its name means another preset, so that only its file leads to it
};

// All presets of a run: those of the factory, those that the user keeps, those of packs. Of one name the
// factory's wins over the user's, which is left out, for it is a copy; both win over a pack's; and the later
// of two packs wins, as in the unit.
std::vector<PresetEntry> presetEntries(OfflineUnit& offline, const UserPresets& kept,
                                       const std::string& resources);

}  // namespace morv::cli
