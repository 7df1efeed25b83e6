#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "hosts/lv2/PortTexts.h"
#include "render/ZRDSPParameter.h"

namespace morv::lv2 {

// What the catalogue of effects does not know of an effect as a plug-in.
struct EffectFacts {
  std::string_view kind;         // as in the catalogue
  std::string_view pluginClass;  // of LV2's, with its prefix
  bool followsTempo = false;     // takes the song's tempo from atoms
  bool isLate = false;           // can delay what passes it, and tells by how much
  bool tellsSpectrum = false;    // gives what it measures as atoms
  bool needsAtoms() const noexcept { return followsTempo || tellsSpectrum; }
};

// What the catalogue does not know of a control.
struct EffectPortText {
  PortText text;  // its `parameter` is "kind.identifier"
  // For controls whose unit and steps the catalogue leaves open.
  ZRDSPParameterUnit unit = ZRDSPParameterUnit::generic;
  std::span<const char* const> steps{};  // names of its whole numbers, from the least on
  // What a fresh plug-in has, where the unit itself starts with something that is not heard.
  std::optional<float> start{};
};

// In the order of the catalogue.
std::span<const EffectFacts> effectFacts();
// None for a name that is none.
const EffectFacts* factsOfEffect(std::string_view kind);
// Panels of all effects; each effect has some of them.
std::span<const Panel> effectPanels();
// In the order of the catalogue and of each effect's controls.
std::span<const EffectPortText> effectPortTexts();
// What a fresh plug-in has in the place of the unit's own value, if anything.
std::optional<float> startOfControl(std::string_view kind, std::string_view identifier);

}  // namespace morv::lv2
