#pragma once

#include <string>
#include <vector>

#include "platform/PropertyListDictionary.h"
#include "platform/Result.h"

namespace morv::lv2 {

// What a session keeps of a plug-in, as the text of a property list:
//
//   "version"  integer, 1
//   "unit"     dictionary, the unit's full state (see AUAudioUnit::fullState)
//   "ports"    dictionary: port symbol to the real that the host had set there
//   "preset"   string, the current preset's name, perhaps empty
//
// The unit's values may be others than the ports': a program change moves them, a host moves only ports. So
// both are kept. Other keys are passed over.
struct StateEnvelope {
  struct Port {
    std::string symbol;
    float value = 0;
  };
  PropertyListDictionary unit;
  std::vector<Port> ports;
  std::string preset;

  Result<std::string> text() const;
  // Ports that are no finite numbers are left out; without "ports" and "preset" there are none. The reason
  // says why a text is no such state.
  static Result<StateEnvelope> fromText(const std::string& text);
};

}  // namespace morv::lv2
