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

std::span<const Panel> panels();
// In the order of the parameter tree.
std::span<const PortText> portTexts();

}  // namespace morv::lv2
