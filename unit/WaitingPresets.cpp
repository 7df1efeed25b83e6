#include "unit/WaitingPresets.h"

#include <utility>

#include "platform/PropertyList.h"
#include "unit/PresetNames.h"

namespace morv {

void WaitingPresets::set(const std::string& name, const PropertyListDictionary& state) {
  deleted_.erase(name);
  saved_.set(name, state);
}

void WaitingPresets::remove(const std::string& name) {
  saved_.remove(name);
  deleted_.insert(name);
}

void WaitingPresets::clear() {
  saved_ = {};
  deleted_.clear();
}

void WaitingPresets::applyTo(PropertyListDictionary* presets) const {
  for (const std::string& name : deleted_) presets->remove(name);
  for (const auto& [name, state] : saved_.entries()) presets->set(name, state);
}

// Each is tried as deep as it lies in the settings, for depth has a limit too.
std::vector<std::string> WaitingPresets::dropWhatCannotBeWritten() {
  std::vector<std::string> reasons;
  PropertyListDictionary writable;
  for (const auto& [name, state] : saved_.entries()) {
    const auto text =
        writePropertyList(PropertyListDictionary{{kPresets, PropertyListDictionary{{name, state}}}});
    if (text) {
      writable.set(name, state);
    } else {
      reasons.push_back("the preset \"" + name + "\" cannot be kept: " + text.reason());
    }
  }
  saved_ = std::move(writable);
  return reasons;
}

}  // namespace morv
