#pragma once

#include <span>
#include <string>
#include <vector>

#include "hosts/lv2/ControlPort.h"

namespace morv::lv2 {

// One of the factory's presets, with the ports as they stand when it is loaded.
struct FactoryPreset {
  std::string name;       // the whole one
  std::string shortName;  // what people read
  std::string category;   // empty for none
  std::vector<float> ports;
  std::string state;  // text of a StateEnvelope
};

// The bundle that carries them: its manifest, and the presets' own file.
std::string presetManifestTurtle(std::span<const FactoryPreset> presets);
std::string presetsTurtle(std::span<const FactoryPreset> presets, std::span<const ControlPort> ports);

}  // namespace morv::lv2
