#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace morv::lv2 {

// A panel of the instrument: the group that a host shows its ports in.
struct Panel {
  std::string_view symbol;
  std::string_view name;
};

// What the parameter tree does not know of a parameter: the words by which someone finds it in a host's long
// list, where it stands without its panel around it.
struct PortText {
  std::string_view parameter;  // "group.identifier"
  std::string_view panel;      // a panel's symbol
  std::string_view name;
  std::string_view shortName;  // at most 15 characters
  std::string_view comment;
  std::uint8_t priority = 0;  // above 0 for the few that a small display shows, the greatest first
  bool isWhole = false;       // takes whole numbers, though the tree shows a plain number
};

// What few ports have, and the parameter tree does not know.
struct PortTraits {
  std::string_view unit{};   // in the Turtle's words, where the tree tells none
  bool isSetUpOnce = false;  // by someone who readies the instrument, and not while it plays
  bool breaksSound = false;  // a change cuts off what sounds
  int steps = 0;             // even steps that a fader or a key moves it by; 0: whole numbers have theirs
};
struct PortTrait {
  std::string_view parameter;  // "group.identifier"
  PortTraits traits;
};

std::span<const Panel> panels();
// In the order of the parameter tree, without those that are no ports.
std::span<const PortText> portTexts();
// Parameters that presets keep and nothing depends on, neither sound nor modulation: a host has no use for
// them.
std::span<const std::string_view> parametersWithoutPort();
std::span<const PortTrait> portTraits();

}  // namespace morv::lv2
