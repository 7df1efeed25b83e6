#include "hosts/cli/Json.h"

#include <cmath>

#include "hosts/cli/Numbers.h"

namespace morv::cli {

std::string jsonQuoted(std::string_view text) {
  constexpr std::string_view kHexDigits = "0123456789abcdef";
  std::string json = "\"";
  for (const char letter : text) {
    const auto code = static_cast<unsigned char>(letter);
    if (letter == '"' || letter == '\\') {
      json += '\\';
      json += letter;
    } else if (code < 0x20U) {
      json += "\\u00";
      json += kHexDigits[code >> 4U];
      json += kHexDigits[code & 0x0FU];
    } else {
      json += letter;
    }
  }
  return json + '"';
}

std::string jsonNumber(double value, int decimals) {
  return std::isfinite(value) ? printFixed(value, decimals) : "null";
}

}  // namespace morv::cli
