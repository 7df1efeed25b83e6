#include "platform/XmlScalarText.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <system_error>

#include "platform/XmlCharacters.h"

namespace morv {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool isBase64Digit(char c) {
  return isDigit(c) || (lowered(c) >= 'a' && lowered(c) <= 'z') || c == '+' || c == '/';
}

bool takeSign(std::string_view* text) {
  if (text->empty() || (text->front() != '+' && text->front() != '-')) return false;
  text->remove_prefix(1);
  return true;
}

std::size_t takeDigits(std::string_view* text) {
  std::size_t count = 0;
  while (count < text->size() && isDigit((*text)[count])) ++count;
  text->remove_prefix(count);
  return count;
}

template <typename Integer>
bool isNumberOf(std::string_view text, int base) {
  Integer number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size();
}

bool isNameOfNoFiniteNumber(std::string_view text) {
  std::string name(text);
  for (char& c : name) c = lowered(c);
  const bool isSigned = name.starts_with('+') || name.starts_with('-');
  if (!isSigned && name == "nan") return true;
  if (isSigned) name.erase(0, 1);
  return name == "inf" || name == "infinity";
}

bool isDecimalForm(std::string_view text) {
  takeSign(&text);
  std::size_t digits = takeDigits(&text);
  if (!text.empty() && text.front() == '.') {
    text.remove_prefix(1);
    digits += takeDigits(&text);
  }
  if (digits == 0) return false;
  if (text.empty()) return true;
  if (lowered(text.front()) != 'e') return false;
  text.remove_prefix(1);
  takeSign(&text);
  return takeDigits(&text) > 0 && text.empty();
}

}  // namespace

bool isXmlSpace(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view withoutOuterSpace(std::string_view text) {
  while (!text.empty() && isXmlSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isXmlSpace(text.back())) text.remove_suffix(1);
  return text;
}

bool isIntegerText(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) return isNumberOf<std::uint64_t>(text.substr(2), 16);
  if (text.starts_with('-')) return isNumberOf<std::int64_t>(text, 10);
  if (text.starts_with('+')) text.remove_prefix(1);
  return isNumberOf<std::uint64_t>(text, 10);
}

bool isRealText(std::string_view text) {
  if (isNameOfNoFiniteNumber(text)) return true;
  return isDecimalForm(text) && std::isfinite(std::strtod(std::string(text).c_str(), nullptr));
}

bool isBase64Text(std::string_view text) {
  std::size_t digits = 0;
  std::size_t padding = 0;
  for (const char c : text) {
    if (isXmlSpace(c)) continue;
    if (c == '=') {
      ++padding;
    } else if (padding > 0 || !isBase64Digit(c)) {
      return false;
    } else {
      ++digits;
    }
  }
  return (digits + padding) % 4 == 0 && padding <= 2;
}

bool isEntityName(std::string_view name) {
  if (name == "lt" || name == "gt" || name == "amp" || name == "quot" || name == "apos") return true;
  if (!name.starts_with('#')) return false;
  name.remove_prefix(1);
  const bool isHex = name.starts_with('x');
  if (isHex) name.remove_prefix(1);
  unsigned character = 0;
  const auto [end, error] =
      std::from_chars(name.data(), name.data() + name.size(), character, isHex ? 16 : 10);
  return error == std::errc() && end == name.data() + name.size() && isXmlCharacter(character);
}

}  // namespace morv
