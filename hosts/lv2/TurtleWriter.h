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
// Properties of a plug-in: who makes it, under which licence, and its version, "major.minor.micro".
std::string turtleRelease(std::string_view version);
// The project that all plug-ins belong to.
std::string turtleProject();
// The prefixes that all files of the plug-in share.
std::string turtlePrefixes();
// The same with "morv:" for the names of another plug-in.
std::string turtlePrefixes(std::string_view ownNamespace);

}  // namespace morv::lv2
