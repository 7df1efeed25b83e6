#include "hosts/cli/Json.h"

#include <cmath>

#include "hosts/cli/Numbers.h"
#include "platform/Utf8.h"

namespace morv::cli {

std::string jsonQuoted(std::string_view text) {
  constexpr std::string_view kHexDigits = "0123456789abcdef";
  constexpr std::string_view kReplacement = "\\ufffd";
  std::string json = "\"";
  while (!text.empty()) {
    const auto first = firstUtf8Character(text);
    const std::string_view bytes = text.substr(0, first ? first->bytes : 1);
    const auto code = static_cast<unsigned char>(text.front());
    if (!first) {
      json += kReplacement;
    } else if (code == '"' || code == '\\') {
      json.append("\\").append(bytes);
    } else if (code < 0x20U) {
      json += "\\u00";
      json += kHexDigits[code >> 4U];
      json += kHexDigits[code & 0x0FU];
    } else {
      json += bytes;
    }
    text.remove_prefix(bytes.size());
  }
  return json + '"';
}

std::string jsonNumber(double value, int decimals) {
  return std::isfinite(value) ? printFixed(value, decimals) : "null";
}

}  // namespace morv::cli
