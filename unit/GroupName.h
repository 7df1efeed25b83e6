#pragma once

#include <string>

namespace morv {

// Name by which the system knows this instrument.
inline constexpr const char* kBundleIdentifier = "org.morv.MORV";

// Name of the application group that goes with a bundle: every "com." in the bundle's name reads "group.",
// and of what then lies between the dots the second and third piece make "group.second.third". Empty for a
// name of fewer than three pieces.
std::string groupNameOfBundle(const std::string& bundleIdentifier);

}  // namespace morv
