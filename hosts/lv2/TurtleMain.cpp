// Writes the Turtle of the plug-in and of its factory presets, and that of the effects:
// morv_lv2_turtle VERSION RESOURCES BUNDLE PRESETS EFFECTS.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "hosts/cli/OfflineUnit.h"
#include "hosts/cli/PresetCategories.h"
#include "hosts/lv2/ControlPort.h"
#include "hosts/lv2/EffectTurtle.h"
#include "hosts/lv2/PluginTurtle.h"
#include "hosts/lv2/PresetTurtle.h"
#include "hosts/lv2/StateEnvelope.h"
#include "platform/AtomicFile.h"

namespace morv::lv2 {
namespace {

// State and ports as they stand in a unit; the ports are made to hold what their kind can.
struct Standing {
  std::vector<float> ports;
  std::string state;
};

Standing standingOf(const ZQ3Unit& unit, const std::vector<ControlPort>& ports, const std::string& preset) {
  Standing standing;
  StateEnvelope envelope;
  envelope.unit = unit.fullState();
  envelope.preset = preset;
  for (const ControlPort& port : ports) {
    standing.ports.push_back(port.held(port.parameter->value()));
    envelope.ports.push_back({port.symbol, standing.ports.back()});
  }
  standing.state = envelope.text().value();
  return standing;
}

bool write(const std::string& path, const std::string& text) {
  const Outcome written = writeFileAtomically(path, text);
  if (!written) std::fprintf(stderr, "morv_lv2_turtle: %s\n", written.reason().c_str());
  return written.ok();
}

bool writeEffects(const std::string& bundle, const std::string& version) {
  std::filesystem::create_directories(bundle);
  bool isWritten = write(bundle + "/manifest.ttl", effectsManifestTurtle());
  for (const EffectKind& kind : effectKinds()) {
    const std::string file = bundle + "/" + std::string(kind.name) + ".ttl";
    isWritten = write(file, effectTurtle(kind.name, version)) && isWritten;
  }
  return isWritten;
}

int run(const std::vector<std::string>& words) {
  const std::string& version = words[0];
  const std::string& resources = words[1];
  const std::string& bundle = words[2];
  const std::string& presetBundle = words[3];
  cli::OfflineUnit offline(resources);
  offline.keepMidiModeOfStates();
  const ZQ3Unit& unit = offline.unit();
  const std::vector<ControlPort> ports = controlPorts(*unit.parameterTree());
  const std::string defaultState = standingOf(unit, ports, {}).state;
  const PropertyListDictionary fresh = unit.fullState();
  const cli::PresetCategories categories = cli::PresetCategories::of(resources);

  std::vector<FactoryPreset> presets;
  for (const AUAudioUnitPreset& each : offline.unit().factoryPresets()) {
    offline.unit().setFullState(&fresh);
    offline.loadPreset(each.name);
    Standing standing = standingOf(unit, ports, each.name);
    presets.push_back({each.name, categories.shortNameOf(each.name), categories.titleFor(each.name),
                       std::move(standing.ports), std::move(standing.state)});
  }
  std::filesystem::create_directories(bundle);
  std::filesystem::create_directories(presetBundle);
  const bool isWritten = write(bundle + "/manifest.ttl", manifestTurtle()) &&
                         write(bundle + "/morv.ttl", pluginTurtle(ports, defaultState, version)) &&
                         write(presetBundle + "/manifest.ttl", presetManifestTurtle(presets)) &&
                         write(presetBundle + "/presets.ttl", presetsTurtle(presets, ports)) &&
                         writeEffects(words[4], version);
  return isWritten ? 0 : 1;
}

}  // namespace
}  // namespace morv::lv2

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() != 5) {
    std::fprintf(stderr, "usage: morv_lv2_turtle VERSION RESOURCES BUNDLE PRESET_BUNDLE EFFECTS_BUNDLE\n");
    return 2;
  }
  try {
    return morv::lv2::run(words);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "morv_lv2_turtle: %s\n", error.what());
    return 1;
  }
}
