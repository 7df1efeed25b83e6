#pragma once

#include <string>
#include <string_view>

namespace morv::lv2 {

// The pieces that Turtle is made of.

// A text in quotes, over several lines if need be.
std::string turtleText(std::string_view text);
// A number as a decimal that reads back to the same float; `isWhole` makes it an integer.
std::string turtleNumber(float value, bool isWhole = false);
// A word with what a URI cannot hold as %XX.
std::string turtleUriPart(std::string_view word);
// The prefixes that all files of the plug-in share.
std::string turtlePrefixes();

}  // namespace morv::lv2
