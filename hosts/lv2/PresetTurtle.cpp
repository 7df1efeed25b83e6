#include "hosts/lv2/PresetTurtle.h"

#include <set>

#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/TurtleWriter.h"

namespace morv::lv2 {
namespace {

std::string uriOf(const FactoryPreset& preset) {
  return std::string("<") + kPresetUriStart + turtleUriPart(preset.name) + ">";
}

std::string bankOf(const std::string& category) {
  return std::string("<") + kPresetBankUri + "_" + turtleUriPart(category) + ">";
}

}  // namespace

std::string presetManifestTurtle(std::span<const FactoryPreset> presets) {
  std::string turtle = turtlePrefixes();
  std::set<std::string> categories;
  for (const FactoryPreset& preset : presets) categories.insert(preset.category);
  for (const std::string& category : categories) {
    turtle += bankOf(category) + "\n  a pset:Bank ;\n  rdfs:label " + turtleText(category) + " .\n\n";
  }
  for (const FactoryPreset& preset : presets) {
    turtle += uriOf(preset) + "\n  a pset:Preset ;\n  lv2:appliesTo <" + kPluginUri + "> ;\n  rdfs:label " +
              turtleText(preset.shortName) + " ;\n  pset:bank " + bankOf(preset.category) +
              " ;\n  rdfs:seeAlso <presets.ttl> .\n\n";
  }
  return turtle;
}

std::string presetsTurtle(std::span<const FactoryPreset> presets, std::span<const ControlPort> ports) {
  std::string turtle = turtlePrefixes();
  for (const FactoryPreset& preset : presets) {
    turtle += uriOf(preset) + "\n  a pset:Preset ;\n  lv2:appliesTo <" + kPluginUri + "> ;\n  rdfs:label " +
              turtleText(preset.shortName) + " ;\n  lv2:port";
    for (std::size_t i = 0; i < ports.size(); ++i) {
      turtle += std::string(i == 0 ? " " : " ,\n    ") + "[ lv2:symbol \"" + ports[i].symbol +
                "\" ; pset:value " + turtleNumber(preset.ports[i]) + " ]";
    }
    turtle += " ;\n  state:state [ <" + std::string(kStateUri) + "> " + turtleText(preset.state) + " ] .\n\n";
  }
  return turtle;
}

}  // namespace morv::lv2
