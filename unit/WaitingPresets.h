#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/PropertyListDictionary.h"

namespace morv {

// Presets that were saved or deleted and are not in the settings yet: the latest wish for each name, to be
// applied to whatever the settings hold by then. Names keep the order in which they were first set.
//
// A plain value: any one thread at a time.
class WaitingPresets {
 public:
  void set(const std::string& name, const PropertyListDictionary& state);
  void remove(const std::string& name);
  void clear();

  void applyTo(PropertyListDictionary* presets) const;
  // Forgets the presets that no property list can hold, be it for the name or for the state, and says of each
  // why.
  std::vector<std::string> dropWhatCannotBeWritten();

 private:
  PropertyListDictionary saved_;  // states by name
  std::set<std::string> deleted_;
};

}  // namespace morv
