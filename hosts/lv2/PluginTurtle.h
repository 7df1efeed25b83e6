#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "hosts/lv2/ControlPort.h"

namespace morv::lv2 {

// The plug-in's data for hosts, written when the bundle is built.

// Pieces that the effects' data have too; names of the plug-in's own bear the prefix "morv:".
std::string parameterPort(const ControlPort& port, std::uint32_t index);
std::string panelGroup(const Panel& panel);

// What a host reads of every plug-in that it finds: what there is and where.
std::string manifestTurtle();
// The ports and all else. `defaultState` is the text of the state of a fresh unit, `version`
// "major.minor.micro".
std::string pluginTurtle(std::span<const ControlPort> ports, const std::string& defaultState,
                         const std::string& version);

}  // namespace morv::lv2
