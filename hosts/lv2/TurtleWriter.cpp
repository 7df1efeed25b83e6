#include "hosts/lv2/TurtleWriter.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cmath>

#include "hosts/lv2/PluginUris.h"

namespace morv::lv2 {
namespace {

constexpr std::string_view kMaker =
    "  doap:license <https://spdx.org/licenses/MIT> ;\n"
    "  doap:maintainer [ a foaf:Person ; foaf:name \"MORV developers\" ;\n"
    "    foaf:homepage <https://morv.org> ; foaf:mbox <mailto:developers@morv.org> ]";

}  // namespace

std::string turtleText(std::string_view text) {
  std::string quoted = "\"\"\"";
  for (const char character : text) {
    if (character == '\\' || character == '"') quoted += '\\';
    quoted += character;
  }
  return quoted + "\"\"\"";
}

std::string turtleNumber(float value, bool isWhole) {
  std::array<char, 128> digits{};
  if (isWhole) {
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), std::lround(value)).ptr;
    return {digits.data(), end};
  }
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed).ptr;
  std::string number(digits.data(), end);
  if (number.find('.') == std::string::npos) number += ".0";
  return number;
}

std::string turtleUriPart(std::string_view word) {
  constexpr std::string_view kHexadecimal = "0123456789ABCDEF";
  std::string part;
  for (const char character : word) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80 && (std::isalnum(byte) != 0 || character == '_' || character == '-')) {
      part += character;
    } else {
      part += '%';
      part += kHexadecimal[byte >> 4U];
      part += kHexadecimal[byte & 0xFU];
    }
  }
  return part;
}

std::string turtleRelease(std::string_view version) {
  const std::size_t firstDot = version.find('.');
  const std::size_t secondDot = version.find('.', firstDot + 1);
  return std::string(kMaker) + " ;\n  lv2:project <https://morv.org/lv2> ;\n  lv2:minorVersion " +
         std::string(version.substr(firstDot + 1, secondDot - firstDot - 1)) + " ;\n  lv2:microVersion " +
         std::string(version.substr(secondDot + 1)) + " ;\n";
}

std::string turtleProject() {
  return "<https://morv.org/lv2>\n"
         "  a doap:Project ;\n"
         "  doap:name \"MORV\" ;\n"
         "  doap:shortdesc \"Polyphonic software synthesiser\" ;\n" +
         std::string(kMaker) + " .\n\n";
}

std::string turtlePrefixes() { return turtlePrefixes(kNamespace); }

std::string turtlePrefixes(std::string_view ownNamespace) {
  return std::string(
             "@prefix atom: <http://lv2plug.in/ns/ext/atom#> .\n"
             "@prefix bufsz: <http://lv2plug.in/ns/ext/buf-size#> .\n"
             "@prefix doap: <http://usefulinc.com/ns/doap#> .\n"
             "@prefix foaf: <http://xmlns.com/foaf/0.1/> .\n"
             "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
             "@prefix midi: <http://lv2plug.in/ns/ext/midi#> .\n"
             "@prefix patch: <http://lv2plug.in/ns/ext/patch#> .\n"
             "@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .\n"
             "@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .\n"
             "@prefix pset: <http://lv2plug.in/ns/ext/presets#> .\n"
             "@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .\n"
             "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n"
             "@prefix rsz: <http://lv2plug.in/ns/ext/resize-port#> .\n"
             "@prefix state: <http://lv2plug.in/ns/ext/state#> .\n"
             "@prefix time: <http://lv2plug.in/ns/ext/time#> .\n"
             "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n"
             "@prefix urid: <http://lv2plug.in/ns/ext/urid#> .\n"
             "@prefix work: <http://lv2plug.in/ns/ext/worker#> .\n"
             "@prefix morv: <") +
         std::string(ownNamespace) + "> .\n\n";
}

}  // namespace morv::lv2
