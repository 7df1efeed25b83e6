#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hosts/lv2/PortTexts.h"
#include "platform/AUParameterTree.h"

namespace morv::lv2 {

// Ports by their number: these four, one for each parameter of the tree that a host has a use for in its
// order, and the last, which tells that the host renders faster than real time.
inline constexpr std::uint32_t kControlPort = 0;  // atoms in
inline constexpr std::uint32_t kNotifyPort = 1;   // atoms out
inline constexpr std::uint32_t kOutLeftPort = 2;
inline constexpr std::uint32_t kOutRightPort = 3;
inline constexpr std::uint32_t kFirstParameterPort = 4;

// A parameter as a host sees it.
struct ControlPort {
  AUParameter* parameter = nullptr;
  // Its lasting name: the identifier, for an effect's parameter with the group's identifier and "_" ahead.
  std::string symbol;
  const PortText* text = nullptr;
  const PortTraits* traits = nullptr;
  float defaultValue = 0;

  bool isToggled() const;
  bool isEnumeration() const;
  // Takes whole numbers alone.
  bool isInteger() const;
  bool isLogarithmic() const;
  // Even steps from end to end, both counted; 0 for a continuous port.
  int steps() const;
  // The value that this port means by a number: within the range, a whole one where only such count.
  float held(float value) const noexcept;
};

// The ports of a tree whose values are the defaults, in its order. The tree outlives them. Throws
// std::logic_error if a parameter has no texts.
std::vector<ControlPort> controlPorts(const AUParameterTree& tree);

}  // namespace morv::lv2
