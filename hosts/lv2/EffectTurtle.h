#pragma once

#include <string>
#include <string_view>

namespace morv::lv2 {

// The effects' data for hosts, written when their bundle is built.

// What a host reads of every plug-in that it finds: what there is and where.
std::string effectsManifestTurtle();
// The ports and all else of one kind of the catalogue. `version` is "major.minor.micro".
std::string effectTurtle(std::string_view kind, std::string_view version);

}  // namespace morv::lv2
