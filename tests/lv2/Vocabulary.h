#pragma once

#include <string>

namespace morv::lv2 {

// What names in the data begin with.
inline const std::string kLv2 = "http://lv2plug.in/ns/lv2core#";
inline const std::string kPg = "http://lv2plug.in/ns/ext/port-groups#";
inline const std::string kProps = "http://lv2plug.in/ns/ext/port-props#";
inline const std::string kUnits = "http://lv2plug.in/ns/extensions/units#";
inline const std::string kAtom = "http://lv2plug.in/ns/ext/atom#";
inline const std::string kDoap = "http://usefulinc.com/ns/doap#";
inline const std::string kRdfs = "http://www.w3.org/2000/01/rdf-schema#";

}  // namespace morv::lv2
