#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/unit/PresetSurroundings.h"

namespace morv {

// Writes down what it is told.
class TellingDelegate : public ZRAudioUnitDelegate {
 public:
  void audioUnitWillChangePreset(ZRAudioUnit* /*unit*/, const AUAudioUnitPreset* preset) override {
    told.push_back("will " + (preset != nullptr ? preset->name : "none"));
  }
  void audioUnitDidChangePreset(ZRAudioUnit* /*unit*/, const AUAudioUnitPreset* preset) override {
    told.push_back("did " + (preset != nullptr ? preset->name : "none"));
  }
  std::vector<std::string> told;
};

// A unit in local storage, whose changes of preset a delegate hears.
class PresetStore : public testing::Test {
 protected:
  void open() {
    unit_ = std::make_unique<PresetUnit>(around_.services);
    unit_->setDelegate(&delegate_);
  }
  // Two of the factory, one of a pack.
  void openWithPresets() {
    around_.addFactoryPreset("[FACTORY]_PL_One", 0.1);
    around_.addFactoryPreset("[FACTORY]_BS_Two", 0.2);
    around_.addPackPreset("Strings", "[FACTORY]_PD_Cello", 0.3);
    open();
  }
  float volume() { return unit_->parameterTree()->parameterForKeyPath("morv.volume")->value(); }
  std::optional<double> storedVolume(const std::string& name) {
    const auto state = unit_->dataForPreset({name, 0});
    if (!state) return std::nullopt;
    return state->find("parameters")->dictionary()->find("morv")->dictionary()->find("volume")->number();
  }

  PresetSurroundings around_;
  TellingDelegate delegate_;
  std::unique_ptr<PresetUnit> unit_;
};

}  // namespace morv
