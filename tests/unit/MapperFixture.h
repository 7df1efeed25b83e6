#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "render/ZRDSPParameter.h"
#include "tests/hosts/TemporaryFolder.h"
#include "unit/ZRMidiMapper.h"

namespace morv {

// A tree of three parameters: indexed, hertz and anything else, at addresses 10, 11 and 12.
inline std::shared_ptr<AUParameterTree> smallTree() {
  std::vector<std::unique_ptr<AUParameter>> children;
  const auto add = [&](const char* identifier, AUParameterAddress address, float least, float greatest,
                       ZRDSPParameterUnit unit) {
    AUParameter::Description description;
    description.identifier = identifier;
    description.address = address;
    description.minValue = least;
    description.maxValue = greatest;
    description.unit = static_cast<std::int32_t>(unit);
    children.push_back(std::make_unique<AUParameter>(std::move(description)));
  };
  add("indexed", 10, 1, 5, ZRDSPParameterUnit::indexed);
  add("hertz", 11, 20, 20020, ZRDSPParameterUnit::hertz);
  add("other", 12, -1, 1, ZRDSPParameterUnit::percent);
  AUParameterTree::Children groups;
  groups.push_back(std::make_shared<AUParameterGroup>("g", "G", std::move(children)));
  return AUParameterTree::createTreeWithChildren(std::move(groups));
}

class MidiMapper : public testing::Test {
 protected:
  MidiMapper() {
    services_ = {.standardSettings = &settings_,
                 .notifications = &notifications_,
                 .directories = Directories::under(folder_.path("user")),
                 .log = [this](const std::string& line) { log_.push_back(line); }};
    notifications_.addObserver("midiMappingChanged", [this] { ++changes_; });
    open();
  }
  void open() { mapper_ = std::make_unique<ZRMidiMapper>(services_); }
  void openWithTree() {
    open();
    mapper_->setParameterTree(tree_);
  }
  float value(const char* identifier) {
    return tree_->parameterForKeyPath(std::string("g.") + identifier)->value();
  }
  std::string filePath() { return services_.directories.data + "/MIDIMappings/default.midimap"; }

  TemporaryFolder folder_;
  SettingsStore settings_;
  NotificationCenter notifications_;
  MidiMapperServices services_;
  std::vector<std::string> log_;
  int changes_ = 0;
  std::shared_ptr<AUParameterTree> tree_ = smallTree();
  std::unique_ptr<ZRMidiMapper> mapper_;
};

}  // namespace morv
